#include <kiv/testkit/VirtualClock.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/AlarmTimer.h>
#include <kiv/Deadline.h>
#include <kiv/EventQueue.h>
#include <kiv/KivDateTime.h>
#include <kiv/PollingTimer.h>
#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/Thread.h>

using namespace std::chrono_literals;
using Kiv::CAlarmTimer;
using Kiv::CDeadline;
using Kiv::TestKit::CVirtualClock;
using std::chrono::nanoseconds;
using testing::ElementsAre;

namespace
{

/// A timer, and what it does.
class Timer : public CAlarmTimer
{
public:
    Timer(unsigned interval, std::function<bool()> onAlarmDo) : CAlarmTimer(interval), action(std::move(onAlarmDo)) {}
    ~Timer() override { Timer::stop(); }
    bool alarm() override { return action(); }

private:
    const std::function<bool()> action;
};

std::unique_ptr<CAlarmTimer> timerThat(unsigned interval, std::function<bool()> action)
{
    return std::make_unique<Timer>(interval, std::move(action));
}

/// Runs what it is given, on a thread of the library.
class Body : public Kiv::CThread
{
public:
    explicit Body(std::function<void()> toDo) : CThread("body"), work(std::move(toDo)) { start(); }
    ~Body() override { waitForCompletion(CDeadline::never()); }
    void run() override { work(); }

private:
    const std::function<void()> work;
};

} // namespace

TEST(VirtualClock, ADayOfAlarmsComesInOrderEachAtItsMoment)
{
    CVirtualClock clock;
    const nanoseconds start = CDeadline::now();
    std::vector<std::pair<char, nanoseconds>> alarms;
    const auto noting = [&](char name) {
        return [&alarms, start, name] {
            alarms.emplace_back(name, CDeadline::now() - start);
            return true;
        };
    };
    const auto slow = timerThat(8 * 3600 * 1000, noting('a'));
    const auto fast = timerThat(6 * 3600 * 1000, noting('b'));
    slow->start();
    fast->start();
    ASSERT_EQ(clock.advance(24h), 0);
    using Alarm = std::pair<char, nanoseconds>;
    EXPECT_THAT(alarms, ElementsAre(Alarm('b', 6h), Alarm('a', 8h), Alarm('b', 12h), Alarm('a', 16h), Alarm('b', 18h),
                                    Alarm('a', 24h), Alarm('b', 24h)));
    EXPECT_EQ(CDeadline::now() - start, 24h);
    EXPECT_EQ(clock.untilNext(), 6h);
    slow->stop();
    EXPECT_FALSE(slow->isStarted());
    fast->stop();
    EXPECT_EQ(clock.untilNext(), nanoseconds::max());
}

TEST(VirtualClock, TimersWorkersAndQueuesHaveSettledWhenItReturns)
{
    CVirtualClock clock;
    Kiv::CStateMachine machine(Kiv::CStateMachine::ProcessingAsync);
    auto* const off = new Kiv::CState("Off", &machine);
    auto* const on = new Kiv::CState("On", &machine);
    machine.setInitialState(off);
    off->addEventTransitionTo(on, 1, "On");
    on->addEventTransitionTo(off, 2, "Off");
    machine.start();
    Kiv::CEventQueue<int, 4> queue;
    int sum = 0;
    Body consumer([&] {
        for (int item = 0; queue.take(item, CDeadline::never());)
            sum += item;
    });
    int posts = 0;
    const auto timer = timerThat(1000, [&] {
        ++posts;
        machine.postEvent(posts % 2 == 1 ? 1 : 2, Kiv::CStateMachine::ProcessingAsync);
        return queue.post(posts);
    });
    timer->start();
    int expected = 0;
    for (int second = 1; second <= 200; ++second)
    {
        ASSERT_EQ(clock.advance(1s), 0);
        expected += second;
        ASSERT_EQ(sum, expected);
        ASSERT_EQ(on->isActive(), second % 2 == 1);
    }
    queue.close();
    ASSERT_EQ(clock.settle(), 0);
    EXPECT_FALSE(consumer.isActive());
    timer->stop();
    machine.stop();
}

TEST(VirtualClock, IdleMachineMakesItsPassTenTimesASecond)
{
    class Counting : public Kiv::CState
    {
    public:
        using CState::CState;
        void onProcessing() override { ++passes; }
        int passes = 0;
    };
    CVirtualClock clock;
    Kiv::CStateMachine machine(Kiv::CStateMachine::ProcessingAsync);
    auto* const state = new Counting("Only", &machine);
    machine.setInitialState(state);
    machine.start();
    ASSERT_EQ(clock.advance(1h), 0);
    EXPECT_EQ(state->passes, 36000);
    machine.stop();
}

TEST(VirtualClock, ShowsEveryClockOfTheLibrary)
{
    CVirtualClock clock;
    const unsigned long milliseconds = Kiv::CPollingTimer::getMilliSec();
    const Kiv::CDateTime morning = Kiv::CDateTime::currentDateTime();
    EXPECT_EQ(morning.c_time(), 1704067200);
    ASSERT_EQ(clock.advance(1h), 0);
    EXPECT_EQ(Kiv::CPollingTimer::getMilliSec() - milliseconds, 3600000U);
    EXPECT_EQ(morning.getSecsTo(Kiv::CDateTime::currentDateTime()), 3600);
    ASSERT_EQ(clock.suspend(1h), 0);
    EXPECT_EQ(Kiv::CPollingTimer::getMilliSec() - milliseconds, 3600000U);
    EXPECT_EQ(morning.getSecsTo(Kiv::CDateTime::currentDateTime()), 7200);
    clock.setWallTime(CVirtualClock::WallTime(5s));
    EXPECT_EQ(Kiv::CDateTime::currentDateTime().c_time(), 5);
    EXPECT_EQ(clock.wallTime().time_since_epoch(), 5s);
}

TEST(VirtualClock, SuspendEndsOnlyWaitsOnTheClockThatRunsOn)
{
    CVirtualClock clock;
    nanoseconds program{};
    nanoseconds world{};
    const nanoseconds start = CDeadline::now();
    Body one([&] {
        Kiv::CThread::sleepUntil(CDeadline::in(1h, Kiv::ClockMonotonic));
        program = CDeadline::now() - start;
    });
    Body other([&] {
        Kiv::CThread::sleepUntil(CDeadline::in(1h, Kiv::ClockBoottime));
        world = CDeadline::now() - start;
    });
    ASSERT_EQ(clock.advance(10min), 0);
    ASSERT_EQ(clock.suspend(2h), 0);
    EXPECT_EQ(world, 10min);
    EXPECT_FALSE(other.isActive());
    EXPECT_TRUE(one.isActive());
    ASSERT_EQ(clock.advance(1h), 0);
    EXPECT_EQ(program, 1h);
}

TEST(VirtualClock, WaitsOfTheTestMoveItToo)
{
    CVirtualClock clock;
    const nanoseconds start = CDeadline::now();
    std::vector<nanoseconds> alarms;
    const auto timer = timerThat(1000, [&] {
        alarms.push_back(CDeadline::now() - start);
        return alarms.size() < 5;
    });
    timer->start();
    Kiv::CThread::sleep(2500);
    EXPECT_THAT(alarms, ElementsAre(1s, 2s));
    Kiv::CEventQueue<int, 1> queue;
    int item = 0;
    EXPECT_FALSE(queue.take(item, 1000U));
    EXPECT_EQ(alarms.size(), 3U);
    EXPECT_EQ(CDeadline::now() - start, 3500ms);
}

TEST(VirtualClock, HandlerThatSleepsIsGivenUpAfterAHundredVirtualMilliseconds)
{
    CVirtualClock clock;
    const auto timer = timerThat(1000, [] {
        Kiv::CThread::sleep(3600 * 1000);
        return true;
    });
    timer->start();
    ASSERT_EQ(clock.advance(1s), 0);
    const nanoseconds before = CDeadline::now();
    timer->stop();
    EXPECT_EQ(CDeadline::now() - before, 100ms);
    EXPECT_FALSE(timer->isStarted());
}

TEST(VirtualClock, ThreadOfTheProgramTakesPartFromItsFirstWaitOn)
{
    CVirtualClock clock;
    Kiv::CEventQueue<int, 4> questions;
    Kiv::CEventQueue<int, 4> answers;
    std::thread program([&] {
        Kiv::CThread::sleep(1); // its first wait: before the first answer, whoever is quicker
        for (int question = 0; questions.take(question, CDeadline::never());)
            answers.post(2 * question);
    });
    int answer = 0;
    ASSERT_TRUE(questions.post(21));
    ASSERT_TRUE(answers.take(answer, CDeadline::never()));
    EXPECT_EQ(answer, 42);
    for (int i = 0; i < 1000; ++i)
    {
        ASSERT_TRUE(questions.post(i));
        ASSERT_EQ(clock.settle(), 0);
        ASSERT_TRUE(answers.take(answer, 0U));
        ASSERT_EQ(answer, 2 * i);
    }
    questions.close();
    program.join();
    EXPECT_EQ(clock.advance(1h), 0) << "a thread that has ended holds nothing up";
}

TEST(VirtualClock, ThreadThatDoesNotComeBackIsNamed)
{
    CVirtualClock clock;
    clock.setPatience(100ms);
    std::atomic<bool> goOn{false};
    const auto timer = timerThat(1000, [&] {
        while (!goOn)
            std::this_thread::sleep_for(1ms);
        return true;
    });
    timer->setName("the culprit");
    timer->start();
    testing::internal::CaptureStderr();
    EXPECT_EQ(clock.advance(2s), -208);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("(the culprit) does not wait"));
    goOn = true;
    EXPECT_EQ(clock.advance(2s), 0);
    int result = 0;
    std::thread([&] { result = clock.advance(1s); }).join();
    EXPECT_EQ(result, -1) << "on another thread";
    timer->stop();
}

TEST(VirtualClock, RealTimeGoesOnAfterIt)
{
    std::vector<int> alarms;
    std::unique_ptr<CAlarmTimer> timer;
    {
        CVirtualClock clock;
        timer = timerThat(5, [&] {
            alarms.push_back(1);
            return alarms.size() < 3;
        });
        timer->start();
        ASSERT_EQ(clock.advance(7ms), 0);
        EXPECT_EQ(alarms.size(), 1U);
        timer->stop();
    }
    timer->start();
    while (timer->isStarted())
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(alarms.size(), 3U);
}
