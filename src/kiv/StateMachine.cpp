#include <kiv/StateMachine.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include <kiv/Thread.h>
#include <kiv/Transition.h>

#include "kiv/env/qt/core/MsgQueue.h"
#include "kiv/env/unix/diag/LogRing.h"
#include "kiv/env/unix/diag/ProcessExit.h"

// Threads: the queue is the way in for other threads. `handOver` guards who leaves the active state when stop() and the
// worker meet: the worker marks itself done under it, and stop() either finds it done or leaves the exit to it. A
// stop() from a hook on the worker always leaves it to the worker: the hook stands in the middle of a walk.

namespace Kiv
{

namespace
{

constexpr unsigned short queueCapacity = 64;
constexpr unsigned int roomTimeoutMs = 100;
constexpr unsigned int idleTimeoutMs = 100;
constexpr unsigned int stopTimeoutMs = 200;
constexpr unsigned int beginTimeoutMs = 1000;
constexpr unsigned int exitTimeoutMs = 5000;

/// A queued transition, or without one an event number.
struct Event
{
    unsigned char event = 0;
    CTransition* transition = nullptr;
};

/// The machine whose worker the calling thread is.
thread_local const StateMachinePrivate* workerOf = nullptr;

template<std::size_t Size>
void say(const char (&message)[Size])
{
    static_cast<void>(!write(STDERR_FILENO, message, Size - 1));
}

[[noreturn]] void refuseDestruction()
{
    say("Kiv::CStateMachine: destroyed by a hook on its own worker thread, which would have to wait for itself\n");
    std::abort();
}

[[noreturn]] void cutExitShort()
{
    say("Kiv::CStateMachine: a hook on a worker thread does not end, so the process ends without it\n");
    Diag::CProcessExit::cutShort();
}

} // namespace

class StateMachinePrivate : public CThread
{
public:
    StateMachinePrivate(CStateMachine* owner, CStateMachine::eProcessingType type)
        : CThread("TinySimpleFSMThread", 3), machine(owner), processingType(type)
    {}

    bool isAsync() const { return processingType == CStateMachine::ProcessingAsync; }
    bool isWorker() const { return workerOf == this; }

    void post(const Event& event)
    {
        const bool mayWait = isAsync() && !isWorker();
        if (!queue.write(event, mayWait ? roomTimeoutMs : 0))
            drop(event);
    }

    [[gnu::cold]] void drop(const Event& event)
    {
        dropped.fetch_add(1, std::memory_order_relaxed);
        if (event.transition)
            machine->sigTransitionDropped(event.transition);
        else
            machine->sigEventDropped(event.event);
    }

    bool take(Event& event) { return !abandonQueue && queue.read(event, isAsync() ? idleTimeoutMs : 0); }

    bool isWorking()
    {
        const std::lock_guard<CPlainMutex> lock(handOver);
        return working;
    }

    void startWorker()
    {
        waitUntilFinished();
        setWorking(true);
        queue.interruptReader(false);
        start();
        if (waitForCompletion(0)) // ended already, or the system refused the thread
            setWorking(false);
    }

    void requestWorkerStop()
    {
        requestStop();
        queue.interruptReader(true);
    }

    /// True when the caller has to leave the active state, false when the worker will.
    bool stopWorker()
    {
        requestWorkerStop();
        if (!isWorker() && waitForCompletion(stopTimeoutMs))
            return true;
        const std::lock_guard<CPlainMutex> lock(handOver);
        exitByWorker = working;
        abandonQueue = working;
        return !working;
    }

    /// The worker takes nothing more from the queue.
    void requestWorkerEnd()
    {
        abandonQueue = true;
        requestWorkerStop();
    }

    /// Waits for a hook in progress as long as that takes, but a process that exits must come to its end. False if the
    /// worker has not come to its first step: its thread stands in the log and will find nothing to do.
    bool endWorker()
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

    void withdraw(const CTransition* transition)
    {
        for (auto& row : eventTable)
            row.erase(std::remove(row.begin(), row.end(), transition), row.end());
        queue.changeWaiting([&](Event& event) {
            if (event.transition == transition)
                event.transition = &nothing;
        });
    }

    void run() override;

    CStateMachine* const machine;
    CMsgQueue<Event> queue{queueCapacity};
    cb::Callback1<void, const std::string&> logCallback;
    const CStateMachine::eProcessingType processingType;
    std::vector<std::vector<CTransition*>> eventTable;
    std::atomic<std::uint64_t> dropped{0};

    // The tree that a machine leaves behind when its worker exits the process from within a hook.
    std::vector<CAbstractState*> leftStates;
    std::vector<CAbstractState*> leftHistories;
    std::vector<CTransition*> leftTransitions;

private:
    void setWorking(bool begins)
    {
        const std::lock_guard<CPlainMutex> lock(handOver);
        markWorking(begins);
    }

    void markWorking(bool begins)
    {
        working = begins;
        hasBegun = false;
        exitByWorker = false;
        abandonQueue = false;
    }

    void waitUntilFinished()
    {
        while (!waitForCompletion(stopTimeoutMs))
        {}
    }

    bool begins()
    {
        const std::lock_guard<CPlainMutex> lock(handOver);
        hasBegun = !isLeftBehind;
        return hasBegun;
    }

    bool neverBegins()
    {
        const std::lock_guard<CPlainMutex> lock(handOver);
        isLeftBehind = !hasBegun;
        return isLeftBehind;
    }

    CTransition nothing{nullptr}; // stands in the queue for a transition that has gone; never fires
    std::atomic<bool> abandonQueue{false};
    CPlainMutex handOver; // guards those below
    bool working = false;
    bool exitByWorker = false;
    bool hasBegun = false;
    bool isLeftBehind = false;
};

void StateMachinePrivate::run()
{
    if (!begins())
        return;
    Diag::CProcessExit::markThread();
    workerOf = this;
    // At least once: what was queued before a stop is handled also when the stop came before the thread.
    do
        machine->process();
    while (isActive());
    std::unique_lock<CPlainMutex> lock(handOver);
    if (exitByWorker)
    {
        lock.unlock();
        machine->leaveTopState();
        lock.lock();
    }
    markWorking(false);
    workerOf = nullptr;
}

CStateMachine::CStateMachine(eProcessingType type)
    : CState("Statemachine"), d(std::make_unique<StateMachinePrivate>(this, type))
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
    d->eventTable.clear();
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
    setActiveChild(initialState());
    initialState()->enter();
    sigStarted(this);
    if (isAsync())
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

void CStateMachine::process()
{
    Event next;
    while (d->take(next))
    {
        if (next.transition)
            next.transition->doTrigger();
        else
            processEvent(next.event);
    }
    if (isAsync() && !d->isActive())
        return;
    if (CAbstractState* const child = currentChild())
        child->doProcessing();
}

void CStateMachine::processEvent(unsigned char eventNo)
{
    sigEventHandled(eventNo);
    // By index: a hook may register further transitions meanwhile.
    for (std::size_t i = 0; eventNo < d->eventTable.size() && i < d->eventTable[eventNo].size(); ++i)
        d->eventTable[eventNo][i]->doTrigger();
}

void CStateMachine::postEvent(unsigned char eventNo, eProcessingType type)
{
    if (type == ProcessingAsync)
        d->post({eventNo, nullptr});
    else
        processEvent(eventNo);
}

void CStateMachine::queueTransitionTriggerEvent(CTransition* transition)
{
    if (transition)
        d->post({0, transition});
}

void CStateMachine::registerEventTransiton(unsigned char eventNo, CTransition* transition)
{
    if (!transition)
        return;
    auto& table = d->eventTable;
    if (eventNo >= table.size())
        table.resize(std::max<std::size_t>(eventNo + 16U, 255));
    auto& row = table[eventNo];
    if (std::find(row.begin(), row.end(), transition) == row.end())
        row.push_back(transition);
}

std::vector<unsigned char> CStateMachine::eventsOf(const CTransition* transition) const
{
    std::vector<unsigned char> events;
    for (std::size_t event = 0; event < d->eventTable.size(); ++event)
    {
        const auto& row = d->eventTable[event];
        if (std::find(row.begin(), row.end(), transition) != row.end())
            events.push_back(static_cast<unsigned char>(event));
    }
    return events;
}

std::vector<CTransition*> CStateMachine::transitionsOf(unsigned char eventNo) const
{
    return eventNo < d->eventTable.size() ? d->eventTable[eventNo] : std::vector<CTransition*>();
}

bool CStateMachine::isAsync() const { return d->isAsync(); }

unsigned int CStateMachine::pendingEvents() const { return d->queue.pending(); }

std::uint64_t CStateMachine::droppedEvents() const { return d->dropped.load(std::memory_order_relaxed); }

void CStateMachine::setLogMessageCallback(const cb::Callback1<void, const std::string&>& callback)
{
    d->logCallback = callback;
    logging = !callback.empty();
}

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
