// How a process ends whose threads, machines and timers are in the middle of something.
#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ChildProcess.h"

using testing::HasSubstr;
using testing::Not;

namespace
{

struct Ending
{
    const char* name;
    int status;
};

void expectEnding(const Ending& ending, const testing::Matcher<const std::string&>& printed)
{
    CChildProcess child({PROCESS_END_CHILD, ending.name});
    EXPECT_EQ(child.wait(), ending.status) << ending.name;
    EXPECT_THAT(child.out(), printed) << ending.name;
    EXPECT_THAT(child.err(), Not(HasSubstr("wait on itself"))) << ending.name;
    EXPECT_LT(child.err().size(), 100000U) << ending.name;
}

} // namespace

TEST(ProcessEnd, WhatEndsItOnALibraryThreadGivesTheStatusAndLaterStaticObjectsGo)
{
    for (const Ending& ending : {Ending{"hook crashes", 1}, {"hook aborts", 1}, {"hook throws", 1}, {"hook exits", 3}})
        expectEnding(ending, AllOf(HasSubstr("later static object destroyed"), Not(HasSubstr("state destroyed"))));
    for (const Ending& ending : {Ending{"body exits", 3}, {"alarm exits", 3}})
        expectEnding(ending, HasSubstr("later static object destroyed"));
    expectEnding({"main returns", 5}, HasSubstr("state destroyed\nlater static object destroyed"));
}

TEST(ProcessEnd, StaticMachineWaitsForAHookThatNeverEndsOnlySoLong)
{
    for (const Ending& ending :
         {Ending{"main returns while a hook hangs", 5}, {"another thread exits while a hook hangs", 4}})
    {
        CChildProcess child({PROCESS_END_CHILD, ending.name});
        EXPECT_EQ(child.wait(), ending.status) << ending.name;
        EXPECT_EQ(child.out(), "a line without its end") << ending.name;
        EXPECT_EQ(child.err(), "Kiv::CStateMachine: a hook on a worker thread does not end, so the process ends "
                               "without it\n");
    }
}

TEST(ProcessEnd, HookThatDeletesItsMachineAbortsWithOneLine)
{
    CChildProcess child({PROCESS_END_CHILD, "hook deletes"});
    EXPECT_EQ(child.wait(), 128 + SIGABRT);
    EXPECT_EQ(child.err(), "Kiv::CStateMachine: destroyed by a hook on its own worker thread, which would have to wait "
                           "for itself\n");
}

TEST(ProcessEnd, TerminationLeavesNothingTakenInWaitsAndDestructors)
{
    for (const char* name : {"terminated in wait", "terminated in stop", "terminated in destructor", "body deletes"})
        expectEnding({name, 0}, testing::_);
}
