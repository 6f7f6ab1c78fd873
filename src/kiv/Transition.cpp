#include <kiv/Transition.h>

#include <typeinfo>

#include <kiv/State.h>
#include <kiv/StateMachine.h>

#include "kiv/machine/TransitionDetails.h"
#include "kiv/machine/Walk.h"

namespace Kiv
{

CTransition::CTransition(CState* source, const std::string& name) : sourceState(source), transitionName(name)
{
    sigTriggered.announce_in(extras, CWalk::HasReceivers);
}

CTransition::~CTransition() = default;

CStateMachine* CTransition::machine() const { return sourceState ? sourceState->machine() : nullptr; }

CTransition::Details& CTransition::ownDetails()
{
    if (!details)
        details = std::make_unique<Details>();
    wayAsOf = 0;
    plainAsOf = 0;
    return *details;
}

CTransition* CTransition::setGuard(const std::string& name, const cb::Callback0<bool>& guard)
{
    ownDetails().guardName = guard ? name : std::string();
    details->guard = guard;
    return this;
}

CTransition* CTransition::setAction(const cb::Callback0<void>& action)
{
    ownDetails().action = action;
    CWalk::note(extras, CWalk::HasAction, !action.empty());
    return this;
}

CTransition* CTransition::setInternal()
{
    ownDetails().isInternal = true;
    setTargetState(sourceState);
    return this;
}

const std::string& CTransition::guardName() const
{
    static const std::string& none = *new std::string;
    return details ? details->guardName : none;
}

bool CTransition::hasGuard() const { return details && details->guard; }

bool CTransition::isInternal() const { return details && details->isInternal; }

std::optional<std::chrono::nanoseconds> CTransition::timeout() const
{
    return details ? details->timeout : std::nullopt;
}

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

void CTransition::doTrigger() { CWalk::fire(*this); }

void CTransition::refuseUnready()
{
    refuse(!sourceState ? "No source state!!!" : !targetState ? "No target state!!!" : "source state not active!!!");
}

bool CTransition::refuse(const char* reason)
{
    CStateMachine* const owner = machine();
    if (owner && owner->isLogging())
        owner->logMessage("%s::doTrigger(): %s", transitionName.c_str(), reason);
    return false;
}

/// Null when the way was found, else why there is none.
const char* CTransition::findWay()
{
    CState* const group = sourceState->parentState();
    if (targetState->parentState() == group)
        way = {sourceState, targetState, group};
    else
    {
        CAbstractState* const common = sourceState->commonParentState(targetState);
        if (!common)
            return "source and target have no common parent state!!!";
        if (common == targetState)
            return "target state contains the source state!!!";
        way = {common == sourceState ? sourceState : below(common, sourceState), below(common, targetState), common};
    }
    const CStateMachine* const owner = machine();
    wayAsOf = owner ? owner->treeVersion : 0;
    plainAsOf = details && (details->guard || details->isInternal) ? 0 : wayAsOf;
    CWalk::note(extras, CWalk::HasHook, typeid(*this) != typeid(CTransition));
    CWalk::note(extras, CWalk::HasGroups, way.entered != targetState);
    return nullptr;
}

/// The state directly below `common` that is or contains `state`; null if `common` does not contain it.
CAbstractState* CTransition::below(const CAbstractState* common, CAbstractState* state)
{
    while (state && state->parentState() != common)
        state = state->parentState();
    return state;
}

/// Says where the groups on the way down shall go, so that entering the outermost state leads to the target.
void CTransition::presetWay()
{
    for (CAbstractState* state = targetState; state != way.entered; state = state->parentState())
        state->parentState()->presetChild(state);
}

/// What left the source has given the transition another target.
void CTransition::enterNewTarget()
{
    if (!targetState)
        return;
    CAbstractState* const found = below(way.common, targetState);
    way.entered = found ? found : targetState;
    presetWay();
    CWalk::enter(*way.entered);
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
