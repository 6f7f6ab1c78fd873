// Threads under real-time policies. What needs the right to them is skipped where there is none.
#include <kiv/RealTime.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <kiv/AlarmTimer.h>
#include <kiv/StateMachine.h>
#include <kiv/Thread.h>

#include "support/ChildProcess.h"
#include "support/WaitUntil.h"

using namespace Kiv;

namespace
{

/// Tells what it runs under, and stays until it is stopped.
class CObserver : public CThread
{
public:
    CObserver() : CThread("observer") {}
    ~CObserver() override { end(); }
    void end()
    {
        requestStop();
        waitForCompletion(20000);
    }
    void run() override
    {
        seen = Kiv::isRealTime() ? Kiv::realTimePriority() : 0;
        policy = sched_getscheduler(0);
        while (isActive())
            sleep(1);
    }

    std::atomic<int> seen{-1};
    std::atomic<int> policy{-1};
};

/// A machine with a worker, whose one state is there for ever.
class CMachine
{
public:
    CMachine()
    {
        machine.setInitialState(new CState("only", &machine));
        machine.start();
    }
    ~CMachine() { machine.stop(); }
    CStateMachine machine{CStateMachine::ProcessingAsync};
};

class RealTime : public testing::Test
{
protected:
    void SetUp() override
    {
        int result = 0;
        std::thread([&] { result = setRealTimePriority(RealTimeFifo, 7); }).join();
        if (result == -1)
            GTEST_SKIP() << "no right to real-time priorities";
    }
};

/// Runs in a thread of its own, as what it sets would stay.
template<class Work>
void elsewhere(Work work)
{
    std::thread(work).join();
}

} // namespace

TEST_F(RealTime, AllThreadsOfARealTimeThreadRunAsItDoes)
{
    elsewhere([] {
        ASSERT_EQ(setRealTimePriority(RealTimeRoundRobin, 5), 0);
        EXPECT_TRUE(Kiv::isRealTime());
        CObserver thread;
        thread.start();
        EXPECT_TRUE(waitUntil([&] { return thread.policy != -1; }));
        EXPECT_EQ(thread.seen, 5);
        EXPECT_EQ(thread.policy, SCHED_RR);
        EXPECT_EQ(thread.realTimePriority(), 5);
        CAlarmTimer timer(1);
        std::atomic<int> seen{-1};
        timer.setAlarmCallback([&] { return seen = sched_getscheduler(0), true; });
        timer.start();
        EXPECT_TRUE(waitUntil([&] { return seen != -1; }));
        EXPECT_EQ(seen, SCHED_RR);
        EXPECT_TRUE(timer.isRealTime());
        const CMachine machine;
        EXPECT_TRUE(waitUntil([&] { return machine.machine.realTimePriority() == 5; }));
        timer.stop();
        EXPECT_FALSE(timer.isRealTime());
    });
}

TEST_F(RealTime, AThreadsOwnPriorityCountsBeforeItsStartAndWhileItRuns)
{
    CObserver thread;
    EXPECT_EQ(thread.setRealTimePriority(RealTimeFifo, 0), -22);
    EXPECT_EQ(thread.setRealTimePriority(RealTimeFifo, 100), -22);
    EXPECT_EQ(thread.setRealTimePriority(RealTimeNone, 1), -22);
    ASSERT_EQ(thread.setRealTimePriority(RealTimeFifo, 3), 0);
    EXPECT_FALSE(thread.isRealTime()) << "there is no body";
    thread.start();
    EXPECT_TRUE(waitUntil([&] { return thread.seen == 3; }));
    ASSERT_EQ(thread.setRealTimePriority(RealTimeRoundRobin, 4), 0);
    EXPECT_EQ(thread.realTimePriority(), 4);
    ASSERT_EQ(thread.setRealTimePriority(RealTimeNone, 0), 0);
    EXPECT_FALSE(thread.isRealTime());
    thread.end();
    elsewhere([&thread] { // what was set comes before what the starter has
        ASSERT_EQ(setRealTimePriority(RealTimeRoundRobin, 5), 0);
        thread.start();
        EXPECT_FALSE(thread.isRealTime());
    });
    thread.end();
    EXPECT_FALSE(Kiv::isRealTime());
    CAlarmTimer timer(1);
    ASSERT_EQ(timer.setRealTimePriority(RealTimeFifo, 2), 0);
    timer.start();
    EXPECT_TRUE(waitUntil([&] { return timer.realTimePriority() == 2; }));
    CMachine machine;
    EXPECT_EQ(machine.machine.setRealTimePriority(RealTimeFifo, 6), 0);
    EXPECT_EQ(machine.machine.realTimePriority(), 6);
    EXPECT_EQ(CStateMachine().setRealTimePriority(RealTimeFifo, 6), -22);
}

TEST_F(RealTime, WithoutTheRightThereIsACode)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer lets no forked process start threads";
#endif
    CChildProcess child([] {
        const rlimit none = {0, 0};
        if (setrlimit(RLIMIT_RTPRIO, &none) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
            return 2;
        CObserver thread;
        CAlarmTimer timer(1000);
        const bool areRefused = thread.setRealTimePriority(RealTimeFifo, 1) == -1 &&
                                timer.setRealTimePriority(RealTimeFifo, 1) == -1 &&
                                setRealTimePriority(RealTimeFifo, 1) == -1;
        thread.start();
        return areRefused && !thread.isRealTime() && thread.setRealTimePriority(RealTimeFifo, 1) == -1 ? 0 : 1;
    });
    const int status = child.wait();
    if (status == 2)
        GTEST_SKIP() << "there is no other user in a user namespace";
    EXPECT_EQ(status, 0) << child.err();
}

TEST(Processors, ThreadsStayOnThoseThatWereSet)
{
    CObserver thread;
    EXPECT_EQ(thread.setProcessors({CPU_SETSIZE}), -22);
    EXPECT_EQ(thread.setProcessors({}), -22);
    cpu_set_t allowed;
    ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
    unsigned int first = 0;
    while (!CPU_ISSET(first, &allowed))
        ++first;
    ASSERT_EQ(thread.setProcessors({first}), 0);
    thread.start();
    EXPECT_TRUE(waitUntil([&] { return thread.seen != -1; }));
    cpu_set_t found;
    ASSERT_EQ(sched_getaffinity(static_cast<pid_t>(thread.getId()), sizeof found, &found), 0);
    EXPECT_EQ(CPU_COUNT(&found), 1);
    EXPECT_TRUE(CPU_ISSET(first, &found));
}

TEST(LockedMemory, LocksOrSaysWhyNot)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers make mlockall() do nothing";
#endif
    CChildProcess child([] {
        const int result = lockMemory();
        if (result != 0)
            return result == -1 || result == -12 ? 2 : 1;
        CObserver thread;
        thread.start();
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;)
            if (word == "VmLck:")
                return status >> word && word != "0" ? 0 : 1;
        return 1;
    });
    const int status = child.wait();
    if (status == 2)
        GTEST_SKIP() << "the limit of locked memory does not allow it";
    EXPECT_EQ(status, 0);
}
