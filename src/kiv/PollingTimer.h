/// A deadline that its owner asks about, and the millisecond clock behind it.
#ifndef KIV_POLLINGTIMER_H
#define KIV_POLLINGTIMER_H

#include <cstdint>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// A passive deadline that its owner asks from time to time: no thread, no callback. Its clock has 32 bits, and a
/// deadline beyond their end never expires: CDeadline has 64 and is the one for new programs.
///
/// All polling timers of a process read one monotonic clock that starts at its first reading. For calls at fixed times
/// use CAlarmTimer.
///
/// Threads: reentrant; one object belongs to one thread, the clock may be read from any.
/// Errors: none.
/// Units: milliseconds. The clock keeps 32 bits and starts again at 0 after about 49.7 days; a deadline across that
/// point compares wrongly: it is missed if it lies beyond, and one that has passed is to come again.
class KIV_API CPollingTimer
{
public:
    /// Expires `msecs` ms from now; 0 expires at once.
    explicit CPollingTimer(unsigned long msecs = 0);

    /// Expires `msecs` ms from now; what the clock's type cannot hold is cut to its largest value.
    void start(unsigned long msecs);

    /// Expires when the clock shows `clockValue`.
    void setExpiry(unsigned long clockValue);

    /// The clock value of the deadline.
    unsigned long expiry() const;

    /// True from the very millisecond of the deadline on.
    bool isExpired() const;

    /// How long until the deadline; 0 when it has passed.
    unsigned long msecsToExpiration() const;

    /// The clock: milliseconds since it was first read, modulo 2^32.
    static unsigned long getMilliSec();

    /// The time since the clock showed `startTime`; a huge number when that is still to come.
    static unsigned long getExpiredTime(unsigned long startTime);

private:
    std::uint64_t expiryTime;
};

} // namespace Kiv

#endif
