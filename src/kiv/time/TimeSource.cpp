#include "kiv/time/TimeSource.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>

namespace Kiv
{
namespace Time
{

using std::chrono::nanoseconds;

std::atomic<ITimeSource*> installedSource{nullptr};

namespace
{

constexpr nanoseconds longestPoll = std::chrono::hours(1); // poll() counts milliseconds in an int
constexpr nanoseconds longestWaitOnBoottime = std::chrono::milliseconds(250);

clockid_t idOf(eClock clock) { return clock == ClockBoottime ? CLOCK_BOOTTIME : CLOCK_MONOTONIC; }

nanoseconds reading(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

timespec asTimespec(nanoseconds time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    timespec result{};
    result.tv_sec = seconds.count();
    result.tv_nsec = (time - seconds).count();
    return result;
}

void sleepUntilRealTime(const CDeadline& deadline)
{
    const timespec end = asTimespec(std::max(deadline.instant(), nanoseconds::zero()));
    while (clock_nanosleep(idOf(deadline.clock()), TIMER_ABSTIME, &end, nullptr) == EINTR)
    {}
}

/// What poll(2) is told: not below what remains, and not above what it can be told.
int pollMilliseconds(const CDeadline& deadline)
{
    const nanoseconds left = std::min(realWaitLimit(deadline) - reading(CLOCK_MONOTONIC), longestPoll);
    return static_cast<int>(std::max(std::chrono::ceil<std::chrono::milliseconds>(left).count(), std::int64_t{0}));
}

int pollInRealTime(pollfd* files, unsigned count, const CDeadline& deadline)
{
    for (;;)
    {
        const int ready = ::poll(files, count, pollMilliseconds(deadline));
        if (ready > 0 || (ready < 0 && errno != EINTR) || (ready == 0 && deadline.isExpired()))
            return ready;
    }
}

struct PolledFiles
{
    pollfd* files;
    unsigned count;
    int ready;
};

bool areReady(void* context)
{
    auto& polled = *static_cast<PolledFiles*>(context);
    polled.ready = ::poll(polled.files, polled.count, 0);
    return polled.ready > 0 || (polled.ready < 0 && errno != EINTR);
}

int pollInTimeOf(ITimeSource& source, pollfd* files, unsigned count, const CDeadline& deadline)
{
    PolledFiles polled{files, count, 0};
    if (areReady(&polled) || deadline.isExpired())
        return polled.ready;
    TimedWait wait(&polled, deadline);
    wait.isOver = areReady;
    wait.context = &polled;
    source.enter(wait);
    source.wait(wait);
    areReady(&polled);
    return polled.ready;
}

} // namespace

void install(ITimeSource* source) { installedSource.store(source, std::memory_order_release); }

nanoseconds now(eClock clock)
{
    if (ITimeSource* const other = source())
        return other->now(clock);
    return reading(idOf(clock));
}

nanoseconds wallTime()
{
    if (ITimeSource* const other = source())
        return other->wallTime();
    return reading(CLOCK_REALTIME);
}

std::time_t wallSeconds()
{
    if (ITimeSource* const other = source())
        return std::chrono::floor<std::chrono::seconds>(other->wallTime()).count();
    return std::time(nullptr);
}

void sleepUntil(const CDeadline& deadline)
{
    ITimeSource* const other = source();
    if (other == nullptr)
        return sleepUntilRealTime(deadline);
    while (!deadline.isExpired())
    {
        TimedWait wait(&wait, deadline);
        other->enter(wait);
        other->wait(wait);
    }
}

int poll(pollfd* files, unsigned count, const CDeadline& deadline)
{
    if (ITimeSource* const other = source())
        return pollInTimeOf(*other, files, count, deadline);
    return pollInRealTime(files, count, deadline);
}

nanoseconds realWaitLimit(const CDeadline& deadline)
{
    if (deadline.isNever() || deadline.clock() == ClockMonotonic)
        return deadline.instant();
    return reading(CLOCK_MONOTONIC) + std::min(deadline.instant() - reading(CLOCK_BOOTTIME), longestWaitOnBoottime);
}

} // namespace Time
} // namespace Kiv
