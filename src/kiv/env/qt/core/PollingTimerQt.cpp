#include <cstdint>

#include <kiv/PollingTimer.h>

#include "kiv/time/TimeSource.h"

namespace Kiv
{

unsigned long CPollingTimer::getMilliSec()
{
    static const std::chrono::nanoseconds start = Time::now(ClockMonotonic);
    const auto elapsed = std::chrono::floor<std::chrono::milliseconds>(Time::now(ClockMonotonic) - start);
    return static_cast<std::uint32_t>(elapsed.count());
}

} // namespace Kiv
