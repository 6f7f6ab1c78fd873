#include <kiv/PollingTimer.h>

#include <algorithm>
#include <limits>

namespace Kiv
{

namespace
{
std::uint64_t clockValueIn(unsigned long msecs)
{
    const std::uint64_t now = CPollingTimer::getMilliSec();
    return now + std::min<std::uint64_t>(msecs, std::numeric_limits<std::uint64_t>::max() - now);
}
} // namespace

CPollingTimer::CPollingTimer(unsigned long msecs) : expiryTime(clockValueIn(msecs)) {}

void CPollingTimer::start(unsigned long msecs) { expiryTime = clockValueIn(msecs); }

void CPollingTimer::setExpiry(unsigned long clockValue) { expiryTime = clockValue; }

unsigned long CPollingTimer::expiry() const { return static_cast<unsigned long>(expiryTime); }

bool CPollingTimer::isExpired() const { return expiryTime <= getMilliSec(); }

unsigned long CPollingTimer::msecsToExpiration() const
{
    const std::uint64_t now = getMilliSec();
    return expiryTime > now ? static_cast<unsigned long>(expiryTime - now) : 0;
}

unsigned long CPollingTimer::getExpiredTime(unsigned long startTime) { return getMilliSec() - startTime; }

} // namespace Kiv
