/// The base of the library's worker threads: a subclass supplies the body, this class starts and stops it.
#ifndef KIV_THREAD_H
#define KIV_THREAD_H

#include <cstdint>
#include <memory>
#include <vector>

#include <kiv/Deadline.h>
#include <kiv/RealTime.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CThreadPrivate;

/// A thread that runs the subclass's run() and is stopped cooperatively, by force only if it does not listen.
///
/// A body loops while isActive(). The subclass stops its own thread at the start of its destructor (requestStop() and
/// waitForCompletion()), because its members are gone when this class's destructor comes to do it. For work at fixed
/// times use CAlarmTimer instead.
///
/// | state           | start()                   | requestStop()      | destructor                                  |
/// |-----------------|---------------------------|--------------------|---------------------------------------------|
/// | never started   | starts                    | nothing            | logs "finished"                             |
/// | running         | isActive() is true again  | isActive() = false | stops; waits 100 ms; then terminates        |
/// | body returned   | starts again              | nothing            | logs "finished"                             |
///
/// Destroyed on its own thread (`delete this`, or exit() in the body of a static object), a running one neither waits
/// nor terminates: it logs "terminate" and the body runs on without its object.
///
/// Termination takes effect at the next cancellation point (pthreads(7)) that the body reaches; a body that reaches
/// none runs on. While the body waits in the library for a thread, a machine or a timer, termination is held off until
/// that wait is over. The process lives either way, but the body must not touch its object any more (isActive() and
/// currentThreadId() excepted). A body that is terminated inside a noexcept function, or swallows the unwinding with
/// catch (...), ends the process; so does an exception that leaves the body.
///
/// Start, end and termination are logged at TRACE through Diag::diagLogger(); the destructor waits up to 100 ms for a
/// log that stands, then goes on.
///
/// Threads: start() and destruction belong to one thread; everything else is safe from any, while the object lives.
/// Errors: none reported. If the system refuses a thread, isActive() is false after start().
class KIV_API CThread
{
public:
    /// `name` goes into the log and is not copied: it must outlive the thread; null counts as "". `priority` is one of
    /// QThread's, 0 (idle) to 6 (time critical), 3 is normal, 7 inherits the caller's. It is for ordinary scheduling,
    /// and on Linux 1 to 6 make no difference there; what has to be in time takes setRealTimePriority().
    explicit CThread(const char* name, int priority = 3);
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// The body, called on the new thread.
    virtual void run() = 0;

    /// Waits up to 100 ms for the thread, and for its log.
    virtual ~CThread();

    /// Starts the thread and returns when it has begun, so that getId() is valid then (after at most 100 ms on a
    /// machine that is too busy). Called from a constructor it runs the body of the class under construction.
    void start();

    /// Runs the body under a real-time policy, with a priority of 1 to 99, or with RealTimeNone and 0 under ordinary
    /// scheduling, whatever the starter has: from now on if it runs, and at every later start. Without this call the
    /// thread has what its starter has, when that is real-time; see <kiv/RealTime.h>. 0, or a code and all is as
    /// before: -22 out of range, -1 without the right to it. Should the right go before the start, the thread starts
    /// without and logs that. Safe from any thread.
    int setRealTimePriority(eRealTimePolicy policy, int priority);

    /// Runs the body on these processors only, counted from 0, in the same way; -22 if none of them may be used.
    int setProcessors(const std::vector<unsigned int>& processors);

    /// What the running body has, for a self-test at the start; false and 0 while none runs.
    bool isRealTime() const;
    int realTimePriority() const;

    /// Asks the body to return; neither wakes it nor waits for it.
    void requestStop();

    /// Waits up to `ms` milliseconds for the thread's end. True when it has ended or never ran; false when the time ran
    /// out and when called by the thread itself.
    bool waitForCompletion(unsigned int ms);

    /// Waits until the deadline in the same way.
    bool waitForCompletion(const CDeadline& deadline);

    /// True from start() until requestStop() or until the body has returned.
    bool isActive() const;

    /// The kernel's thread id of the last run; 0 before the first.
    std::uint64_t getId() const;

    /// The calling thread sleeps for `ms` milliseconds; sleepUntil() is for what has to keep to a schedule. From 2^31
    /// on it sleeps practically for ever, since the number is taken as a signed one.
    static void sleep(unsigned int ms);

    /// The calling thread sleeps until the deadline, on its clock: the next period begins where the last one ended, see
    /// CDeadline.
    static void sleepUntil(const CDeadline& deadline);

    /// The kernel's id of the calling thread (gettid(2)).
    static std::uint64_t currentThreadId();

private:
    std::unique_ptr<CThreadPrivate> d;
};

} // namespace Kiv

#endif
