// How the worker of a machine is scheduled.
#include "kiv/machine/StateMachinePrivate.h"

namespace Kiv
{

namespace
{
constexpr int noWorker = -22;
} // namespace

int CStateMachine::setRealTimePriority(eRealTimePolicy policy, int priority)
{
    return isAsync() ? d->setRealTimePriority(policy, priority) : noWorker;
}

int CStateMachine::setProcessors(const std::vector<unsigned int>& processors)
{
    return isAsync() ? d->setProcessors(processors) : noWorker;
}

bool CStateMachine::isRealTime() const { return d->isRealTime(); }

int CStateMachine::realTimePriority() const { return d->realTimePriority(); }

} // namespace Kiv
