/// Time in the hands of a test: the library's clocks stand still until the test moves them.
#ifndef KIV_TESTKIT_VIRTUALCLOCK_H
#define KIV_TESTKIT_VIRTUALCLOCK_H

#include <chrono>

#include <kiv/Deadline.h>

namespace Kiv
{

class CVirtualTime;

namespace TestKit
{

/// While it lives, it takes the place of real time in the whole library: alarm timers, deadlines, polling timers, the
/// waits of threads, queues and state machines, sleeps, hour counters and what the calendar calls now.
///
///     CVirtualClock clock;
///     CHeater heater; // has timers, threads and a state machine of its own
///     heater.start();
///     ASSERT_EQ(clock.advance(24h), 0);
///     EXPECT_EQ(heater.switchings(), 48);
///
/// - Order: what falls due meanwhile is run in the order of its moments, one after the other, each with the clocks at
///   its very moment. Of two at one moment the thread that was started first comes first. The next one begins when all
///   threads wait again. What the threads that one of them wakes do at that moment has the order that the program gives
///   it, as ever.
/// - Who takes part: every thread of the library (timers, workers, CThread) from its start to its end, and any other
/// one
///   from its first wait with the library until it ends. While one of them does anything but wait with the library, no
///   time passes: sleeping in another way, or waiting for another process, takes real time and no virtual time.
/// - The test's own thread, the one that made the clock, moves it by advance(), and by every wait of its own: stop()
///   of a timer whose handler sleeps gives up after 100 virtual milliseconds and no real ones.
/// - Bounds: if nothing moves for ten real seconds, the wait that is in progress on the test's thread gives up and says
///   on standard error which thread does not come back.
///
/// Make it before everything else that uses time, destroy it after that; one at a time. What waits in real time already
/// comes over with its next wait. Deadlines that are left when it goes lie where it has put them, in the future mostly.
///
/// On real time stay: std::chrono, time(2) and whatever else is not of the library; the limits of a process that ends
/// or crashes; and the times in log records.
///
/// Threads: belongs to the thread that makes it.
/// Errors: 0 or a negated code. -208 ("Operation timed out") if a thread does not come back, -1 ("Operation not
/// permitted") on another thread.
class CVirtualClock
{
public:
    using WallTime = std::chrono::system_clock::time_point;

    /// 2024-01-01 00:00:00 UTC.
    static constexpr WallTime newYear2024{std::chrono::seconds(1704067200)};

    /// Stops the clocks where they are, at a whole second. `wallTime` is what the calendar begins with.
    explicit CVirtualClock(WallTime wallTime = newYear2024);

    /// Real time goes on.
    ~CVirtualClock();
    CVirtualClock(const CVirtualClock&) = delete;
    CVirtualClock& operator=(const CVirtualClock&) = delete;

    /// Moves all clocks by so much, and runs what falls due up to then, the last moment included. Back when all threads
    /// wait.
    [[nodiscard]] int advance(std::chrono::nanoseconds span);

    /// Waits until all threads wait, without moving a clock: after the test has posted something.
    [[nodiscard]] int settle() { return advance(std::chrono::nanoseconds::zero()); }

    /// The system sleeps for so long: CLOCK_BOOTTIME and the calendar go on and CLOCK_MONOTONIC does not. Then runs
    /// what is overdue.
    [[nodiscard]] int suspend(std::chrono::nanoseconds span);

    /// How long until the next moment at which something falls due; nanoseconds::max() if nothing does.
    std::chrono::nanoseconds untilNext() const;

    /// Somebody sets the calendar; deadlines do not care.
    void setWallTime(WallTime wallTime);
    WallTime wallTime() const;

    /// How long nothing may move, in real time; from 1 ms on.
    void setPatience(std::chrono::milliseconds patience);

private:
    CVirtualTime& time;
};

} // namespace TestKit
} // namespace Kiv

#endif
