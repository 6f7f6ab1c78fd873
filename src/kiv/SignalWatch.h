/// SIGTERM, SIGINT, SIGHUP and others as plain calls on a thread, or as events of a state machine.
#ifndef KIV_SIGNALWATCH_H
#define KIV_SIGNALWATCH_H

#include <csignal>
#include <initializer_list>
#include <memory>

#include <kiv/Callback.h>
#include <kiv/Deadline.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CSignalWatchPrivate;

/// Takes signals from the way in which they interrupt whatever runs, and hands them on where anything may be done: log,
/// lock, post, allocate.
///
/// Construct it at the beginning of main(), before the first thread starts: it blocks the signals in the calling
/// thread, and threads that start later inherit that. A thread that was there before would still be interrupted. A
/// program that is started with one of them ignored, as by nohup, goes on ignoring it.
///
///     Kiv::CSignalWatch signals;
///     ...
///     signals.startPosting(machine, EventStop); // or start(callback), or wait() on the main thread
///
/// Programs that exec others unblock the signals in the child first: the mask is inherited.
///
/// Threads: start(), stop() and destruction by one thread; wait() by one, while nothing is started.
/// Errors: negated codes.
class KIV_API CSignalWatch
{
public:
    /// Blocks the signals in the calling thread. No signals, or ones that cannot be blocked: error() is -22.
    explicit CSignalWatch(std::initializer_list<int> signals = {SIGTERM, SIGINT, SIGHUP});
    /// Stops, and gives the calling thread, which should be the constructor's, its former mask back: a signal that
    /// nobody has taken does then what it would have done.
    ~CSignalWatch();
    CSignalWatch(const CSignalWatch&) = delete;
    CSignalWatch& operator=(const CSignalWatch&) = delete;

    /// 0, or why there are no signals to be had; every call returns the same then.
    int error() const;

    /// From now on each signal calls `callback` with its number, on a thread "signals" of the library; several of one
    /// kind at once may count as one. -16 when it is started already, -11 when the system refuses a thread.
    int start(const cb::Callback1<void, int>& callback);

    /// From now on each signal posts an event, which the machine has to outlive; never waits for room. For
    /// CStateMachine, or anything that has tryPostEvent().
    template<class Machine>
    int startPosting(Machine& machine, unsigned char eventNo)
    {
        return start(cb::Callback1<void, int>([&machine, eventNo](int) { machine.tryPostEvent(eventNo); }));
    }

    /// Ends the thread; returns when a callback in progress has returned, within 100 ms at most. Not from the callback.
    void stop();

    /// Waits on the calling thread: the signal's number, 0 when the time ran out, or a code.
    int wait(const CDeadline& deadline);

private:
    std::unique_ptr<CSignalWatchPrivate> d;
};

} // namespace Kiv

#endif
