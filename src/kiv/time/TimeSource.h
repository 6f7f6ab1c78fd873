/// The library's one way to time: every clock that it reads and every wait with a limit comes through here; private.
///
/// Time is real unless a test has put a source of its own in its place. What that costs is one load and one branch that
/// is never taken, where a clock is read or a thread begins to wait.
///
/// These stay on real time whatever the source: the limits of a process that ends or crashes and of what waits for a
/// log that stands (env/unix/diag), since nobody moves a virtual clock then; short waits for another process, which
/// holds a file's lock or is about to grant access to one; the microseconds that the message queue spins before it
/// sleeps; and the times in log records, which are log4cplus's.
#ifndef KIV_TIMESOURCE_H
#define KIV_TIMESOURCE_H

#include <atomic>
#include <chrono>
#include <ctime>

#include <kiv/Deadline.h>
#include <kiv/kiv_export.h>

struct pollfd;

namespace Kiv
{

/// A wait in the time of a source, on the stack of who waits.
struct TimedWait
{
    TimedWait(const void* wakeAddress, const CDeadline& limit) : address(wakeAddress), deadline(limit) {}

    const void* const address; ///< what it is woken by: its condition
    const CDeadline deadline;

    /// Set for what comes from outside, such as a file that becomes readable: asked when every thread waits, and before
    /// time goes on.
    bool (*isOver)(void* context) = nullptr;
    void* context = nullptr;

    enum eState : int
    {
        StateWaits,
        StateWoken,
        StateTimedOut
    };
    eState state = StateWaits; ///< the source's own, as is the next
    void* thread = nullptr;
};

/// Takes the place of real time: clocks that go when it says so, and waits that it ends.
///
/// A source counts the threads that take part: the library's own from their start to their end, others from their first
/// wait on. While one of them does not wait, no time passes.
class ITimeSource
{
public:
    virtual std::chrono::nanoseconds now(eClock clock) = 0;

    /// Since 1970, as the system's clock would show it.
    virtual std::chrono::nanoseconds wallTime() = 0;

    /// Announces a wait, under the lock that guards what is waited for; from here on wake() finds it.
    virtual void enter(TimedWait& wait) = 0;

    /// Waits, with that lock released. False when the time ran out. A forced termination of the thread may unwind it.
    virtual bool wait(TimedWait& wait) = 0;

    /// Ends the waits at an address, or the oldest of them.
    virtual void wake(const void* address, bool all) = 0;

    /// A thread of the library: told by who starts it, by itself at its beginning and at its end. `token` stands for
    /// it.
    virtual void* addThread() = 0;
    virtual void beginThread(void* token) = 0;
    virtual void endThread(void* token) = 0;

protected:
    ~ITimeSource() = default;
};

namespace Time
{

extern std::atomic<ITimeSource*> installedSource;

/// The source that takes the place of real time, or null.
inline ITimeSource* source()
{
    ITimeSource* const found = installedSource.load(std::memory_order_acquire);
    return __builtin_expect(static_cast<long>(found != nullptr), 0) != 0 ? found : nullptr;
}

/// Puts a source in the place of real time, or real time in its place again (null). The source is never destroyed:
/// threads may be on their way to it. For the test kit.
KIV_API void install(ITimeSource* source);

std::chrono::nanoseconds now(eClock clock);

/// Since 1970.
std::chrono::nanoseconds wallTime();

/// Whole seconds, as time(2) gives them.
std::time_t wallSeconds();

/// Sleeps on the deadline's clock. A cancellation point.
void sleepUntil(const CDeadline& deadline);

/// poll(2) with a deadline: how many are ready, 0 when the time ran out, -1 and errno. Goes on after a signal.
int poll(pollfd* files, unsigned count, const CDeadline& deadline);

/// Until when, on the monotonic clock, a wait in real time lasts at most. On the other clock it ends after a quarter of
/// a second, since no condition follows that through a suspend; who waits then looks at the deadline and waits again.
std::chrono::nanoseconds realWaitLimit(const CDeadline& deadline);

} // namespace Time

/// A wait on a condition of anything that locks, in the time of a source.
template<class Lock>
bool waitOn(ITimeSource& source, const void* condition, Lock& lock, const CDeadline& deadline)
{
    if (deadline.isExpired())
        return false;
    TimedWait wait(condition, deadline);
    source.enter(wait);
    lock.unlock();
    const bool isWoken = source.wait(wait);
    lock.lock();
    return isWoken;
}

} // namespace Kiv

#endif
