#include <kiv/testkit/VirtualClock.h>

#include "VirtualTime.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{
namespace TestKit
{

using std::chrono::nanoseconds;

CVirtualClock::CVirtualClock(WallTime wallTime) : time(CVirtualTime::instance())
{
    time.activate(wallTime.time_since_epoch());
}

CVirtualClock::~CVirtualClock() { time.deactivate(); }

int CVirtualClock::advance(nanoseconds span) { return time.isOwner() ? time.advance(span) : operationNotPermitted; }

int CVirtualClock::suspend(nanoseconds span)
{
    if (!time.isOwner())
        return operationNotPermitted;
    time.suspend(span);
    return settle();
}

nanoseconds CVirtualClock::untilNext() const { return time.untilNext(); }

void CVirtualClock::setWallTime(WallTime wallTime) { time.setWallTime(wallTime.time_since_epoch()); }

CVirtualClock::WallTime CVirtualClock::wallTime() const { return WallTime(time.wallTime()); }

void CVirtualClock::setPatience(std::chrono::milliseconds patience) { time.setPatience(patience); }

} // namespace TestKit
} // namespace Kiv
