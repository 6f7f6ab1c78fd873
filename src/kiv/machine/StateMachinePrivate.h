/// The private part of a state machine: queue, table and loop, and the worker that turns the loop.
///
/// Threads: the queue is the way in for other threads. `handOver` guards who leaves the active state when stop() and
/// the worker meet: the worker marks itself done under it, and stop() either finds it done or leaves the exit to it. A
/// stop() from a hook on the worker always leaves it to the worker: the hook stands in the middle of a walk.
#ifndef KIV_STATEMACHINEPRIVATE_H
#define KIV_STATEMACHINEPRIVATE_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include <kiv/Deadline.h>
#include <kiv/StateMachine.h>
#include <kiv/Thread.h>
#include <kiv/Transition.h>

#include "kiv/env/qt/core/MsgQueue.h"
#include "kiv/machine/EventTable.h"
#include "kiv/machine/Timeouts.h"

namespace Kiv
{

/// A queued transition, or without one an event number and what the event carries.
struct Event
{
    unsigned char event = 0;
    CTransition* transition = nullptr;
    CEventValue value{};
};

class StateMachinePrivate : public CThread
{
public:
    StateMachinePrivate(CStateMachine* owner, CStateMachine::eProcessingType type, unsigned short queueSize)
        : CThread("TinySimpleFSMThread", 3), machine(owner), queue(queueSize != 0 ? queueSize : 1), processingType(type)
    {}

    // ---- the way of an event

    void post(const Event& event);
    void process();
    void handle(unsigned char eventNo);
    void handle(unsigned char eventNo, const CEventValue& value);

    /// Leaves the active state as soon as the event in work is done.
    void requestEnd() { endRequested = true; }
    bool hasToEnd() const { return endRequested; }
    void end();

    /// Nothing that is queued or registered fires the transition any more.
    void withdraw(const CTransition* transition);

    /// Finds out what can be known before the first event.
    void prepare();

    // ---- the worker

    bool isAsync() const { return processingType == CStateMachine::ProcessingAsync; }
    bool isWorker() const;
    bool isWorking();
    void startWorker();

    /// True when the caller has to leave the active state, false when the worker will.
    bool stopWorker();

    /// The worker takes nothing more from the queue.
    void requestWorkerEnd();

    /// Waits for a hook in progress as long as that takes, but a process that exits must come to its end. False if the
    /// worker has not come to its first step: its thread stands in the log and will find nothing to do.
    bool endWorker();

    CStateMachine* const machine;
    CEventTable table;
    CTimeouts timeouts;
    const CEventValue* valueInWork = nullptr; ///< of the event that is handled
    std::array<std::string, 256> eventNames;
    cb::Callback1<void, const std::string&> logCallback;
    std::atomic<std::uint64_t> dropped{0};
    CMsgQueue<Event> queue;

    // The tree that a machine leaves behind when its worker exits the process from within a hook.
    std::vector<CAbstractState*> leftStates;
    std::vector<CAbstractState*> leftHistories;
    std::vector<CTransition*> leftTransitions;

private:
    void run() override;
    void drop(const Event& event);
    bool take(Event& event, CDeadline& idleEnd);
    void fireDue();
    void handle(const Event& event);
    void requestWorkerStop();
    void setWorking(bool begins);
    void markWorking(bool begins) KIV_REQUIRES(handOver);
    void waitUntilFinished();
    bool begins();
    bool neverBegins();

    const CStateMachine::eProcessingType processingType;
    CTransition nothing{nullptr}; // stands in the queue for a transition that has gone; never fires
    std::atomic<bool> abandonQueue{false};
    bool endRequested = false; // the processing thread's own
    CPlainMutex handOver;
    bool working KIV_GUARDED_BY(handOver) = false;
    bool exitByWorker KIV_GUARDED_BY(handOver) = false;
    bool hasBegun KIV_GUARDED_BY(handOver) = false;
    bool isLeftBehind KIV_GUARDED_BY(handOver) = false;
};

} // namespace Kiv

#endif
