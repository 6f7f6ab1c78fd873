// How a state goes without leaving anything behind that leads to it: alone, or with the tree below it.
#include <algorithm>
#include <iterator>

#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

namespace Kiv
{

namespace
{

/// Deletes in the order of adding; at any moment the list holds only what is still there.
template<class Item, class Prepare>
void deleteInTurn(std::vector<Item*>& list, Prepare prepare)
{
    std::reverse(list.begin(), list.end());
    while (!list.empty())
    {
        Item* const first = list.back();
        list.pop_back();
        prepare(*first);
        delete first;
    }
}

template<class Item>
void eraseLast(std::vector<Item*>& list, const Item* item)
{
    const auto place = std::find(list.rbegin(), list.rend(), item);
    if (place != list.rend())
        list.erase(std::next(place).base());
}

} // namespace

/// Leaves nothing behind that leads here. Called with the state as a group as long as that part of it is there, and
/// with no effect when the parent deletes it, which has forgotten it before.
void CAbstractState::takeOut(const CState* asGroup)
{
    if (!isListed)
        return;
    isListed = false;
    parentGroup->forget(this);
    CState* top = parentGroup;
    while (top->parentGroup)
        top = top->parentGroup;
    top->forgetWaysTo(this, asGroup);
    CStateMachine* const owner = machine();
    if (owner && asGroup)
        asGroup->withdrawTransitions(*owner);
}

void CState::deleteTree()
{
    const auto unlist = [](CAbstractState& state) { state.isListed = false; };
    initial = nullptr;
    finalState = nullptr;
    setActiveChild(nullptr);
    deleteInTurn(childStates, unlist);
    deleteInTurn(outgoing, [](CTransition&) {});
    deleteInTurn(histories, unlist);
}

void CState::forget(const CAbstractState* child)
{
    noteTreeChange();
    eraseLast(child->kind == StateTypeHistory ? histories : childStates, child);
    if (initial == child)
        initial = nullptr;
    if (currentChild() == child)
        setActiveChild(nullptr);
    if (finalState == child)
    {
        const auto isFinal = [](const CAbstractState* other) { return other->kind == StateTypeFinal; };
        const auto last = std::find_if(childStates.rbegin(), childStates.rend(), isFinal);
        finalState = last != childStates.rend() ? *last : nullptr;
    }
    for (CAbstractState* history : histories)
        static_cast<CHistoryState*>(history)->forget(child);
}

/// Compares addresses only: what a target points at may be gone.
bool CState::holds(const CAbstractState* state) const
{
    const auto isOrHolds = [state](const CAbstractState* child) {
        return child == state || (child->kind == StateTypeState && static_cast<const CState*>(child)->holds(state));
    };
    return std::any_of(childStates.begin(), childStates.end(), isOrHolds) ||
           std::find(histories.begin(), histories.end(), state) != histories.end();
}

void CState::forgetWaysTo(const CAbstractState* state, const CState* asGroup)
{
    for (CTransition* transition : outgoing)
    {
        const CAbstractState* const target = transition->target();
        if (target == state || (asGroup && target && asGroup->holds(target)))
            transition->setTargetState(nullptr);
    }
    for (CAbstractState* history : histories)
        static_cast<CHistoryState*>(history)->forget(state);
    for (CAbstractState* child : childStates)
    {
        if (child->kind == StateTypeState)
            static_cast<CState*>(child)->forgetWaysTo(state, asGroup);
    }
}

void CState::withdrawTransitions(CStateMachine& owner) const
{
    for (const CTransition* transition : outgoing)
        owner.withdrawTransition(transition);
    for (const CAbstractState* child : childStates)
    {
        if (child->kind == StateTypeState)
            static_cast<const CState*>(child)->withdrawTransitions(owner);
    }
}

void CHistoryState::forget(const CAbstractState* state)
{
    if (defaultChild == state)
        defaultChild = nullptr;
    if (rememberedChild == state)
        rememberedChild = nullptr;
    const auto place = std::find(rememberedBelow.begin(), rememberedBelow.end(), state);
    if (place != rememberedBelow.end())
        rememberedBelow.erase(place, rememberedBelow.end());
}

} // namespace Kiv
