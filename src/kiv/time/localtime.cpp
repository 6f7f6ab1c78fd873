// What the C library says about one moment holds for the moments around it, as long as the zone's clock is not put
// forward or back between them. So each stretch of some hours that is asked about repeatedly is checked once, at both
// ends, and from then on takes only arithmetic. Stretches in which something happens are always asked about.
//
// The zone itself may change at any time: TZ is compared on each call. Without TZ the zone is a file, which the C
// library looks at whenever it is asked; here it is looked at once in a second of real time, whatever the clock of a
// test says.
#include "kiv/time/localtime.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace Kiv
{

namespace
{

constexpr std::int64_t secondsOfDay = 86400;
constexpr std::time_t stretchLength =
    65536; // in seconds: no zone puts its clock forward and back within so short a time

/// Days since 1970 and their calendar: years begin in March here, so that the leap day is their last.
struct CalendarDay
{
    explicit CalendarDay(std::int64_t days)
    {
        const std::int64_t sinceMarch0 = days + 719468;
        const std::int64_t era = (sinceMarch0 >= 0 ? sinceMarch0 : sinceMarch0 - 146096) / 146097;
        const auto dayOfEra = static_cast<unsigned>(sinceMarch0 - era * 146097);
        const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
        const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
        const unsigned monthFromMarch = (5 * dayOfYear + 2) / 153;
        const bool isNextYear = monthFromMarch >= 10;
        year = era * 400 + yearOfEra + (isNextYear ? 1 : 0);
        month = static_cast<int>(isNextYear ? monthFromMarch - 10 : monthFromMarch + 2);
        day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
        const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        fromJanuary = static_cast<int>(isNextYear ? dayOfYear - 306 : dayOfYear + 59 + (isLeap ? 1 : 0));
    }

    std::int64_t year;
    int month; ///< 0 to 11
    int day;
    int fromJanuary;
};

/// A moment where the zone's clock goes as it does at another one.
std::tm withSameClock(std::time_t moment, const std::tm& other)
{
    const std::int64_t local = moment + other.tm_gmtoff;
    const std::int64_t days = (local >= 0 ? local : local - (secondsOfDay - 1)) / secondsOfDay;
    const auto second = static_cast<int>(local - days * secondsOfDay);
    const CalendarDay calendar(days);
    std::tm result = other;
    result.tm_sec = second % 60;
    result.tm_min = second / 60 % 60;
    result.tm_hour = second / 3600;
    result.tm_mday = calendar.day;
    result.tm_mon = calendar.month;
    result.tm_year = static_cast<int>(calendar.year - 1900);
    result.tm_wday = static_cast<int>(((days + 4) % 7 + 7) % 7);
    result.tm_yday = calendar.fromJanuary;
    return result;
}

bool isSame(const std::tm& a, const std::tm& b)
{
    return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour && a.tm_mday == b.tm_mday &&
           a.tm_mon == b.tm_mon && a.tm_year == b.tm_year && a.tm_wday == b.tm_wday && a.tm_yday == b.tm_yday &&
           a.tm_isdst == b.tm_isdst && a.tm_gmtoff == b.tm_gmtoff && std::strcmp(a.tm_zone, b.tm_zone) == 0;
}

/// What is known about the zone; used with the time library's lock held.
class CZone
{
public:
    std::tm at(std::time_t moment)
    {
        noticeChange();
        const std::int64_t stretch = moment / stretchLength - (moment % stretchLength < 0 ? 1 : 0);
        Stretch& known = stretches[static_cast<std::size_t>(stretch) % stretches.size()];
        if (known.number != stretch)
        {
            const std::tm asked = ask(moment);
            known = {stretch, asked.tm_mday != 0 ? StretchSeen : StretchUneven, asked};
            return asked;
        }
        if (known.state == StretchSeen)
            known.state = isEven(known) ? StretchEven : StretchUneven;
        return known.state == StretchEven ? withSameClock(moment, known.within) : ask(moment);
    }

private:
    enum eStretch : int
    {
        StretchSeen,
        StretchEven,
        StretchUneven
    };

    struct Stretch
    {
        std::int64_t number = INT64_MIN;
        eStretch state = StretchUneven;
        std::tm within{}; ///< a moment in it
    };

    /// All zeros when the year does not fit into an int.
    static std::tm ask(std::time_t moment)
    {
        std::tm result{};
        return ::localtime_r(&moment, &result) != nullptr ? result : std::tm{};
    }

    static bool isEven(const Stretch& stretch)
    {
        const std::time_t first = stretch.number * stretchLength;
        for (const std::time_t end : {first, first + (stretchLength - 1)})
        {
            if (!isSame(ask(end), withSameClock(end, stretch.within)))
                return false;
        }
        return true;
    }

    void noticeChange()
    {
        const char* const now = std::getenv("TZ");
        if (now == nullptr ? isNamed || fileIsDue() : !isNamed || name != now)
            takeOver(now);
    }

    /// A second has passed since the file was looked at.
    bool fileIsDue()
    {
        std::timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        if (now.tv_sec == fileSeen)
            return false;
        fileSeen = now.tv_sec;
        return true;
    }

    /// Lets the C library look at TZ or at the file; if it finds another zone, nothing is known any more.
    void takeOver(const char* zone)
    {
        ::tzset();
        isNamed = zone != nullptr;
        name = isNamed ? zone : "";
        stretches.fill({});
    }

    bool isNamed = false;
    std::string name; ///< what TZ was
    std::time_t fileSeen = -1;
    std::array<Stretch, 16> stretches{};
};

} // namespace

CMutex& timeLibraryLock()
{
    static CMutex& lock = *new CMutex;
    return lock;
}

std::tm localTime(std::time_t moment)
{
    static CZone& zone = *new CZone;
    const std::lock_guard<CMutex> guard(timeLibraryLock());
    return zone.at(moment);
}

} // namespace Kiv
