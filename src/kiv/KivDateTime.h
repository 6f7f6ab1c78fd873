/// Calendar instants in local time and spans of milliseconds, as plain values.
#ifndef KIV_KIVDATETIME_H
#define KIV_KIVDATETIME_H

#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CMutex;

/// A signed span of time.
///
/// Threads: reentrant.
/// Errors: none.
/// Units: milliseconds in 64 bits. Days, hours and minutes are summed in 32 bits, which wrap from 25 days on; seconds
/// and milliseconds are not. Callers rely on both.
class KIV_API CPeriodOfTime
{
public:
    /// The sum of its parts, each of any sign and size.
    CPeriodOfTime(int days, int hours, int minutes, int seconds, int msecs);

    /// Of this one part.
    static CPeriodOfTime fromSeconds(int s);
    static CPeriodOfTime fromMSecs(int ms);

    /// The length in milliseconds.
    std::int64_t getMsecs() const { return length; }

    /// "1 02:03:04:005": days, hours, minutes, seconds and milliseconds. Exact from 0 to 2^31 - 1 ms. What is
    /// subtracted at each step has 32 bits, so that longer and negative spans give numbers that do not add up, cut
    /// after 63 characters; callers rely on them.
    std::string toString() const;

private:
    std::int64_t length;
};

/// Writes the milliseconds as an unsigned number: -1 ms is 18446744073709551615.
KIV_API std::ostream& operator<<(std::ostream& stream, const CPeriodOfTime& period);

/// An instant in whole seconds since 1970 on the system's clock, with a count of milliseconds beside it, shown in the
/// process's local time.
///
/// For what a person reads and types. Not for measuring: the system's clock can be set; see CPollingTimer.
///
/// Threads: reentrant. Everything that shows local time takes one lock of the process.
/// Errors: none. An instant whose year does not fit into an int has a c_timeinfo() of zeros.
/// Units: seconds and milliseconds as the names say. Sums wrap at the width of their result.
class KIV_API CDateTime
{
public:
    /// Leaves the value unset, reading no clock: assign to it before anything else.
    CDateTime() {}

    /// `t` seconds since 1970, 0 ms. Not explicit: a time_t is an instant.
    CDateTime(std::time_t t) : seconds(t), milliseconds(0) {}

    /// A moment of local time; `month` counts from 1, and parts beyond their range carry over. `msec` is taken as it
    /// is. Where the year that comes out does not fit into an int, the instant is one second before 1970.
    ///
    /// Whether daylight saving time applies is taken from the present moment and not from the date: a date of the other
    /// season comes out shifted by the zone's offset. Callers rely on this.
    CDateTime(int year, int month, int day, int hour, int minute, int second, int msec);

    /// Now, with 0 ms.
    static CDateTime currentDateTime();

    /// Below, equal to or above 0, as this instant is before, at or after `o`: the difference in seconds, cut to 32
    /// bits, or that of the milliseconds if the seconds are equal. Instants 2^32 s apart count as equal.
    int compare(const CDateTime& o) const;

    /// The two parts as they are kept: seconds since 1970, and milliseconds.
    std::time_t c_time() const { return seconds; }
    int getMsec() const { return milliseconds; }

    /// The local time, broken down; the getters below do this anew each time.
    std::tm c_timeinfo() const;
    int getYear() const;
    /// From 1 to 12.
    int getMonth() const;
    /// Of the month, from 1.
    int getDay() const;
    int getHour() const;
    int getMinute() const;
    int getSecond() const;

    /// Seconds until `o`, negative if it is earlier; without the milliseconds. Beyond the range of int, its end.
    int getSecsTo(const CDateTime& o) const;
    /// getSecsTo() in whole days of 86400 s, toward zero.
    int getDaysTo(const CDateTime& o) const;
    /// getSecsTo() in milliseconds, and the difference of the milliseconds.
    std::int64_t getMsecsTo(const CDateTime& o) const;

    /// The instant `s` seconds later; the milliseconds stay.
    CDateTime addSecs(int s) const;
    /// Adds days of 86400 s; their seconds wrap at 32 bits, from about 24855 days on.
    CDateTime addDays(int d) const;
    /// Carries one second at most. Where the milliseconds become negative, their amount is kept: 500 ms before
    /// 12:00:00.200 is 11:59:59.300. Callers rely on this. The seconds wrap at 32 bits.
    CDateTime addMSecs(long ms) const;
    CDateTime addPeriodOfTime(CPeriodOfTime p) const;

    /// "2020-03-04 05:06:07" in local time.
    std::string toString() const;

    /// localtime for the whole process: under the lock, and the result is the caller's.
    static std::tm ts_localtime(std::time_t t);
    static std::tm ts_current_localtime();

    /// Guards every call of localtime in the library; take it around your own. Never destroyed.
    static CMutex& st_csTimeLibLock;

private:
    std::time_t seconds;
    std::int32_t milliseconds;
};

/// What compare() says.
KIV_API bool operator==(const CDateTime& a, const CDateTime& b);
KIV_API bool operator!=(const CDateTime& a, const CDateTime& b);
KIV_API bool operator<(const CDateTime& a, const CDateTime& b);
KIV_API bool operator<=(const CDateTime& a, const CDateTime& b);
KIV_API bool operator>(const CDateTime& a, const CDateTime& b);
KIV_API bool operator>=(const CDateTime& a, const CDateTime& b);

/// Writes toString().
KIV_API std::ostream& operator<<(std::ostream& stream, const CDateTime& moment);

} // namespace Kiv

#endif
