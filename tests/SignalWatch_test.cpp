#include <kiv/SignalWatch.h>

#include <atomic>
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <kiv/StateMachine.h>

#include "support/ChildProcess.h"
#include "support/WaitUntil.h"

using namespace Kiv;
using namespace std::chrono_literals;

TEST(SignalWatch, SignalsCallBackOnAThreadOrAreWaitedFor)
{
    CSignalWatch signals({SIGTERM, SIGHUP});
    ASSERT_EQ(signals.error(), 0);
    EXPECT_EQ(signals.wait(CDeadline::in(0s)), 0);
    kill(getpid(), SIGHUP);
    EXPECT_EQ(signals.wait(CDeadline::in(20s)), SIGHUP);
    std::atomic<int> seen{0};
    const auto callback = cb::Callback1<void, int>([&](int signal) { seen = signal; });
    ASSERT_EQ(signals.start(callback), 0);
    EXPECT_EQ(signals.start(callback), -16);
    kill(getpid(), SIGTERM);
    EXPECT_TRUE(waitUntil([&] { return seen == SIGTERM; }));
    signals.stop();
    kill(getpid(), SIGHUP);
    EXPECT_EQ(signals.wait(CDeadline::in(20s)), SIGHUP) << "stopped, it can be waited for again";
    ASSERT_EQ(signals.start(callback), 0);
    kill(getpid(), SIGHUP);
    EXPECT_TRUE(waitUntil([&] { return seen == SIGHUP; }));
}

TEST(SignalWatch, SignalsBecomeEvents)
{
    CSignalWatch signals;
    CStateMachine machine(CStateMachine::ProcessingAsync);
    auto* running = new CState("running", &machine);
    auto* ending = new CState("ending", &machine);
    machine.setInitialState(running);
    running->addEventTransitionTo(ending, 7, "signal");
    machine.start();
    ASSERT_EQ(signals.startPosting(machine, 7), 0);
    kill(getpid(), SIGINT);
    EXPECT_TRUE(waitUntil([&] { return ending->isActive(); }));
    signals.stop();
    machine.stop();
}

TEST(SignalWatch, AtItsEndSignalsDoWhatTheyDid)
{
    CChildProcess child([] {
        {
            const CSignalWatch signals;
            kill(getpid(), SIGTERM); // pending, as nobody takes it
        }
        return 0;
    });
    EXPECT_EQ(child.wait(), 128 + SIGTERM);
    CChildProcess ignoring([] {
        std::signal(SIGHUP, SIG_IGN); // as by nohup
        CSignalWatch signals;
        kill(getpid(), SIGHUP);
        return signals.wait(CDeadline::in(50ms)) == 0 ? 0 : 1;
    });
    EXPECT_EQ(ignoring.wait(), 0);
    EXPECT_EQ(CSignalWatch({SIGKILL}).error(), -22);
    EXPECT_EQ(CSignalWatch({}).wait(CDeadline::never()), -22);
}
