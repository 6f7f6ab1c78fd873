#include <kiv/PollingTimer.h>

#include <limits>

#include <gtest/gtest.h>

#include "support/WaitUntil.h"

using Kiv::CPollingTimer;

TEST(PollingTimer, ClockStartsNearZeroAndGoesOn)
{
    const unsigned long first = CPollingTimer::getMilliSec();
    EXPECT_LT(first, 10UL * 60 * 1000);
    EXPECT_TRUE(waitUntil([first] { return CPollingTimer::getMilliSec() > first; }));
    EXPECT_GE(CPollingTimer::getExpiredTime(first), 1U);
    EXPECT_LT(CPollingTimer::getExpiredTime(first), 10UL * 60 * 1000);
    const unsigned long later = CPollingTimer::getMilliSec() + 1000000;
    EXPECT_GT(CPollingTimer::getExpiredTime(later), std::numeric_limits<unsigned long>::max() - 1000000);
}

TEST(PollingTimer, ExpiresAtTheVeryMillisecond)
{
    CPollingTimer timer;
    EXPECT_TRUE(timer.isExpired());
    EXPECT_EQ(timer.msecsToExpiration(), 0U);

    timer.setExpiry(CPollingTimer::getMilliSec());
    EXPECT_TRUE(timer.isExpired());
    EXPECT_EQ(timer.msecsToExpiration(), 0U);

    timer.setExpiry(0);
    EXPECT_TRUE(timer.isExpired());
    EXPECT_EQ(timer.msecsToExpiration(), 0U);

    timer.start(50);
    EXPECT_TRUE(waitUntil([&] { return timer.isExpired(); }));
    EXPECT_GE(CPollingTimer::getMilliSec(), timer.expiry());
}

TEST(PollingTimer, CountsDownToALaterDeadline)
{
    const unsigned long before = CPollingTimer::getMilliSec();
    const CPollingTimer timer(1000000);
    EXPECT_GE(timer.expiry(), before + 1000000);
    EXPECT_FALSE(timer.isExpired());
    EXPECT_LE(timer.msecsToExpiration(), 1000000U);
    EXPECT_GT(timer.msecsToExpiration(), 0U);
    EXPECT_FALSE(CPollingTimer(std::numeric_limits<unsigned long>::max()).isExpired());
}
