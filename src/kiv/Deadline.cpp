#include <kiv/Deadline.h>

#include <algorithm>

#include "kiv/time/TimeSource.h"

namespace Kiv
{

using std::chrono::nanoseconds;

CDeadline CDeadline::at(nanoseconds instant, eClock clock)
{
    CDeadline deadline;
    deadline.moment = instant < endOfTime ? std::max(instant, -endOfTime) : nanoseconds::max();
    deadline.clockUsed = clock;
    return deadline;
}

CDeadline CDeadline::earliest(std::initializer_list<CDeadline> deadlines)
{
    // Of those that have passed, too, the first: by where they lie, not by what remains.
    const nanoseconds suspended = now(ClockBoottime) - now(ClockMonotonic);
    const auto onBoottime = [suspended](const CDeadline& deadline) {
        return deadline.isNever() || deadline.clockUsed == ClockBoottime
                   ? deadline.moment
                   : std::min(deadline.moment, endOfTime - suspended) + suspended;
    };
    const auto* const first =
        std::min_element(deadlines.begin(), deadlines.end(), [&](const CDeadline& one, const CDeadline& other) {
            return onBoottime(one) < onBoottime(other);
        });
    return first != deadlines.end() ? *first : never();
}

nanoseconds CDeadline::now(eClock clock) { return Time::now(clock); }

nanoseconds CDeadline::remaining() const
{
    return isNever() ? moment : std::max(moment - now(clockUsed), nanoseconds::zero());
}

void CDeadline::move(nanoseconds span)
{
    if (isNever())
        return;
    // Neither sum can overflow: a moment lies below the end of time, and a span at or above its negative.
    if (span >= endOfTime - std::max(moment, nanoseconds::zero()))
        moment = nanoseconds::max();
    else
        moment = std::max(moment, -endOfTime - std::min(span, nanoseconds::zero())) + span;
}

} // namespace Kiv
