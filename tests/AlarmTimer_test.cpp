#include <kiv/AlarmTimer.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <kiv/Deadline.h>
#include <kiv/Thread.h>
#include <kiv/testkit/VirtualClock.h>

#include "support/RecordingAppender.h"
#include "support/WaitUntil.h"

using Kiv::CAlarmTimer;
using Kiv::IAlarmHandler;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace
{

constexpr unsigned anHour = 3600 * 1000;

const CAlarmTimer firstOfTheProcess(1);

class Handler : public IAlarmHandler
{
public:
    explicit Handler(std::function<bool(CAlarmTimer&)> onAlarmDo) : action(std::move(onAlarmDo)) {}
    bool onAlarm(CAlarmTimer* timer) override { return action(*timer); }

private:
    std::function<bool(CAlarmTimer&)> action;
};

LogRecorder recordTimerLog() { return LogRecorder(log4cplus::Logger::getInstance("AlarmTimerLogger")); }

bool waitUntilIdle(const CAlarmTimer& timer)
{
    return waitUntil([&] { return !timer.isStarted(); });
}

bool isLogged(const LogRecorder& log, const std::string& text)
{
    const std::vector<std::string> texts = log.texts();
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

std::string firstLineOf(const std::filesystem::path& file)
{
    std::string line;
    std::getline(std::ifstream(file), line);
    return line;
}

/// True if the thread of that name waits for something.
bool isAsleep(const std::string& name)
{
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        if (firstLineOf(task.path() / "comm") == name)
            return firstLineOf(task.path() / "stat").find(") S ") != std::string::npos;
    return false;
}

std::size_t threadCount()
{
    std::size_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        count += task.path().empty() ? 0U : 1U;
    return count;
}

} // namespace

TEST(AlarmTimer, GivesCountedAlarmsAtMultiplesOfTheIntervalAndNeverEarly)
{
    const LogRecorder log = recordTimerLog();
    std::vector<Clock::time_point> alarms;
    Handler handler([&](CAlarmTimer&) {
        alarms.push_back(Clock::now());
        return true;
    });
    CAlarmTimer timer(20, 3, &handler);
    timer.setName("pump");
    for (int run = 0; run < 2; ++run)
    {
        alarms.clear();
        const Clock::time_point start = Clock::now();
        timer.start();
        EXPECT_TRUE(timer.isStarted());
        ASSERT_TRUE(waitUntilIdle(timer));
        ASSERT_EQ(alarms.size(), 3U);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_GE(alarms[i], start + (i + 1) * milliseconds(20));
    }
    const std::vector<std::string> texts = log.texts();
    EXPECT_THAT(std::vector<std::string>(texts.begin() + 1, texts.begin() + 6),
                ElementsAre("Timer thread started for timer pump", "Alarm for timer pump", "Alarm for timer pump",
                            "Alarm for timer pump", "Timer thread finished for timer pump"));
    EXPECT_EQ(log.records()[1].level, log4cplus::INFO_LOG_LEVEL);
    EXPECT_EQ(log.records()[2].level, log4cplus::TRACE_LOG_LEVEL);
    EXPECT_EQ(log.records()[2].file, "../../src/kiv/env/qt/core/AlarmTimerQtV2");
}

TEST(AlarmTimer, GoesOnUntilItsReceiverReturnsFalse)
{
    const LogRecorder log = recordTimerLog();
    int alarms = 0;
    CAlarmTimer timer(1);
    timer.setAlarmCallback([&alarms] { return ++alarms < 50; });
    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_EQ(alarms, 50);
    EXPECT_THAT(log.texts(), Contains("Timer function for timer " + timer.name() + " returned STOP_TIMER"));
}

TEST(AlarmTimer, PrefersOverrideToHandlerToCallbackToNothing)
{
    class Overriding : public CAlarmTimer
    {
    public:
        using CAlarmTimer::CAlarmTimer;
        ~Overriding() override { Overriding::stop(); }
        bool alarm() override
        {
            ++own;
            return own < 3 || CAlarmTimer::alarm();
        }
        std::atomic<int> own{0};
    };
    int handled = 0;
    int called = 0;
    Handler handler([&](CAlarmTimer&) {
        ++handled;
        return false;
    });
    Overriding overriding(1, 0, &handler);
    overriding.start();
    EXPECT_TRUE(waitUntilIdle(overriding));
    EXPECT_EQ(overriding.own, 3);
    EXPECT_EQ(handled, 1);

    CAlarmTimer withBoth(1, 2, &handler);
    withBoth.setAlarmCallback([&called] { return ++called > 0; });
    withBoth.start();
    EXPECT_TRUE(waitUntilIdle(withBoth));
    EXPECT_EQ(handled, 2);
    EXPECT_EQ(called, 0);

    const LogRecorder log = recordTimerLog();
    CAlarmTimer withNothing(1, 2);
    withNothing.start();
    EXPECT_TRUE(waitUntilIdle(withNothing));
    EXPECT_EQ(log.texts().size(), 4U) << "started, two alarms, finished";
    EXPECT_TRUE(withNothing.alarm());
}

TEST(AlarmTimer, CatchesUpAfterASlowHandler)
{
    Kiv::TestKit::CVirtualClock clock;
    const std::chrono::nanoseconds start = Kiv::CDeadline::now();
    std::vector<std::chrono::nanoseconds> alarms;
    Handler handler([&](CAlarmTimer&) {
        alarms.push_back(Kiv::CDeadline::now() - start);
        if (alarms.size() == 1)
            Kiv::CThread::sleep(2000);
        return true;
    });
    CAlarmTimer slow(50, 45, &handler);
    slow.start();
    ASSERT_EQ(clock.advance(std::chrono::minutes(1)), 0);
    EXPECT_FALSE(slow.isStarted());
    ASSERT_EQ(alarms.size(), 45U);
    for (std::size_t i = 0; i < alarms.size(); ++i)
    {
        const milliseconds due((i + 1) * 50);
        EXPECT_EQ(alarms[i], i == 0 ? due : std::max(due, milliseconds(2050))) << "the missed ones follow at once";
    }
}

TEST(AlarmTimer, StartWhileRunningMovesTheNextAlarmAndKeepsTheCount)
{
    std::atomic<int> alarms{0};
    Handler handler([&](CAlarmTimer& self) {
        if (++alarms == 1)
            self.setInterval(anHour); // from the third alarm on
        return true;
    });
    CAlarmTimer timer(anHour, 3, &handler);
    timer.start();
    timer.setInterval(1);
    timer.start();
    ASSERT_TRUE(waitUntil([&] { return alarms == 2; }));
    timer.setInterval(1);
    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer)) << "the third alarm was an hour away";
    EXPECT_EQ(alarms, 3);
}

TEST(AlarmTimer, NewIntervalCountsFromTheNextDeadlineOn)
{
    Clock::time_point first;
    std::atomic<int> alarms{0};
    Handler handler([&](CAlarmTimer&) {
        if (++alarms == 1)
            first = Clock::now();
        return true;
    });
    CAlarmTimer timer(200, 100, &handler);
    const Clock::time_point start = Clock::now();
    timer.start();
    timer.setInterval(1);
    EXPECT_EQ(timer.getInterval(), 1U);
    EXPECT_TRUE(waitUntilIdle(timer)) << "99 intervals of 200 ms would be 20 s";
    EXPECT_GE(first - start, milliseconds(200));
}

TEST(AlarmTimer, StopsAtOnceWhileItWaitsAndStartsAnew)
{
    constexpr int rounds = 40;
    const LogRecorder log = recordTimerLog();
    std::atomic<int> alarms{0};
    Handler handler([&](CAlarmTimer&) { return ++alarms > 0; });
    CAlarmTimer timer(anHour, 5, &handler);
    timer.setName("t");
    EXPECT_EQ(timer.stop(), 0U);
    std::vector<Clock::duration> stops;
    for (int round = 0; round < rounds; ++round)
    {
        timer.start();
        EXPECT_TRUE(waitUntil([] { return isAsleep("t"); }));
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(timer.stop(), 0U);
        stops.push_back(Clock::now() - start);
        EXPECT_FALSE(timer.isStarted());
    }
    std::nth_element(stops.begin(), stops.begin() + rounds / 2, stops.end());
    EXPECT_LT(stops[rounds / 2], milliseconds(40)) << "100 ms without a wake-up";
    EXPECT_EQ(alarms, 0);
    timer.setInterval(0);
    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_EQ(alarms, 5);

    std::vector<std::string> expected{"Stopping Timer t"};
    for (int round = 0; round < rounds; ++round)
        expected.insert(expected.end(),
                        {"Timer thread started for timer t", "Stopping Timer t", "Timer thread finished for timer t"});
    std::vector<LogRecord> records = log.records();
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(records.at(i + 1).text, expected[i]) << "after the record of setName, record " << i;
    EXPECT_EQ(records[1].thread, records[0].thread) << "the record of stop() tells who stopped it";
    EXPECT_EQ(records[1].function, "stop");
}

TEST(AlarmTimer, IntervalZeroAlarmsWithoutPauseAndCanBeStopped)
{
    std::atomic<int> alarms{0};
    Handler handler([&](CAlarmTimer&) { return ++alarms > 0; });
    CAlarmTimer timer(0, 0, &handler);
    timer.start();
    EXPECT_TRUE(waitUntil([&] { return alarms > 1000; }));
    EXPECT_EQ(timer.stop(), 0U);
    EXPECT_FALSE(timer.isStarted());
}

TEST(AlarmTimer, IntervalAfterZeroHasNothingToCatchUp)
{
    const Clock::time_point start = Clock::now();
    Clock::time_point before;
    Clock::time_point last;
    int alarmsLeft = 3; // the one that changes the interval, one that was due already, one by the new interval
    Handler handler([&](CAlarmTimer& self) {
        last = Clock::now();
        if (last - start < milliseconds(600))
            before = last;
        else if (--alarmsLeft == 2)
            self.setInterval(500);
        return alarmsLeft > 0;
    });
    CAlarmTimer timer(0, 0, &handler);
    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_GE(last - before, milliseconds(500)) << "the schedule stood still during interval 0";
}

TEST(AlarmTimer, HandlerMayChangeItsOwnTimer)
{
    std::vector<std::string> names;
    Handler handler([&](CAlarmTimer& self) {
        names.push_back(self.name());
        self.setName("after " + std::to_string(names.size()));
        self.setInterval(self.getInterval() + 1);
        self.setAlarmCallback({});
        EXPECT_TRUE(self.isStarted());
        self.start();
        if (names.size() == 1)
            self.setCycleCount(2); // in the last alarm: two more
        return true;
    });
    CAlarmTimer timer(1, 1, &handler);
    timer.setName("before");
    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_THAT(names, ElementsAre("before", "after 1", "after 2"));
    EXPECT_EQ(timer.getInterval(), 4U);
}

TEST(AlarmTimer, HandlerMayStopItsOwnTimerAndStartItAgain)
{
    const LogRecorder log = recordTimerLog();
    std::atomic<int> alarms{0};
    Handler handler([&](CAlarmTimer& self) {
        const int alarm = ++alarms;
        EXPECT_EQ(self.stop(), 0U);
        if (alarm == 1)
            self.start();
        return true;
    });
    CAlarmTimer timer(1, 0, &handler);
    timer.start();
    EXPECT_TRUE(waitUntil([&] { return alarms == 2; }));
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_EQ(alarms, 2);
    EXPECT_THAT(log.texts(), Not(Contains("Timer thread terminated for timer " + timer.name())));
}

TEST(AlarmTimer, HandlerMayDestroyItsOwnTimer)
{
    static std::atomic<int> destroyed{0};
    static Handler handler([](CAlarmTimer& self) {
        delete &self;
        return ++destroyed > 0;
    });
    const std::size_t threads = threadCount();
    const int before = destroyed;
    for (int i = 0; i < 200; ++i)
        (new CAlarmTimer(0, 0, &handler))->start();
    EXPECT_TRUE(waitUntil([&] { return destroyed == before + 200; }));
    EXPECT_TRUE(waitUntil([&] { return threadCount() <= threads; }));
}

// The other timer's thread waits for its turn meanwhile, and must not touch its timer after that.
TEST(AlarmTimer, HandlerMayStopOrDestroyAnotherThatWaitsForItsTurn)
{
    for (const bool destroy : {false, true})
    {
        const LogRecorder log = recordTimerLog();
        std::atomic<int> otherAlarms{0};
        Handler otherHandler([&](CAlarmTimer&) { return ++otherAlarms > 0; });
        auto other = std::make_unique<CAlarmTimer>(1, 0, &otherHandler);
        other->setName("other");
        bool waited = false;
        Handler handler([&](CAlarmTimer&) {
            other->start();
            waited = waitUntil([&] { return isLogged(log, "Alarm for timer other"); });
            other->stop();
            EXPECT_FALSE(other->isStarted());
            if (destroy)
                other.reset();
            return false;
        });
        CAlarmTimer timer(1, 0, &handler);
        timer.start();
        EXPECT_TRUE(waitUntilIdle(timer));
        EXPECT_TRUE(waited);
        EXPECT_EQ(otherAlarms, 0) << "no handler begins after stop()";
        EXPECT_TRUE(isLogged(log, "Timer thread finished for timer other"));
        EXPECT_FALSE(isLogged(log, "Timer thread terminated for timer other"));
    }
}

TEST(AlarmTimer, HandlersOfAllTimersRunOneAtATime)
{
    int unguarded = 0;
    std::atomic<int> inside{0};
    std::atomic<int> together{0};
    Handler handler([&](CAlarmTimer&) {
        if (++inside > 1)
            ++together;
        ++unguarded;
        std::this_thread::yield();
        --inside;
        return true;
    });
    std::vector<std::unique_ptr<CAlarmTimer>> timers;
    for (int i = 0; i < 6; ++i)
    {
        timers.push_back(std::make_unique<CAlarmTimer>(i % 2, 200, &handler));
        timers.back()->start();
    }
    for (auto& timer : timers)
        EXPECT_TRUE(waitUntilIdle(*timer));
    EXPECT_EQ(together, 0);
    EXPECT_EQ(unguarded, 1200);
}

TEST(AlarmTimer, OneThatIsAlwaysLateDoesNotShutOutAnother)
{
    std::atomic<int> greedyAlarms{0};
    Handler greedyHandler([&](CAlarmTimer&) {
        std::this_thread::sleep_for(milliseconds(3));
        return ++greedyAlarms > 0;
    });
    CAlarmTimer greedy(1, 0, &greedyHandler);
    int alarms = 0;
    Handler handler([&](CAlarmTimer&) { return ++alarms > 0; });
    CAlarmTimer modest(1, 30, &handler);
    greedy.start();
    EXPECT_TRUE(waitUntil([&] { return greedyAlarms > 3; }));
    const int before = greedyAlarms;
    modest.start();
    EXPECT_TRUE(waitUntilIdle(modest));
    EXPECT_LE(greedyAlarms - before, 300) << "about one for one, and some while the other's thread has no processor";
    greedy.stop();
}

TEST(AlarmTimer, TurnsAreServedInTheOrderInWhichTheyCame)
{
    const std::vector<std::string> names{"one", "two", "three", "four", "five"};
    const LogRecorder log = recordTimerLog();
    std::vector<std::string> served;
    Handler handler([&](CAlarmTimer& timer) {
        served.push_back(timer.name());
        return false;
    });
    std::vector<std::unique_ptr<CAlarmTimer>> queue;
    Handler queueing([&](CAlarmTimer&) {
        for (const std::string& name : names)
        {
            queue.push_back(std::make_unique<CAlarmTimer>(0, 0, &handler));
            queue.back()->setName(name);
            queue.back()->start();
            EXPECT_TRUE(waitUntil([&] { return isLogged(log, "Alarm for timer " + name) && isAsleep(name); }));
        }
        return true;
    });
    CAlarmTimer first(1, 1, &queueing);
    first.start();
    EXPECT_TRUE(waitUntilIdle(first));
    for (const auto& timer : queue)
        EXPECT_TRUE(waitUntilIdle(*timer));
    EXPECT_EQ(served, names);
}

// Also their threads go, though each is freed only when a later one ends.
TEST(AlarmTimer, DestroyedOnesAreFreed)
{
    static std::atomic<int> alarms{0};
    const auto useOne = [] {
        CAlarmTimer timer(0);
        timer.setAlarmCallback([] { return ++alarms > 0; });
        timer.start();
    };
    const auto rounds = [&useOne](int count) {
        for (int round = 0; round < count; ++round)
            useOne();
        return mallinfo2().uordblks;
    };
    const std::size_t before = rounds(100);
    EXPECT_LT(rounds(500), before + 50000) << "100 bytes for each";
}

TEST(AlarmTimer, HandlerThatSleepsOnIsTerminatedAndFreesTheTurn)
{
    const LogRecorder log = recordTimerLog();
    static std::atomic<bool> entered{false};
    static std::atomic<bool> unwound{false};
    entered = unwound = false;
    Handler handler([](CAlarmTimer&) {
        struct Guard
        {
            ~Guard() { unwound = true; }
        } const guard;
        if (!entered.exchange(true))
            std::this_thread::sleep_for(std::chrono::hours(1));
        return true;
    });
    CAlarmTimer timer(1, 3, &handler);
    timer.setName("stuck");
    timer.start();
    ASSERT_TRUE(waitUntil([] { return entered.load(); }));
    EXPECT_EQ(timer.stop(), 0U);
    EXPECT_THAT(log.texts(), Contains("Timer thread terminated for timer stuck"));
    EXPECT_THAT(log.texts(), Not(Contains("Timer thread finished for timer stuck")));
    EXPECT_FALSE(timer.isStarted());
    EXPECT_TRUE(waitUntil([] { return unwound.load(); }));

    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_TRUE(isLogged(log, "Timer thread finished for timer stuck"));
}

// Its handler reaches no cancellation point; it returns by itself when the timer is gone and another one runs.
TEST(AlarmTimer, HandlerThatOutlivesItsTimerEndsInPeace)
{
    static std::atomic<int> step{0};
    static std::atomic<int> alarms{0};
    step = alarms = 0;
    Handler handler([](CAlarmTimer&) {
        step = 1;
        while (step != 2)
        {}
        step = 3;
        return true;
    });
    auto timer = std::make_unique<CAlarmTimer>(1, 0, &handler);
    timer->start();
    ASSERT_TRUE(waitUntil([] { return step == 1; }));
    timer.reset();
    CAlarmTimer next(1, 5);
    next.setAlarmCallback([] { return ++alarms > 0; });
    next.start();
    EXPECT_TRUE(waitUntil([&] { return next.isStarted(); }));
    EXPECT_EQ(alarms, 0) << "still the other's turn";
    step = 2;
    EXPECT_TRUE(waitUntilIdle(next));
    EXPECT_EQ(step, 3);
    EXPECT_EQ(alarms, 5);
}

TEST(AlarmTimer, SurvivesStartsAndStopsFromTwoThreads)
{
    constexpr int cycles = 2000;
    for (const unsigned interval : {0U, 1U})
    {
        std::atomic<int> alarms{0};
        Handler handler([&](CAlarmTimer&) { return ++alarms > 0; });
        CAlarmTimer timer(interval, 1, &handler);
        const auto churn = [&timer] {
            for (int i = 0; i < cycles / 2; ++i)
            {
                timer.start();
                if (i % 3 == 0)
                    std::this_thread::yield();
                EXPECT_EQ(timer.stop(), 0U);
            }
        };
        std::thread first(churn);
        std::thread second(churn);
        first.join();
        second.join();
        EXPECT_FALSE(timer.isStarted());
        EXPECT_LE(alarms, cycles) << "one alarm per start at most";
        alarms = 0;
        timer.start();
        EXPECT_TRUE(waitUntilIdle(timer));
        EXPECT_EQ(alarms, 1);
    }
}

TEST(AlarmTimer, DestroyedRightAfterStartItLeavesNoThread)
{
    static std::atomic<int> alarms{0};
    const std::size_t threads = threadCount();
    for (unsigned i = 0; i < 1000; ++i)
    {
        CAlarmTimer timer(i % 2);
        timer.setAlarmCallback([] { return ++alarms > 0; });
        timer.start();
    }
    EXPECT_TRUE(waitUntil([&] { return threadCount() <= threads; }));
    const int settled = alarms;
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(alarms, settled);
}

TEST(AlarmTimer, WithoutAppenderItsStepsLeadToNoComplaint)
{
    testing::internal::CaptureStderr();
    CAlarmTimer timer(1, 1);
    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    log4cplus::Logger root = log4cplus::Logger::getRoot();
    const LogRecorder log(root); // an ancestor's appender is one, too
    timer.start();
    EXPECT_TRUE(waitUntilIdle(timer));
    EXPECT_TRUE(isLogged(log, "Timer thread started for timer " + timer.name()));
}

TEST(AlarmTimer, NamesCountThroughTheProcessAndShowOnTheThread)
{
    EXPECT_EQ(firstOfTheProcess.name(), "AlarmTimer 0");
    const CAlarmTimer one(1);
    const CAlarmTimer another(1);
    EXPECT_EQ(std::stoi(another.name().substr(11)), std::stoi(one.name().substr(11)) + 1);

    std::string commandName;
    long slack = 0;
    Handler handler([&](CAlarmTimer&) {
        commandName = firstLineOf("/proc/self/task/" + std::to_string(gettid()) + "/comm");
        slack = prctl(PR_GET_TIMERSLACK);
        return false;
    });
    const std::unique_ptr<Kiv::CAlarmTimerManager> manager(CAlarmTimer::createTimerManager());
    CAlarmTimer named(1, 0, &handler, manager.get());
    const LogRecorder log = recordTimerLog();
    const std::string oldName = named.name();
    named.setName("measure the level");
    named.start();
    EXPECT_TRUE(waitUntilIdle(named));
    EXPECT_EQ(commandName, "measure the lev");
    EXPECT_EQ(slack, 1) << "nanoseconds that the kernel may wake it late";
    EXPECT_EQ(log.texts().front(), "Set name of " + oldName + " to measure the level");
}

TEST(AlarmTimer, TimersThatTakeNoTurnsAreNotHeldUpByOthers)
{
    std::atomic<bool> isHolding{false};
    std::atomic<bool> goOn{false};
    Handler holding([&](CAlarmTimer&) {
        isHolding = true;
        waitUntil([&] { return goOn.load(); });
        return false;
    });
    CAlarmTimer slow(1, 1, &holding);
    std::atomic<int> alarms{0};
    CAlarmTimer free(1);
    free.setAlarmCallback([&] { return ++alarms, true; });
    EXPECT_TRUE(free.takesTurns());
    free.takeTurns(false);
    slow.start();
    EXPECT_TRUE(waitUntil([&] { return isHolding.load(); }));
    free.start();
    EXPECT_TRUE(waitUntil([&] { return alarms >= 3; }));
    EXPECT_TRUE(slow.isStarted()) << "its handler still runs";
    free.stop();
    goOn = true;
    EXPECT_TRUE(waitUntilIdle(slow));
}
