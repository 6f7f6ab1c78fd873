// How the log ends with the process, and what goes on while it stands; logging_child.cpp is the process.

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/ChildProcess.h"

using testing::HasSubstr;
using testing::Not;

namespace
{

constexpr int statusOfChild = 3; // what it gives to exit()

} // namespace

TEST(Logging, ProcessEndsInPeaceWhileLibraryThreadsLog)
{
    for (const char* how : {"return", "exit-in-handler"})
        for (int run = 0; run < 40; ++run)
        {
            CChildProcess child({LOGGING_CHILD, how});
            ASSERT_EQ(child.wait(), statusOfChild) << how << ", run " << run << "\n" << child.err();
        }
}

TEST(Logging, StaticTimersAndThreadsAreLoggedToTheirEnd)
{
    CChildProcess child({LOGGING_CHILD, "static"});
    EXPECT_EQ(child.wait(), statusOfChild) << child.err();
    const std::string log = child.out();
    const std::size_t stopping = log.find("Stopping Timer lasting\n");
    ASSERT_NE(stopping, log.npos) << log;
    // An alarm that was on its way may stand between.
    EXPECT_NE(log.find("Timer thread finished for timer lasting\n", stopping), log.npos) << log.substr(stopping);
    EXPECT_THAT(log, HasSubstr(" body finished\n"));
}

// Stopping and exit() wait for nobody who reads; the child gives up after a minute.
TEST(Logging, StopAndExitGoOnWhileTheLogStands)
{
    for (const char* who : {"handler", "stubborn handler", "timer", "body", "application", "nobody"})
    {
        SCOPED_TRACE(who);
        CChildProcess child({LOGGING_CHILD, "stop", who});
        EXPECT_EQ(child.wait(), statusOfChild) << child.err();
        EXPECT_THAT(child.err(), HasSubstr("stopped\n"));
    }
}

TEST(Logging, StandingLogGoesOnWithItsReader)
{
    CChildProcess child({LOGGING_CHILD, "read-on"});
    EXPECT_EQ(child.wait(), statusOfChild);
    EXPECT_EQ(child.err(), "Stopping Timer first\n"
                           "Stopping Timer third\n");
}
