#include <kiv/StateMachine.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "kiv/env/unix/diag/LogRing.h"
#include "kiv/env/unix/diag/ProcessExit.h"
#include "kiv/machine/StateMachinePrivate.h"

namespace Kiv
{

namespace
{

[[noreturn]] void refuseDestruction()
{
    constexpr char message[] =
        "Kiv::CStateMachine: destroyed by a hook on its own worker thread, which would have to wait for itself\n";
    static_cast<void>(!write(STDERR_FILENO, message, sizeof message - 1));
    std::abort();
}

} // namespace

CStateMachine::CStateMachine(eProcessingType type) : CStateMachine(type, 64) {}

CStateMachine::CStateMachine(eProcessingType type, unsigned short queueSize)
    : CState("Statemachine"), d(std::make_unique<StateMachinePrivate>(this, type, queueSize))
{
    isMachine = true;
}

CStateMachine::~CStateMachine()
{
    const CTerminationBlocker blocker;
    if (d->isWorker())
    {
        leaveBehind();
        return;
    }
    const bool hasEnded = d->endWorker();
    d->table.clear();
    deleteTree();
    if (!hasEnded)
        static_cast<void>(d.release());
}

/// The hook that called exit() stands in the tree and does not come back. What it uses stays as it is.
void CStateMachine::leaveBehind()
{
    if (!Diag::CProcessExit::isThreadEnding())
        refuseDestruction();
    d->requestWorkerEnd();
    d->leftStates.swap(childStates);
    d->leftHistories.swap(histories);
    d->leftTransitions.swap(outgoing);
    static_cast<void>(d.release());
}

void CStateMachine::withdrawTransition(const CTransition* transition) { d->withdraw(transition); }

void CStateMachine::start()
{
    if (children().empty() || !initialState() || d->isWorking())
        return;
    if (currentChild() != initialState())
        leaveTopState();
    if (currentChild() && currentChild() != initialState())
        return; // a receiver enters another one whenever one is left
    d->prepare();
    setActiveChild(initialState());
    initialState()->enter();
    sigStarted(this);
    if (d->hasToEnd())
        d->end();
    else if (isAsync())
    {
        Diag::CProcessExit::markThread();
        d->startWorker();
    }
}

void CStateMachine::stop()
{
    if (!isAsync() || !d->isWorking() || d->stopWorker())
        leaveTopState();
}

void CStateMachine::leaveTopState() { leaveActiveChild(); }

void CStateMachine::process() { d->process(); }

void CStateMachine::processEvent(unsigned char eventNo) { d->handle(eventNo); }

void CStateMachine::requestEnd()
{
    if (isAsync() && d->isWorking())
        stop();
    else
        d->requestEnd();
}

void CStateMachine::postWithValue(unsigned char eventNo, const CEventValue& carried)
{
    d->post({eventNo, nullptr, carried});
}

const CEventValue* CStateMachine::valueInWork() const { return d->valueInWork; }

void CStateMachine::setEventName(unsigned char eventNo, const std::string& name) { d->eventNames.at(eventNo) = name; }

const std::string& CStateMachine::eventName(unsigned char eventNo) const { return d->eventNames.at(eventNo); }

void CStateMachine::setDispatch(eDispatch dispatch) { d->table.setAsDrawn(dispatch == DispatchAsDrawn); }

CStateMachine::eDispatch CStateMachine::dispatch() const
{
    return d->table.isAsDrawn() ? DispatchAsDrawn : DispatchInOrder;
}

CDeadline CStateMachine::nextDeadline() const
{
    const auto next = d->timeouts.next();
    return next == std::chrono::nanoseconds::max() ? CDeadline::never() : CDeadline::at(next);
}

void CStateMachine::postEvent(unsigned char eventNo, eProcessingType type)
{
    if (type == ProcessingAsync)
        d->post({eventNo});
    else
        d->handle(eventNo);
}

void CStateMachine::queueTransitionTriggerEvent(CTransition* transition)
{
    if (transition)
        d->post({0, transition});
}

void CStateMachine::registerEventTransiton(unsigned char eventNo, CTransition* transition)
{
    if (transition)
        d->table.add(eventNo, transition);
}

std::vector<unsigned char> CStateMachine::eventsOf(const CTransition* transition) const
{
    return d->table.eventsOf(transition);
}

std::vector<CTransition*> CStateMachine::transitionsOf(unsigned char eventNo) const
{
    return d->table.transitionsOf(eventNo);
}

bool CStateMachine::isAsync() const { return d->isAsync(); }

unsigned int CStateMachine::pendingEvents() const { return d->queue.pending(); }

std::uint64_t CStateMachine::droppedEvents() const { return d->dropped.load(std::memory_order_relaxed); }

void CStateMachine::setLogMessageCallback(const cb::Callback1<void, const std::string&>& callback)
{
    d->logCallback = callback;
    logging = !callback.empty();
    noteLogging();
}

void CStateMachine::noteLogging() { quietVersion = logging ? ~std::uint64_t{0} : treeVersion; }

void CStateMachine::logMessage(const char* format, ...)
{
    if (!logging)
        return;
    char text[128];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Diag::stateMachineLog().add(text);
    const auto callback = d->logCallback; // which may replace itself
    callback(text);
}

} // namespace Kiv
