#include <kiv/State.h>
#include <kiv/StateMachine.h>

#include "kiv/machine/Walk.h"

namespace Kiv
{

CHistoryState::CHistoryState(const std::string& name, CState* parent) : CAbstractState(StateTypeHistory, name, parent)
{}

void CHistoryState::setDefaultState(CAbstractState* state)
{
    if (!state || (state != this && state->parentState() == parentState()))
    {
        defaultChild = state;
        return;
    }
    CStateMachine* const owner = machine();
    if (owner && owner->isLogging())
        owner->logMessage("CHistoryState::setDefaultState: state %p  - %s does not belong to this history state's "
                          "group (%p - $s)",
                          static_cast<const void*>(state), state->name().c_str(),
                          static_cast<const void*>(parentState()));
}

/// A circle need not contain the state where the look began, so this looks for more steps than there are to make.
bool CHistoryState::standsInACircle() const
{
    const CAbstractState* next = this;
    for (std::size_t steps = 0; next && next->kind == StateTypeHistory; ++steps)
    {
        if (steps > parentState()->histories.size())
            return true;
        next = static_cast<const CHistoryState*>(next)->resumed();
    }
    return false;
}

void CHistoryState::remember(CAbstractState& child)
{
    rememberedChild = &child;
    rememberedBelow.clear();
    if (depth == HistoryDeep)
        rememberBelow(child);
}

/// From the outside in, so that what is preset later lies below.
void CHistoryState::rememberBelow(const CAbstractState& state)
{
    if (state.kind != StateTypeState)
        return;
    const auto& group = static_cast<const CState&>(state);
    if (group.mode == CState::ChildModeParallel)
    {
        for (const CAbstractState* child : group.childStates)
            rememberBelow(*child);
    }
    else if (CAbstractState* const child = group.currentChild(); child && child->kind != StateTypeHistory)
    {
        rememberedBelow.push_back(child);
        rememberBelow(*child);
    }
}

void CHistoryState::onEntry()
{
    CWalk::log(*this, "onEntry");
    CState* const group = parentState();
    if (group && standsInACircle())
        return;
    rememberedChild = resumed();
    if (!rememberedChild || !group)
        return;
    for (CAbstractState* state : rememberedBelow)
        state->parentState()->presetChild(state);
    // The machine itself is never entered, so for its own history it counts as active.
    if (group->isActive() || group->isMachine)
        return rememberedChild->enter();
    group->presetChild(rememberedChild);
    group->enter();
}

void CHistoryState::onExit() {}

void CHistoryState::onProcessing() {}

} // namespace Kiv
