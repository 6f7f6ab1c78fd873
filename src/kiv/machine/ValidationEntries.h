/// What is entered when a machine starts or a transition fires, as validate() follows it; private.
#ifndef KIV_VALIDATIONENTRIES_H
#define KIV_VALIDATIONENTRIES_H

#include <string>
#include <unordered_set>
#include <vector>

#include <kiv/StateMachine.h>
#include <kiv/StateMachineValidation.h>
#include <kiv/Transition.h>

namespace Kiv
{

inline const CState* asState(const CAbstractState* state)
{
    return state->stateType() == StateTypeState ? static_cast<const CState*>(state) : nullptr;
}

inline bool isParallelGroup(const CState* group) { return group->childMode() == CState::ChildModeParallel; }

/// The state below which a transition leaves and enters; null if it cannot fire.
inline const CAbstractState* commonParent(const CTransition* transition)
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
        if (!isParallelGroup(group))
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
            if (isParallelGroup(group))
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

inline std::string described(const CTransition* transition)
{
    const CState* const source = transition->source();
    return "transition \"" + transition->name() + "\" of " + (source ? source->path() : "no state");
}

/// The faults of the transitions that wait for one event.
void findEventFaults(const CStateMachine& machine, unsigned char event, std::vector<MachineFinding>& findings);

} // namespace Kiv

#endif
