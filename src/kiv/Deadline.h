/// Deadlines on monotonic clocks of 64 bits: for waits, and for an owner who asks now and then.
#ifndef KIV_DEADLINE_H
#define KIV_DEADLINE_H

#include <chrono>
#include <initializer_list>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// The clocks that are never set. They differ while the system is suspended.
enum eClock : int
{
    ClockMonotonic, ///< CLOCK_MONOTONIC: stands still meanwhile; for how long the program itself may take
    ClockBoottime   ///< CLOCK_BOOTTIME: runs on; for what goes on in the world, such as a process that cools down
};

/// A moment on one of the clocks, or never: asked from time to time, or given to a wait.
///
/// A plain value; no thread, no callback. The waits of this library take one instead of milliseconds: those of CThread,
/// CEventQueue and CTimedCondition. For calls at fixed times use CAlarmTimer.
///
/// A period without drift counts from the deadline before, not from now:
///
///     CDeadline next = CDeadline::in(10ms);
///     while (isActive())
///     {
///         CThread::sleepUntil(next);
///         next += 10ms;
///         measure();
///     }
///
/// Threads: reentrant; the clocks may be read from any.
/// Errors: none.
/// Units: any duration of std::chrono, nanoseconds inside, in 64 bits: they reach 292 years. What lies beyond is never.
class KIV_API CDeadline
{
public:
    /// Never expires.
    CDeadline() = default;

    /// Expires so long from now; a span of zero or below has expired already.
    template<class Rep, class Period>
    static CDeadline in(std::chrono::duration<Rep, Period> span, eClock clock = ClockMonotonic)
    {
        return at(now(clock), clock) += span;
    }

    /// Expires when the clock shows `instant`.
    static CDeadline at(std::chrono::nanoseconds instant, eClock clock = ClockMonotonic);

    /// It never expires.
    static CDeadline never() { return {}; }

    /// The one of them that comes first by the present state of both clocks; never() of none.
    static CDeadline earliest(std::initializer_list<CDeadline> deadlines);

    /// What the clock shows: the time since the system was started, with or without that in suspend.
    static std::chrono::nanoseconds now(eClock clock = ClockMonotonic);

    /// Moves it by so much from where it is; never stays never.
    template<class Rep, class Period>
    CDeadline& operator+=(std::chrono::duration<Rep, Period> span)
    {
        move(inNanoseconds(span));
        return *this;
    }

    /// True for never().
    bool isNever() const { return moment >= endOfTime; }

    /// True from the very nanosecond of the deadline on.
    bool isExpired() const { return moment.count() <= 0 || (!isNever() && moment <= now(clockUsed)); }

    /// How long until then: zero when it has passed, nanoseconds::max() for never.
    std::chrono::nanoseconds remaining() const;

    /// What the clock shows then; nanoseconds::max() for never.
    std::chrono::nanoseconds instant() const { return moment; }

    /// The clock on which it lies.
    eClock clock() const { return clockUsed; }

private:
    /// A little before the last nanosecond, which no rounding of a longer span falls short of.
    static constexpr std::chrono::nanoseconds endOfTime{9200000000000000000};

    template<class Rep, class Period>
    static constexpr std::chrono::nanoseconds inNanoseconds(std::chrono::duration<Rep, Period> span)
    {
        using Real = std::chrono::duration<double, std::nano>;
        if (!(Real(span) < Real(endOfTime))) // what is no number included
            return std::chrono::nanoseconds::max();
        return Real(span) > -Real(endOfTime) ? std::chrono::duration_cast<std::chrono::nanoseconds>(span) : -endOfTime;
    }

    void move(std::chrono::nanoseconds span);

    std::chrono::nanoseconds moment = std::chrono::nanoseconds::max();
    eClock clockUsed = ClockMonotonic;
};

} // namespace Kiv

#endif
