#include <kiv/KivDateTime.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <ostream>

#include "kiv/time/TimeSource.h"
#include "kiv/time/localtime.h"

namespace Kiv
{

namespace
{

constexpr int secondsOfDay = 86400;
constexpr int msecsOfSecond = 1000;
constexpr int msecsOfMinute = 60 * msecsOfSecond;
constexpr int msecsOfHour = 60 * msecsOfMinute;
constexpr int msecsOfDay = 24 * msecsOfHour;

// What wraps does so in unsigned numbers.

constexpr std::int32_t low32(std::uint64_t bits) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits)); }

constexpr std::uint64_t bitsOf(std::int64_t value) { return static_cast<std::uint64_t>(value); }

constexpr std::int32_t wrappingSum(int a, int b) { return low32(bitsOf(a) + bitsOf(b)); }

constexpr std::int32_t wrappingProduct(int a, int b) { return low32(bitsOf(a) * bitsOf(b)); }

/// Takes whole units off the front of `rest`; the product that is taken off has 32 bits.
std::uint64_t takeUnits(std::uint64_t& rest, int unit)
{
    const std::uint64_t count = rest / bitsOf(unit);
    rest -= bitsOf(low32(count * bitsOf(unit)));
    return count;
}

/// Writes a number of two digits and what separates it from the next.
void putTwoDigits(char*& to, int number, char separator)
{
    *to++ = static_cast<char>('0' + number / 10);
    *to++ = static_cast<char>('0' + number % 10);
    *to++ = separator;
}

/// What a sum of milliseconds hands on to the seconds.
constexpr int carryOf(std::int64_t milliseconds)
{
    if (milliseconds < 0)
        return -1;
    return milliseconds >= msecsOfSecond ? 1 : 0;
}

} // namespace

// ---- period

CPeriodOfTime::CPeriodOfTime(int days, int hours, int minutes, int seconds, int msecs)
    : length(std::int64_t{seconds} * msecsOfSecond + msecs)
{
    const int hoursAndDays = wrappingSum(wrappingProduct(hours, msecsOfHour), wrappingProduct(days, msecsOfDay));
    length += wrappingSum(hoursAndDays, wrappingProduct(minutes, msecsOfMinute));
}

CPeriodOfTime CPeriodOfTime::fromSeconds(int s) { return {0, 0, 0, s, 0}; }

CPeriodOfTime CPeriodOfTime::fromMSecs(int ms) { return {0, 0, 0, 0, ms}; }

std::string CPeriodOfTime::toString() const
{
    std::uint64_t rest = bitsOf(length);
    const int days = low32(takeUnits(rest, msecsOfDay));
    const int hours = low32(takeUnits(rest, msecsOfHour));
    const int minutes = low32(takeUnits(rest, msecsOfMinute));
    const int seconds = low32(takeUnits(rest, msecsOfSecond));
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%d %02d:%02d:%02d:%03llu", days, hours, minutes, seconds,
                  static_cast<unsigned long long>(rest));
    return text.data();
}

std::ostream& operator<<(std::ostream& stream, const CPeriodOfTime& period)
{
    return stream << bitsOf(period.getMsecs());
}

// ---- instant

CMutex& CDateTime::st_csTimeLibLock = timeLibraryLock();

CDateTime::CDateTime(int year, int month, int day, int hour, int minute, int second, int msec) : milliseconds(msec)
{
    std::tm parts = ts_current_localtime();
    parts.tm_sec = second;
    parts.tm_min = minute;
    parts.tm_hour = hour;
    parts.tm_mday = day;
    parts.tm_mon = wrappingSum(month, -1);
    parts.tm_year = wrappingSum(year, -1900);
    seconds = std::mktime(&parts);
}

CDateTime CDateTime::currentDateTime() { return {Time::wallSeconds()}; }

int CDateTime::compare(const CDateTime& o) const
{
    if (seconds != o.seconds)
        return low32(bitsOf(seconds) - bitsOf(o.seconds));
    return low32(bitsOf(milliseconds) - bitsOf(o.milliseconds));
}

std::tm CDateTime::c_timeinfo() const { return ts_localtime(seconds); }

int CDateTime::getYear() const { return wrappingSum(c_timeinfo().tm_year, 1900); }

int CDateTime::getMonth() const { return c_timeinfo().tm_mon + 1; }

int CDateTime::getDay() const { return c_timeinfo().tm_mday; }

int CDateTime::getHour() const { return c_timeinfo().tm_hour; }

int CDateTime::getMinute() const { return c_timeinfo().tm_min; }

int CDateTime::getSecond() const { return c_timeinfo().tm_sec; }

int CDateTime::getSecsTo(const CDateTime& o) const
{
    using Limits = std::numeric_limits<int>;
    const double difference = std::difftime(o.seconds, seconds);
    return static_cast<int>(std::clamp<double>(difference, Limits::min(), Limits::max()));
}

int CDateTime::getDaysTo(const CDateTime& o) const { return getSecsTo(o) / secondsOfDay; }

std::int64_t CDateTime::getMsecsTo(const CDateTime& o) const
{
    return std::int64_t{o.milliseconds} - milliseconds + std::int64_t{getSecsTo(o)} * msecsOfSecond;
}

CDateTime CDateTime::addSecs(int s) const
{
    CDateTime result = *this;
    result.seconds = static_cast<std::time_t>(bitsOf(seconds) + bitsOf(s));
    return result;
}

CDateTime CDateTime::addDays(int d) const { return addSecs(wrappingProduct(d, secondsOfDay)); }

CDateTime CDateTime::addMSecs(long ms) const
{
    const long wholeSeconds = ms / msecsOfSecond;
    const std::int64_t sum = wrappingSum(milliseconds, static_cast<int>(ms % msecsOfSecond));
    CDateTime result = addSecs(low32(bitsOf(wholeSeconds) + bitsOf(carryOf(sum))));
    result.milliseconds = static_cast<std::int32_t>(std::abs(sum) % msecsOfSecond);
    return result;
}

CDateTime CDateTime::addPeriodOfTime(CPeriodOfTime p) const { return addMSecs(static_cast<long>(p.getMsecs())); }

std::string CDateTime::toString() const
{
    const std::tm parts = c_timeinfo();
    std::array<char, 64> text{};
    const int year = wrappingSum(parts.tm_year, 1900);
    if (year >= 1000 && year <= 9999)
    {
        char* end = text.data();
        putTwoDigits(end, year / 100, '\0');
        putTwoDigits(--end, year % 100, '-');
        putTwoDigits(end, parts.tm_mon + 1, '-');
        putTwoDigits(end, parts.tm_mday, ' ');
        putTwoDigits(end, parts.tm_hour, ':');
        putTwoDigits(end, parts.tm_min, ':');
        putTwoDigits(end, parts.tm_sec, '\0');
        return {text.data(), end - 1};
    }
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

std::tm CDateTime::ts_localtime(std::time_t t) { return localTime(t); }

std::tm CDateTime::ts_current_localtime() { return ts_localtime(Time::wallSeconds()); }

bool operator==(const CDateTime& a, const CDateTime& b) { return a.compare(b) == 0; }
bool operator!=(const CDateTime& a, const CDateTime& b) { return a.compare(b) != 0; }
bool operator<(const CDateTime& a, const CDateTime& b) { return a.compare(b) < 0; }
bool operator<=(const CDateTime& a, const CDateTime& b) { return a.compare(b) <= 0; }
bool operator>(const CDateTime& a, const CDateTime& b) { return a.compare(b) > 0; }
bool operator>=(const CDateTime& a, const CDateTime& b) { return a.compare(b) >= 0; }

std::ostream& operator<<(std::ostream& stream, const CDateTime& moment) { return stream << moment.toString(); }

} // namespace Kiv
