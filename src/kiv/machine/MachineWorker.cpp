// The worker of an asynchronous machine: how it begins, and how it ends whatever a hook does.
#include <cstdlib>

#include <unistd.h>

#include "kiv/env/unix/diag/ProcessExit.h"
#include "kiv/machine/StateMachinePrivate.h"

namespace Kiv
{

namespace
{

constexpr unsigned int stopTimeoutMs = 200;
constexpr unsigned int beginTimeoutMs = 1000;
constexpr unsigned int exitTimeoutMs = 5000;

/// The machine whose worker the calling thread is.
thread_local const StateMachinePrivate* workerOf = nullptr;

[[noreturn]] void cutExitShort()
{
    constexpr char message[] =
        "Kiv::CStateMachine: a hook on a worker thread does not end, so the process ends without it\n";
    static_cast<void>(!write(STDERR_FILENO, message, sizeof message - 1));
    Diag::CProcessExit::cutShort();
}

} // namespace

bool StateMachinePrivate::isWorker() const { return workerOf == this; }

bool StateMachinePrivate::isWorking()
{
    const CPlainLock lock(handOver);
    return working;
}

void StateMachinePrivate::startWorker()
{
    waitUntilFinished();
    setWorking(true);
    queue.interruptReader(false);
    start();
    if (waitForCompletion(0)) // ended already, or the system refused the thread
        setWorking(false);
}

void StateMachinePrivate::requestWorkerStop()
{
    requestStop();
    queue.interruptReader(true);
}

bool StateMachinePrivate::stopWorker()
{
    requestWorkerStop();
    if (!isWorker() && waitForCompletion(stopTimeoutMs))
        return true;
    const CPlainLock lock(handOver);
    exitByWorker = working;
    abandonQueue = working;
    return !working;
}

void StateMachinePrivate::requestWorkerEnd()
{
    abandonQueue = true;
    requestWorkerStop();
}

bool StateMachinePrivate::endWorker()
{
    requestWorkerEnd();
    for (unsigned int waited = 0; !waitForCompletion(stopTimeoutMs); waited += stopTimeoutMs)
    {
        if (waited >= beginTimeoutMs && neverBegins())
            return false;
        if (waited >= exitTimeoutMs && Diag::CProcessExit::isUnderWay())
            cutExitShort();
    }
    return true;
}

void StateMachinePrivate::setWorking(bool begins)
{
    const CPlainLock lock(handOver);
    markWorking(begins);
}

void StateMachinePrivate::markWorking(bool begins)
{
    working = begins;
    hasBegun = false;
    exitByWorker = false;
    abandonQueue = false;
}

void StateMachinePrivate::waitUntilFinished()
{
    while (!waitForCompletion(stopTimeoutMs))
    {}
}

bool StateMachinePrivate::begins()
{
    const CPlainLock lock(handOver);
    hasBegun = !isLeftBehind;
    return hasBegun;
}

bool StateMachinePrivate::neverBegins()
{
    const CPlainLock lock(handOver);
    isLeftBehind = !hasBegun;
    return isLeftBehind;
}

void StateMachinePrivate::run()
{
    if (!begins())
        return;
    Diag::CProcessExit::markThread();
    workerOf = this;
    // At least once: what was queued before a stop is handled also when the stop came before the thread.
    do
        process();
    while (isActive());
    CPlainLock lock(handOver);
    if (exitByWorker)
    {
        lock.unlock();
        machine->leaveTopState();
        lock.lock();
    }
    markWorking(false);
    workerOf = nullptr;
}

} // namespace Kiv
