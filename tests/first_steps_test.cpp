#include <string>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"

TEST(FirstSteps, LampBlinksThreeTimes)
{
    CChildProcess child({FIRST_STEPS});
    EXPECT_EQ(child.wait(), 0);
    const std::string blink = "dark ---[switch on::onTransition()]---> lit\ndark::onExit\nlit::onEntry\n"
                              "lit ---[switch off::onTransition()]---> dark\nlit::onExit\ndark::onEntry\n";
    EXPECT_EQ(child.out(), "dark::onEntry\n" + blink + blink + blink + "dark::onExit\n");
    EXPECT_EQ(child.err(), "");
}
