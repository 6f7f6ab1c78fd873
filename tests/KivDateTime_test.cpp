#include <kiv/KivDateTime.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/Mutex.h>

using Kiv::CDateTime;
using Kiv::CPeriodOfTime;

namespace
{

template<class T>
std::string printed(const T& value)
{
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

/// An instant with milliseconds, which only the calendar's constructor takes as they are.
CDateTime moment(std::time_t seconds, int msecs)
{
    const std::tm parts = CDateTime::ts_localtime(seconds);
    const CDateTime near(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min,
                         parts.tm_sec, msecs);
    return near.addSecs(static_cast<int>(seconds - near.c_time())); // where the season is another one
}

void expectMoment(const CDateTime& moment, std::time_t seconds, int msecs)
{
    EXPECT_EQ(moment.c_time(), seconds);
    EXPECT_EQ(moment.getMsec(), msecs);
}

constexpr std::time_t winter = 1577880000; // 2020-01-01 12:00:00 UTC

/// With a time zone of its own, put back at the end.
class KivDateTime : public testing::Test
{
protected:
    KivDateTime() { setZone("CET-1CEST,M3.5.0,M10.5.0/3"); }
    ~KivDateTime() override { former.empty() ? unsetenv("TZ") : setenv("TZ", former.c_str(), 1); }

    static void setZone(const char* zone) { setenv("TZ", zone, 1); }

private:
    const std::string former = std::getenv("TZ") ? std::getenv("TZ") : "";
};

} // namespace

TEST(PeriodOfTime, LengthAndTextWrapWhereTheyAlwaysDid)
{
    const struct
    {
        CPeriodOfTime period;
        std::int64_t msecs;
        const char* text;
    } rows[] = {
        {{1, 2, 3, 4, 5}, 93784005, "1 02:03:04:005"},
        {CPeriodOfTime::fromSeconds(90), 90000, "0 00:01:30:000"},
        {CPeriodOfTime::fromMSecs(INT_MAX), INT_MAX, "24 20:31:23:647"},
        {{25, 0, 0, 0, 0}, -2134967296, "-1244382491 199590730:-909459279:1267015365:1844674406941458460"},
        {CPeriodOfTime::fromSeconds(2160000), 2160000000, "25 1193:71585:4295001:4294968184"},
        {CPeriodOfTime::fromMSecs(-1), -1, "-1244382466 14:25:51:615"},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(row.period.getMsecs(), row.msecs);
        EXPECT_EQ(row.period.toString(), row.text) << row.msecs;
    }
    EXPECT_EQ(CPeriodOfTime(0, 0, 0, INT_MAX, INT_MAX).getMsecs(), 2147483647000 + INT_MAX);
    EXPECT_EQ(CPeriodOfTime(INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN).getMsecs(), -2147483648000 + INT_MIN);
    EXPECT_EQ(printed(CPeriodOfTime::fromMSecs(-1)), "18446744073709551615");
    EXPECT_EQ(printed(CPeriodOfTime::fromSeconds(2)), "2000");
}

TEST_F(KivDateTime, CalendarIsThatOfTheLocalZone)
{
    const CDateTime noon(winter);
    EXPECT_EQ(noon.toString(), "2020-01-01 13:00:00");
    EXPECT_EQ(printed(noon.addDays(182).addSecs(7)), "2020-07-01 14:00:07");
    const CDateTime other = noon.addSecs(24 * 3600 + 62);
    EXPECT_EQ(other.getYear(), 2020);
    EXPECT_EQ(other.getMonth(), 1);
    EXPECT_EQ(other.getDay(), 2);
    EXPECT_EQ(other.getHour(), 13);
    EXPECT_EQ(other.getMinute(), 1);
    EXPECT_EQ(other.getSecond(), 2);
    setZone("UTC0"); // noticed at once
    EXPECT_EQ(noon.getHour(), 12);
    EXPECT_EQ(CDateTime(LLONG_MAX).toString(), "1900-01-00 00:00:00");
}

TEST_F(KivDateTime, EveryMomentIsTheClockLibrarys)
{
    // Forward and back, a change within minutes of another day, leap seconds in the file if there is one.
    const char* const zones[] = {"CET-1CEST,M3.5.0,M10.5.0/3", "Europe/London",  "America/St_Johns",  "Pacific/Apia",
                                 "Africa/Casablanca",          "Asia/Kathmandu", "right/Europe/Rome", "UTC0"};
    const std::time_t around[] = {winter, 1585443600, 1603587600, 1325239200, 951782400, 0, -2208988800, 4107542400};
    for (const char* const zone : zones)
    {
        setZone(zone);
        tzset(); // for the library's own conversion
        for (const std::time_t middle : around)
        {
            for (std::time_t each = middle - 260000; each < middle + 260000; each += 613)
            {
                std::tm expected{};
                ASSERT_NE(localtime_r(&each, &expected), nullptr);
                const std::tm is = CDateTime(each).c_timeinfo();
                char text[64];
                std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &expected);
                ASSERT_EQ(CDateTime(each).toString(), text) << zone << " " << each;
                ASSERT_EQ(is.tm_wday, expected.tm_wday) << zone << " " << each;
                ASSERT_EQ(is.tm_yday, expected.tm_yday) << zone << " " << each;
                ASSERT_EQ(is.tm_isdst, expected.tm_isdst) << zone << " " << each;
                ASSERT_EQ(is.tm_gmtoff, expected.tm_gmtoff) << zone << " " << each;
                ASSERT_STREQ(is.tm_zone, expected.tm_zone) << zone << " " << each;
            }
        }
    }
}

TEST_F(KivDateTime, MomentsOfTheCalendarTakeThePresentSeason)
{
    setZone("UTC0");
    expectMoment(CDateTime(2020, 1, 1, 12, 0, 0, -5), winter, -5);
    EXPECT_EQ(CDateTime(2020, 3, 4, 5, 6, 7, 0).toString(), "2020-03-04 05:06:07");
    EXPECT_EQ(CDateTime(2020, 13, 32, 24, 0, 0, 0).toString(), "2021-02-02 00:00:00");
    CDateTime(INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN);

    setZone("CET-1CEST,M3.5.0,M10.5.0/3");
    const bool isSummer = CDateTime::ts_current_localtime().tm_isdst > 0;
    EXPECT_EQ(CDateTime(2020, 1, 15, 12, 0, 0, 0).getHour(), isSummer ? 11 : 12);
    EXPECT_EQ(CDateTime(2020, 7, 15, 12, 0, 0, 0).getHour(), isSummer ? 12 : 13);
}

TEST_F(KivDateTime, ComparisonCutsTheSecondsTo32Bits)
{
    EXPECT_LT(CDateTime(0), CDateTime(1));
    EXPECT_GT(CDateTime(1), CDateTime(0));
    EXPECT_NE(CDateTime(0), CDateTime(1));
    EXPECT_GT(moment(winter, 2), moment(winter, 1));
    EXPECT_LE(moment(winter, 1), moment(winter, 1));
    EXPECT_LT(moment(winter, 999), CDateTime(winter + 1));
    EXPECT_EQ(CDateTime(5).compare(CDateTime(2)), 3);
    EXPECT_EQ(CDateTime(std::time_t{1} << 32), CDateTime(0));
    EXPECT_EQ(CDateTime((std::time_t{1} << 32) + 7), moment(7, 5)); // the milliseconds are not asked
    EXPECT_LT(CDateTime(std::time_t{1} << 31), CDateTime(0));
    EXPECT_EQ(moment(winter, INT_MIN).compare(moment(winter, 1)), INT_MAX);
}

TEST_F(KivDateTime, DifferencesGoTowardZeroAndEndAtTheRangeOfInt)
{
    const CDateTime start(winter);
    EXPECT_EQ(start.getDaysTo(start.addSecs(129600)), 1);
    EXPECT_EQ(start.getDaysTo(start.addSecs(-129600)), -1);
    EXPECT_EQ(start.getSecsTo(moment(winter + 1, 999)), 1);
    EXPECT_EQ(moment(winter, 700).getMsecsTo(moment(winter + 2, 200)), 1500);
    EXPECT_EQ(start.getMsecsTo(CDateTime(winter + 3000000)), 3000000000);
    const CDateTime first(LLONG_MIN);
    const CDateTime last(LLONG_MAX);
    EXPECT_EQ(first.getSecsTo(last), INT_MAX);
    EXPECT_EQ(last.getSecsTo(first), INT_MIN);
    EXPECT_EQ(last.getMsecsTo(first), INT_MIN * 1000LL);
}

TEST_F(KivDateTime, SumsCarryOneSecondAndKeepTheAmountOfNegativeMilliseconds)
{
    const struct
    {
        int msecs;
        long added;
        std::time_t seconds;
        int result;
    } rows[] = {
        {0, 1500, 1, 500}, {700, 400, 1, 100},    {200, -500, -1, 300}, {200, -100, 0, 100},
        {0, -1000, -1, 0}, {500, -2600, -3, 100}, {5000, 0, 1, 0},      {999, 0x7FFFFFFFL * 1000 + 1, INT_MIN, 0},
        {-1, 0, -1, 1},    {INT_MAX, 1, -1, 648}, {INT_MIN, 0, -1, 648}};
    for (const auto& row : rows)
        expectMoment(moment(winter, row.msecs).addMSecs(row.added), winter + row.seconds, row.result);
    expectMoment(CDateTime(winter).addPeriodOfTime({1, 0, 0, 0, 7}), winter + 86400, 7);
    expectMoment(CDateTime(0).addDays(24856), 24856 * 86400LL - (1LL << 32), 0);
    expectMoment(CDateTime(LLONG_MAX).addSecs(1), LLONG_MIN, 0);
}

TEST_F(KivDateTime, NowIsTheSystemsClockInWholeSeconds)
{
    const std::time_t before = std::time(nullptr);
    const CDateTime now = CDateTime::currentDateTime();
    EXPECT_LE(before, now.c_time());
    EXPECT_LE(now.c_time(), std::time(nullptr));
    EXPECT_EQ(now.getMsec(), 0);
}

TEST_F(KivDateTime, ThreadsAndForeignCallsShareTheLock)
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int day = 1; day <= 4; ++day)
        threads.emplace_back([&wrong, day] {
            const CDateTime own = CDateTime(winter).addDays(day - 1);
            for (int round = 0; round < 2000; ++round)
                wrong += own.getDay() != day;
        });
    for (int round = 0; round < 2000; ++round)
    {
        const std::time_t later = winter + 20 * 86400;
        const std::lock_guard<Kiv::CMutex> guard(CDateTime::st_csTimeLibLock);
        wrong += std::localtime(&later)->tm_mday != 21;
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}
