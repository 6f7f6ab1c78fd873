#include <kiv/Transition.h>

#include <kiv/State.h>
#include <kiv/StateMachine.h>

namespace Kiv
{

CTransition::CTransition(CState* source, const std::string& name) : sourceState(source), transitionName(name) {}

CTransition::~CTransition() = default;

CStateMachine* CTransition::machine() const { return sourceState ? sourceState->machine() : nullptr; }

bool CTransition::isFinishedTransition() const { return sourceState && sourceState->sigFinished.is_connected(this); }

void CTransition::trigger(eTriggerMode mode)
{
    if (mode == TriggerQueued)
        postTriggerEvent();
    else
        doTrigger();
}

void CTransition::trigger(CAbstractState*) { trigger(TriggerQueued); }

void CTransition::postTriggerEvent()
{
    if (CStateMachine* const owner = machine())
        owner->queueTransitionTriggerEvent(this);
}

void CTransition::doTrigger()
{
    if (!mayFire())
        return;
    if (targetState->parentState() == sourceState->parentState())
        return fireWithinGroup();
    CAbstractState* const common = sourceState->commonParentState(targetState);
    if (!common)
        refuse("source and target have no common parent state!!!");
    else if (common == targetState)
        refuse("target state contains the source state!!!");
    else
        fireAcross(common);
}

bool CTransition::mayFire()
{
    if (!sourceState)
        return refuse("No source state!!!");
    if (!targetState)
        return refuse("No target state!!!");
    return sourceState->isActive() || refuse("source state not active!!!");
}

bool CTransition::refuse(const char* reason)
{
    CStateMachine* const owner = machine();
    if (owner && owner->isLogging())
        owner->logMessage("%s::doTrigger(): %s", transitionName.c_str(), reason);
    return false;
}

void CTransition::fireWithinGroup()
{
    logTransition();
    sourceState->exit();
    onTransition();
    emitTriggered();
    targetState->enter();
}

void CTransition::fireAcross(CAbstractState* common)
{
    logTransition();
    CAbstractState* leaving = sourceState;
    while (leaving != common && leaving->parentState() != common)
        leaving = leaving->parentState();
    leaving->exit();
    onTransition();
    emitTriggered();
    // Presets the way down from the common parent, which the entry of the topmost state then follows.
    CAbstractState* entering = targetState;
    for (CState* group = entering->parentState(); group != common; group = entering->parentState())
    {
        group->setActiveChild(entering);
        entering = group;
    }
    entering->enter();
}

void CTransition::logTransition()
{
    CStateMachine* const owner = machine();
    if (owner && owner->isLogging() && targetState)
        owner->logMessage("%s ---[%s::onTransition()]---> %s", sourceState->name().c_str(), transitionName.c_str(),
                          targetState->name().c_str());
}

void CTransition::onTransition() {}

} // namespace Kiv
