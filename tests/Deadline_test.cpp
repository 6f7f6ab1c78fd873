#include <kiv/Deadline.h>

#include <chrono>
#include <limits>
#include <thread>

#include <gtest/gtest.h>

#include <kiv/EventQueue.h>
#include <kiv/Thread.h>
#include <kiv/TimedCondition.h>
#include <kiv/testkit/VirtualClock.h>

#include "support/WaitUntil.h"

using namespace std::chrono_literals;
using Kiv::CDeadline;
using std::chrono::nanoseconds;

TEST(Deadline, ExpiresAtTheVeryNanosecondAndNeverLeavesLessThanNothing)
{
    Kiv::TestKit::CVirtualClock clock;
    for (const Kiv::eClock which : {Kiv::ClockMonotonic, Kiv::ClockBoottime})
    {
        const CDeadline deadline = CDeadline::in(5s, which);
        EXPECT_EQ(deadline.remaining(), 5s);
        ASSERT_EQ(clock.advance(5s - 1ns), 0);
        EXPECT_FALSE(deadline.isExpired());
        EXPECT_EQ(deadline.remaining(), 1ns);
        ASSERT_EQ(clock.advance(1ns), 0);
        EXPECT_TRUE(deadline.isExpired());
        ASSERT_EQ(clock.advance(1h), 0);
        EXPECT_TRUE(deadline.isExpired());
        EXPECT_EQ(deadline.remaining(), 0ns);
        EXPECT_EQ(deadline.instant() + 1h, CDeadline::now(which));
    }
    EXPECT_TRUE(CDeadline::in(0s).isExpired());
    EXPECT_TRUE(CDeadline::in(-1h).isExpired());
}

TEST(Deadline, GoesAcross32BitsOfMillisecondsAndOfAYear)
{
    constexpr auto wrap = std::chrono::milliseconds(std::int64_t{1} << 32);
    Kiv::TestKit::CVirtualClock clock;
    const CDeadline before = CDeadline::in(wrap - 1ms);
    const CDeadline after = CDeadline::in(wrap + 1ms);
    const CDeadline years = CDeadline::in(100 * 365 * 24h);
    ASSERT_EQ(clock.advance(wrap - 1ms), 0);
    EXPECT_TRUE(before.isExpired());
    EXPECT_FALSE(after.isExpired());
    EXPECT_EQ(after.remaining(), 2ms);
    ASSERT_EQ(clock.advance(2ms), 0);
    EXPECT_TRUE(after.isExpired());
    EXPECT_TRUE(before.isExpired());
    ASSERT_EQ(clock.advance(years.remaining() - 1ns), 0);
    EXPECT_FALSE(years.isExpired());
    ASSERT_EQ(clock.advance(1ns), 0);
    EXPECT_TRUE(years.isExpired());
}

TEST(Deadline, CountsThePeriodFromTheDeadlineBefore)
{
    Kiv::TestKit::CVirtualClock clock;
    CDeadline next = CDeadline::in(10ms);
    const nanoseconds start = CDeadline::now();
    for (int period = 1; period <= 100; ++period)
    {
        ASSERT_EQ(clock.advance(13ms), 0);
        EXPECT_TRUE(next.isExpired());
        next += 10ms;
    }
    EXPECT_EQ(next.instant(), start + 1010ms);
}

TEST(Deadline, TellsTheClocksApartAcrossASuspend)
{
    Kiv::TestKit::CVirtualClock clock;
    const CDeadline program = CDeadline::in(1min, Kiv::ClockMonotonic);
    const CDeadline world = CDeadline::in(2min, Kiv::ClockBoottime);
    EXPECT_EQ(CDeadline::earliest({world, program, CDeadline::never()}).clock(), Kiv::ClockMonotonic);
    ASSERT_EQ(clock.suspend(90s), 0);
    EXPECT_EQ(program.remaining(), 1min);
    EXPECT_EQ(world.remaining(), 30s);
    EXPECT_EQ(CDeadline::earliest({program, world}).clock(), Kiv::ClockBoottime);
    ASSERT_EQ(clock.suspend(1h), 0);
    EXPECT_TRUE(world.isExpired());
    EXPECT_FALSE(program.isExpired());
}

TEST(Deadline, WhatIsBeyondTheClockIsNever)
{
    using Hours = std::chrono::duration<double, std::ratio<3600>>;
    const CDeadline nevers[] = {
        CDeadline(),
        CDeadline::never(),
        CDeadline::in(std::chrono::hours::max()),
        CDeadline::in(nanoseconds::max()),
        CDeadline::in(Hours(std::numeric_limits<double>::infinity())),
        CDeadline::in(Hours(std::numeric_limits<double>::quiet_NaN())),
        CDeadline::in(280 * 365 * 24h) += 280 * 365 * 24h,
        CDeadline::at(nanoseconds::max()),
        CDeadline::earliest({}),
        CDeadline::earliest({CDeadline::never(), CDeadline::never()}),
    };
    for (CDeadline never : nevers)
    {
        EXPECT_TRUE(never.isNever());
        EXPECT_FALSE(never.isExpired());
        EXPECT_EQ(never.remaining(), nanoseconds::max());
        never += -1h;
        EXPECT_TRUE(never.isNever());
    }
    CDeadline past = CDeadline::in(std::chrono::hours::min());
    EXPECT_TRUE(past.isExpired());
    past += std::chrono::hours::min();
    past += -200 * 365 * 24h;
    EXPECT_TRUE(past.isExpired());
    EXPECT_EQ(past.remaining(), 0ns);
    EXPECT_EQ(CDeadline::earliest({CDeadline::never(), CDeadline::in(Hours(0.5)), past}).instant(), past.instant());
}

// In real time from here on: the waits themselves.
TEST(Deadline, EndsTheWaitsOfTheLibrary)
{
    class Body : public Kiv::CThread
    {
    public:
        Body() : CThread("body") {}
        ~Body() override
        {
            requestStop();
            waitForCompletion(CDeadline::never());
        }
        void run() override
        {
            while (isActive())
                sleepUntil(CDeadline::in(1ms, Kiv::ClockBoottime));
        }
    } body;
    body.start();
    Kiv::CEventQueue<int, 1> queue;
    int item = 7;
    for (const Kiv::eClock which : {Kiv::ClockMonotonic, Kiv::ClockBoottime})
    {
        const CDeadline soon = CDeadline::in(20ms, which);
        EXPECT_FALSE(queue.take(item, soon));
        EXPECT_TRUE(soon.isExpired());
        const CDeadline later = CDeadline::in(20ms, which);
        EXPECT_FALSE(body.waitForCompletion(later));
        EXPECT_TRUE(later.isExpired());
        EXPECT_TRUE(queue.post(1, CDeadline::in(0s)));
        EXPECT_FALSE(queue.post(2, CDeadline::in(20ms, which)));
        EXPECT_TRUE(queue.take(item, CDeadline::never()));
        EXPECT_EQ(item, 1);
    }
    body.requestStop();
    EXPECT_TRUE(body.waitForCompletion(CDeadline::in(1h, Kiv::ClockBoottime)));
}

TEST(TimedCondition, IsWokenBeforeALongDeadline)
{
    std::mutex mutex;
    Kiv::CTimedCondition condition;
    bool isSo = false;
    for (const CDeadline& limit : {CDeadline::never(), CDeadline::in(1h), CDeadline::in(1h, Kiv::ClockBoottime)})
    {
        isSo = false;
        std::thread other([&] {
            const std::lock_guard<std::mutex> lock(mutex);
            isSo = true;
            condition.wakeAll();
        });
        {
            std::unique_lock<std::mutex> lock(mutex);
            EXPECT_TRUE(condition.wait(lock, limit, [&] { return isSo; }));
        }
        other.join();
    }
}
