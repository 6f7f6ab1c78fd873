#include <kiv/StateMachineValidation.h>

#include <algorithm>
#include <map>
#include <unordered_set>

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

namespace Kiv
{

namespace
{

const CState* asState(const CAbstractState* state)
{
    return state->stateType() == StateTypeState ? static_cast<const CState*>(state) : nullptr;
}

bool isParallel(const CState* group) { return group->childMode() == CState::ChildModeParallel; }

/// The state below which a transition leaves and enters; null if it cannot fire.
const CAbstractState* commonParent(const CTransition* transition)
{
    CAbstractState* const target = transition->target();
    const CState* const source = transition->source();
    if (!target || !source || !source->parentState())
        return nullptr;
    if (target->parentState() == source->parentState())
        return source->parentState();
    const CAbstractState* const common = source->commonParentState(target);
    return common == target ? nullptr : common;
}

/// Collects the states that are entered, one entry after the other.
class CEntries
{
public:
    /// Of a group that is `closed` nothing inside is ever entered.
    explicit CEntries(const CState* closedGroup = nullptr) : closed(closedGroup) {}

    const std::vector<const CAbstractState*>& entered() const { return inOrder; }
    bool isEntered(const CAbstractState* state) const { return known.count(state) != 0; }

    /// True if a way into the group left the choice of the child to the group.
    bool isEnteredByItself(const CAbstractState* state) const { return byItself.count(state) != 0; }

    void enter(const CAbstractState* state)
    {
        if (!byItself.insert(state).second)
            return;
        note(state);
        if (state->stateType() == StateTypeHistory)
            enterIfAny(static_cast<const CHistoryState*>(state)->defaultState());
        const CState* const group = asState(state);
        if (!group || group == closed)
            return;
        if (!isParallel(group))
            enterInitial(group);
        else
            for (const CAbstractState* child : group->children())
                enter(child);
    }

    void enterInitial(const CState* group)
    {
        if (group->initialState() && group->initialState()->parentState() == group)
            enter(group->initialState());
    }

    void follow(const CTransition* transition)
    {
        const CAbstractState* const common = commonParent(transition);
        if (!common || entersClosed(transition->target(), common))
            return;
        const CAbstractState* child = transition->target();
        for (const CState* group = child->parentState(); group != common; group = group->parentState())
        {
            note(group);
            if (isParallel(group))
                for (const CAbstractState* other : group->children())
                    if (other != child)
                        enter(other);
            child = group;
        }
        enter(transition->target());
    }

    /// Follows every transition of every state that is entered.
    void followAll()
    {
        for (std::size_t next = 0; next < inOrder.size(); ++next)
            if (const CState* source = asState(inOrder[next]))
                for (const CTransition* transition : source->transitions())
                    if (transition->source() == source)
                        follow(transition);
    }

private:
    void enterIfAny(const CAbstractState* state)
    {
        if (state)
            enter(state);
    }

    void note(const CAbstractState* state)
    {
        if (known.insert(state).second)
            inOrder.push_back(state);
    }

    bool entersClosed(const CAbstractState* target, const CAbstractState* common) const
    {
        for (const CState* group = target->parentState(); closed && group != common; group = group->parentState())
            if (group == closed)
                return true;
        return false;
    }

    const CState* const closed;
    std::vector<const CAbstractState*> inOrder;
    std::unordered_set<const CAbstractState*> known;
    std::unordered_set<const CAbstractState*> byItself;
};

std::string described(const CTransition* transition)
{
    const CState* const source = transition->source();
    return "transition \"" + transition->name() + "\" of " + (source ? source->path() : "no state");
}

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
            names[child->name()].push_back(child);
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
        else if (!initial && !isParallel(group) && !group->children().empty() && reached.isEnteredByItself(group))
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
               "The " + described(transition) + " waits for event " + std::to_string(events.front()) +
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
                       "Event " + std::to_string(number) + " fires no transition of " + machine.path() +
                           ", so posting it changes nothing");
            for (auto first = row.begin(); first != row.end(); ++first)
                checkChain(number, *first, {first + 1, row.end()});
        }
    }

    void checkChain(int event, const CTransition* first, const std::vector<CTransition*>& later)
    {
        CEntries entries;
        entries.follow(first);
        for (const CTransition* second : later)
            if (commonParent(second) && entries.isEntered(second->source()))
                report(FindingChainedTransitions, first->source(),
                       "Event " + std::to_string(event) + " fires the " + described(first) +
                           " and then, at once, the " + described(second) + ", which was registered later");
    }

    void checkNames()
    {
        for (const auto& [name, states] : names)
        {
            if (states.size() < 2)
                continue;
            std::string paths = states[0]->path();
            for (std::size_t i = 1; i < states.size(); ++i)
                paths += (i + 1 == states.size() ? " and " : ", ") + states[i]->path();
            report(FindingDuplicateName, states[1], paths + " have the same name, so the log cannot tell them apart");
        }
    }

    const CStateMachine& machine;
    const std::vector<unsigned char>& postedEvents;
    CEntries reached;
    std::map<std::string, std::vector<const CAbstractState*>> names;
    std::vector<MachineFinding> findings;
};

} // namespace

std::vector<MachineFinding> validate(const CStateMachine& machine, const std::vector<unsigned char>& postedEvents)
{
    return CValidator(machine, postedEvents).result();
}

} // namespace Kiv
