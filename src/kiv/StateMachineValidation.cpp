#include <kiv/StateMachineValidation.h>

#include <algorithm>
#include <map>

#include "kiv/machine/TransitionText.h"
#include "kiv/machine/ValidationEntries.h"

namespace Kiv
{

namespace
{

class CValidator
{
public:
    CValidator(const CStateMachine& validated, const std::vector<unsigned char>& posted)
        : machine(validated), postedEvents(posted)
    {
        reached.enterInitial(&machine);
        reached.followAll();
    }

    std::vector<MachineFinding> result()
    {
        checkStart();
        checkGroup(&machine);
        checkEvents();
        checkNames();
        return std::move(findings);
    }

private:
    void report(eFindingType type, const CAbstractState* state, const std::string& sentence)
    {
        findings.push_back({type, state->path(), sentence + "."});
    }

    void checkStart()
    {
        if (machine.children().empty())
            report(FindingNoInitialState, &machine, machine.path() + " has no states, so start() does nothing");
        else if (!machine.initialState())
            report(FindingNoInitialState, &machine, machine.path() + " has no initial state, so start() does nothing");
    }

    void checkGroup(const CState* group)
    {
        const std::size_t before = findings.size();
        checkEntry(group);
        checkHistory(group);
        // What is missing at the way in says enough about the states behind it.
        const bool isOpen = findings.size() == before && (group == &machine || reached.isEntered(group));
        for (const CTransition* transition : group->transitions())
            checkTransition(group, transition);
        for (const CAbstractState* child : group->children())
        {
            paths[child->path()].push_back(child);
            if (isOpen && !reached.entered().empty() && !reached.isEntered(child))
                report(FindingUnreachableState, child, "No way leads to " + child->path() + ", so it is never entered");
            if (const CState* inner = asState(child))
                checkGroup(inner);
        }
    }

    void checkEntry(const CState* group)
    {
        const CAbstractState* const initial = group->initialState();
        if (initial && initial->parentState() != group)
            report(FindingForeignInitialState, group,
                   "The initial state of " + group->path() + ", " + initial->path() + ", is none of its states");
        else if (!initial && !isParallelGroup(group) && !group->children().empty() && reached.isEnteredByItself(group))
            report(FindingNoInitialState, group,
                   group->path() + " has no initial state, so entering it enters none of its states");
    }

    void checkHistory(const CState* group)
    {
        const auto& histories = group->historyStates();
        if (histories.size() > 1)
            report(FindingTwoHistoryStates, group,
                   group->path() + " has " + std::to_string(histories.size()) +
                       " history states, of which only the last one added, " + histories.back()->name() +
                       ", remembers anything");
        if (histories.empty() || group->historyState()->defaultState() || !entersWithoutMemory(group))
            return;
        report(FindingNoDefaultState, group,
               "The history state of " + group->path() +
                   " has no default state, so entering it for the first time enters none of its states");
    }

    /// True if some way leads to the group's history state although nothing of the group was entered before.
    bool entersWithoutMemory(const CState* group) const
    {
        const CAbstractState* const history = group->historyState();
        if (group == &machine)
            return machine.initialState() == history;
        CEntries outside(group);
        outside.enterInitial(&machine);
        outside.followAll();
        if (outside.isEnteredByItself(group) && group->initialState() == history)
            return true;
        const auto leadsToHistory = [&](const CAbstractState* state) {
            const CState* const source = asState(state);
            return source &&
                   std::any_of(source->transitions().begin(), source->transitions().end(),
                               [&](const CTransition* transition) { return transition->target() == history; });
        };
        return std::any_of(outside.entered().begin(), outside.entered().end(),
                           [&](const CAbstractState* state) { return state != group && leadsToHistory(state); });
    }

    void checkTransition(const CState* owner, const CTransition* transition)
    {
        const CState* const source = transition->source();
        const CAbstractState* const target = transition->target();
        const auto impossible = [&](const std::string& reason) {
            report(FindingImpossibleTransition, owner,
                   "The " + described(transition) + " " + reason + ", so it never fires");
        };
        if (source != owner)
            report(FindingImpossibleTransition, owner,
                   "The " + described(transition) + " was added to " + owner->path() + " instead");
        else if (!target)
            impossible("has no target");
        else if (owner == &machine)
            impossible("leads away from the machine itself, which is never active");
        else if (target != &machine && target->machine() != &machine)
            impossible("leads to " + target->path() + ", which does not belong to this machine");
        else if (!commonParent(transition))
            impossible("leads to " + target->path() + ", which contains the source");
        else if (commonParent(transition) == source)
            report(FindingInwardTransition, owner,
                   "The " + described(transition) + " leads to " + target->path() +
                       " inside its source, which it leaves inactive");
        checkPosted(owner, transition);
    }

    bool isPosted(unsigned char event) const
    {
        return std::find(postedEvents.begin(), postedEvents.end(), event) != postedEvents.end();
    }

    void checkPosted(const CState* owner, const CTransition* transition)
    {
        const std::vector<unsigned char> events = machine.eventsOf(transition);
        if (postedEvents.empty() || events.empty() || transition->isFinishedTransition() ||
            std::any_of(events.begin(), events.end(), [this](unsigned char event) { return isPosted(event); }))
            return;
        report(FindingTransitionWithoutEvent, owner,
               "The " + described(transition) + " waits for event " + eventText(machine, events.front()) +
                   ", which nobody posts");
    }

    void checkEvents()
    {
        for (int number = 0; number < 256; ++number)
        {
            const auto event = static_cast<unsigned char>(number);
            const std::vector<CTransition*> row = machine.transitionsOf(event);
            if (row.empty() && isPosted(event))
                report(FindingEventWithoutTransition, &machine,
                       "Event " + eventText(machine, event) + " fires no transition of " + machine.path() +
                           ", so posting it changes nothing");
            findEventFaults(machine, event, findings);
        }
    }

    void checkNames()
    {
        for (const auto& [path, states] : paths)
            if (states.size() > 1)
                report(FindingDuplicateName, states[1],
                       std::to_string(states.size()) + " states are called " + path + ", so nothing tells them apart");
    }

    const CStateMachine& machine;
    const std::vector<unsigned char>& postedEvents;
    CEntries reached;
    std::map<std::string, std::vector<const CAbstractState*>> paths;
    std::vector<MachineFinding> findings;
};

} // namespace

std::vector<MachineFinding> validate(const CStateMachine& machine, const std::vector<unsigned char>& postedEvents)
{
    return CValidator(machine, postedEvents).result();
}

} // namespace Kiv
