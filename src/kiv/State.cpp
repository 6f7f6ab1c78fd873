#include <kiv/State.h>

#include <algorithm>

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#include "kiv/machine/Walk.h"

namespace Kiv
{

CAbstractState::CAbstractState(eStateType type, const std::string& name, CState* parent)
    : parentGroup(parent), kind(type), stateName(name)
{
    for (auto* signal : {&sigEntered, &sigExited})
        signal->announce_in(extras, CWalk::HasReceivers);
    if (parent)
        parent->addState(this);
}

CAbstractState::~CAbstractState() { takeOut(nullptr); }

CStateMachine* CAbstractState::machine() const
{
    if (CStateMachine* known = machineCache.load(std::memory_order_relaxed))
        return known;
    for (CState* ancestor = parentGroup; ancestor; ancestor = ancestor->parentGroup)
    {
        if (!ancestor->isMachine)
            continue;
        auto* found = dynamic_cast<CStateMachine*>(ancestor);
        machineCache.store(found, std::memory_order_relaxed);
        return found;
    }
    return nullptr;
}

int CAbstractState::hierarchyLevel() const
{
    int level = 0;
    for (const CAbstractState* state = this; !state->isMachine && state->parentGroup; state = state->parentGroup)
        ++level;
    return level;
}

CAbstractState* CAbstractState::parentAtLevel(int n) const
{
    const CAbstractState* state = this;
    for (; n >= 0 && state; --n)
        state = state->parentGroup;
    return const_cast<CAbstractState*>(state);
}

std::string CAbstractState::path() const
{
    const std::string own = stateName.empty() ? "(unnamed)" : stateName;
    return parentGroup && !parentGroup->isMachine ? parentGroup->path() + "." + own : own;
}

CAbstractState* CAbstractState::commonParentState(CAbstractState* other) const
{
    if (!other)
        return nullptr;
    const int difference = hierarchyLevel() - other->hierarchyLevel();
    CAbstractState* mine = parentAtLevel(difference - 1);
    CAbstractState* theirs = other->parentAtLevel(-difference - 1);
    while (mine != theirs && mine && theirs)
    {
        mine = mine->parentGroup;
        theirs = theirs->parentGroup;
    }
    return mine == theirs ? mine : nullptr;
}

void CAbstractState::enter() { CWalk::enter(*this); }

void CAbstractState::exit() { CWalk::exit(*this); }

void CAbstractState::doProcessing()
{
    onProcessing();
    if (doActivityEnabled)
        emitProcessing();
}

void CAbstractState::logHook(const char* hook) const
{
    CStateMachine* const owner = machine();
    if (owner && owner->isLogging())
        owner->logMessage("%s::%s", stateName.c_str(), hook);
}

CState::CState(const std::string& name, CState* parent) : CAbstractState(StateTypeState, name, parent) {}

CState::~CState()
{
    takeOut(this);
    deleteTree();
}

void CState::addState(CAbstractState* child)
{
    if (!child)
        return;
    // The child may still be under construction: it is known here as a CAbstractState only.
    auto& list = child->kind == StateTypeHistory ? histories : childStates;
    if (std::find(list.begin(), list.end(), child) == list.end())
    {
        list.push_back(child);
        if (child->isListed)
            child->parentGroup->forget(child);
        child->isListed = true;
    }
    child->parentGroup = this;
    noteTreeChange();
    if (child->kind == StateTypeFinal)
        finalState = child;
}

/// Ways that were found before are looked for anew. The numbers are those of the process, so that a way through one
/// machine's tree is never taken for one through another's.
void CAbstractState::noteTreeChange()
{
    static std::atomic<std::uint64_t> changes{0};
    CStateMachine* const owner = isMachine ? static_cast<CStateMachine*>(this) : machine();
    if (!owner)
        return;
    owner->treeVersion = changes.fetch_add(1, std::memory_order_relaxed) + 1;
    owner->noteLogging();
}

void CState::setChildMode(eChildMode childMode)
{
    mode = childMode;
    if (mode == ChildModeParallel)
        initial = nullptr;
}

CHistoryState* CState::addHistoryState(eHistoryType type)
{
    auto* history = new CHistoryState(name() + "_History", this);
    history->setHistoryType(type);
    setInitialState(history);
    return history;
}

CHistoryState* CState::historyState() const
{
    return histories.empty() ? nullptr : static_cast<CHistoryState*>(histories.back());
}

bool CState::isFinished() const
{
    if (mode == ChildModeExclusive)
        return finalState && finalState->isActive();
    return std::all_of(childStates.begin(), childStates.end(), [](const CAbstractState* child) {
        return child->kind != StateTypeState || static_cast<const CState*>(child)->isFinished();
    });
}

void CState::addTransition(CTransition* transition)
{
    if (transition && std::find(outgoing.begin(), outgoing.end(), transition) == outgoing.end())
        outgoing.push_back(transition);
}

CTransition* CState::addTransitionTo(CAbstractState* target, const std::string& name)
{
    auto transition = std::make_unique<CTransition>(this, name);
    transition->setTargetState(target);
    addTransition(transition.get());
    return transition.release();
}

CTransition* CState::addEventTransitionTo(CAbstractState* target, unsigned char eventNo, const std::string& name)
{
    CStateMachine* const owner = machine();
    if (!owner)
        return nullptr;
    CTransition* const transition = addTransitionTo(target, name);
    owner->registerEventTransiton(eventNo, transition);
    return transition;
}

CTransition* CState::addInternalOn(unsigned char eventNo, const cb::Callback0<void>& action, const std::string& name)
{
    CTransition* const transition = addEventTransitionTo(this, eventNo, name);
    return transition ? transition->setInternal()->setAction(action) : nullptr;
}

CTransition* CState::addTimeoutTransitionTo(CAbstractState* target, std::chrono::nanoseconds span,
                                            const std::string& name)
{
    CTransition* const transition = addTransitionTo(target, name);
    transition->ownDetails().timeout = span;
    CWalk::note(extras, CWalk::HasTimeouts, true);
    return transition;
}

CTransition* CState::addFinishedTransitionTo(CAbstractState* target)
{
    CTransition* const transition = addTransitionTo(target, name() + "Finished");
    sigFinished.connect(transition, static_cast<void (CTransition::*)(CAbstractState*)>(&CTransition::trigger));
    return transition;
}

void CState::onFinalEntered()
{
    emitFinished();
    CState* const group = parentState();
    if (group && group->mode == ChildModeParallel && group->isFinished())
        group->emitFinished();
}

void CState::onEntry()
{
    CWalk::log(*this, "onEntry");
    CState* const group = parentState();
    if (group && group->mode == ChildModeExclusive)
        group->setActiveChild(this);
    if (!childStates.empty())
        enterChildren();
}

[[gnu::noinline]] void CState::enterChildren()
{
    if (mode == ChildModeParallel)
    {
        for (CAbstractState* child : childStates)
            CWalk::enter(*child);
        return;
    }
    if (!currentChild())
        setActiveChild(initial);
    if (CAbstractState* child = currentChild())
        CWalk::enter(*child);
}

void CState::onExit()
{
    if (CState* const group = parentState())
        group->setActiveChild(nullptr);
    if (mode == ChildModeParallel || currentChild())
        leaveChildren();
    CWalk::log(*this, "onExit");
}

[[gnu::noinline]] void CState::leaveChildren()
{
    if (mode == ChildModeParallel)
    {
        for (CAbstractState* child : childStates)
            CWalk::exit(*child);
        return;
    }
    leave(*currentChild());
    setActiveChild(nullptr);
}

void CState::leave(CAbstractState& child)
{
    // A history state that had nothing to enter stands here itself; it is never left.
    if (child.kind == StateTypeHistory)
        return;
    if (!histories.empty())
        historyState()->remember(child);
    CWalk::exit(child);
}

/// What a receiver fires meanwhile may enter another child, which then is the active one.
void CState::leaveActiveChild()
{
    CAbstractState* const child = currentChild();
    if (!child)
        return;
    leave(*child);
    if (currentChild() == child)
        setActiveChild(nullptr);
}

void CState::onProcessing()
{
    if (mode == ChildModeParallel)
    {
        for (CAbstractState* child : childStates)
            child->doProcessing();
    }
    else if (CAbstractState* child = currentChild())
        child->doProcessing();
}

CFinalState::CFinalState(const std::string& name, CState* parent) : CAbstractState(StateTypeFinal, name, parent) {}

void CFinalState::onEntry()
{
    CWalk::log(*this, "onEntry");
    CState* const group = parentState();
    if (!group)
        return;
    group->setActiveChild(this);
    group->onFinalEntered();
}

void CFinalState::onExit() {}

void CFinalState::onProcessing() {}

} // namespace Kiv
