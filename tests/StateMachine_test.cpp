#include <kiv/StateMachine.h>

#include <kiv/AlarmTimer.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/StateTree.h"
#include "support/WaitUntil.h"

using Kiv::CState;
using Kiv::CStateMachine;
using Kiv::CTransition;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
std::atomic<bool> threadsAreOut{false};
}

/// Stands in for the system's, which refuses a thread when the limit is reached.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept
{
    static const auto real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return threadsAreOut ? EAGAIN : real(thread, attributes, body, argument);
}

namespace
{

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/// Calls a function whenever it fires, for tests that need something to happen inside a transition.
struct CActing : CTransition
{
    CActing(CState* source, std::function<void()> function) : CTransition(source, "acting"), act(std::move(function)) {}
    void onTransition() override { act(); }
    std::function<void()> act;
};

/// One state that every event of interest leads back to, doing something on the way.
struct CLoop
{
    explicit CLoop(CStateMachine::eProcessingType type) : machine(type), state(new CState("S", &machine))
    {
        machine.setInitialState(state);
    }

    void on(unsigned char event, std::function<void()> act)
    {
        auto* transition = new CActing(state, std::move(act));
        transition->setTargetState(state);
        state->addTransition(transition);
        machine.registerEventTransiton(event, transition);
    }

    CStateMachine machine;
    CState* state;
};

} // namespace

TEST(StateMachine, SynchronousEventWaitsForProcessWhichMakesOnePass)
{
    CLoop loop(CStateMachine::ProcessingSync);
    CRecorder recorder;
    loop.state->enableDoActivity(true);
    loop.machine.start();
    recorder.record(*loop.state);
    loop.on(7, [&] { loop.machine.postEvent(8); });
    loop.on(8, [] {});
    loop.machine.postEvent(7);
    EXPECT_THAT(recorder.take(), IsEmpty());
    loop.machine.process();
    EXPECT_THAT(recorder.take(), ElementsAre("exited S", "entered S", "exited S", "entered S", "processing S"));
    loop.machine.postEvent(8, CStateMachine::ProcessingSync);
    EXPECT_THAT(recorder.take(), ElementsAre("exited S", "entered S"));
}

TEST(StateMachine, EventFiresEveryTransitionWhoseSourceIsActiveAtItsTurn)
{
    CStateMachine machine;
    CRecorder recorder;
    auto* both = new CState("P", &machine);
    both->setChildMode(CState::ChildModeParallel);
    machine.setInitialState(both);
    for (const char* name : {"R0", "R1"})
    {
        auto* region = new CState(name, both);
        CState* states[] = {new CState("a", region), new CState("b", region), new CState("c", region)};
        region->setInitialState(states[0]);
        const std::string prefix = std::string(name) + " ";
        recorder.record(*states[1]->addEventTransitionTo(states[0], 5, prefix + "back"));
        CTransition* ab = states[0]->addEventTransitionTo(states[1], 5, prefix + "ab");
        recorder.record(*ab);
        machine.registerEventTransiton(5, ab);
        recorder.record(*states[1]->addEventTransitionTo(states[2], 5, prefix + "bc"));
        EXPECT_THAT(machine.eventsOf(ab), ElementsAre(5));
    }
    machine.start();
    machine.processEvent(5);
    EXPECT_THAT(recorder.take(), ElementsAre("fired R0 ab", "fired R0 bc", "fired R1 ab", "fired R1 bc"));
}

TEST(StateMachine, EventNumbersFromEndToEndAndWithoutTransition)
{
    CLoop loop(CStateMachine::ProcessingSync);
    int fired = 0;
    loop.machine.processEvent(255);
    for (int event : {255, 0, 240})
        loop.on(static_cast<unsigned char>(event), [&] { ++fired; });
    loop.machine.start();
    for (int event = 0; event < 256; ++event)
        loop.machine.processEvent(static_cast<unsigned char>(event));
    EXPECT_EQ(fired, 3);
}

TEST(StateMachine, SynchronousQueueDropsAndCountsWhatExceeds64)
{
    CLoop loop(CStateMachine::ProcessingSync);
    int handled = 0;
    loop.on(1, [&] { ++handled; });
    loop.machine.start();
    for (int i = 0; i < 70; ++i)
        loop.machine.postEvent(1);
    EXPECT_EQ(loop.machine.pendingEvents(), 64U);
    EXPECT_EQ(loop.machine.droppedEvents(), 6U);
    loop.machine.process();
    EXPECT_EQ(handled, 64);
    EXPECT_EQ(loop.machine.pendingEvents(), 0U);
}

TEST(StateMachine, StartNeedsChildrenAndAnInitialState)
{
    CStateMachine machine;
    CRecorder recorder;
    recorder.record(machine);
    machine.start();
    auto* state = new CState("S", &machine);
    machine.start();
    machine.stop();
    machine.process();
    EXPECT_THAT(recorder.take(), IsEmpty());
    machine.setInitialState(state);
    machine.start();
    EXPECT_THAT(recorder.take(), ElementsAre("done S", "started"));
    machine.stop();
    machine.stop();
    machine.process();
    EXPECT_FALSE(state->isActive());
}

TEST(StateMachine, LogLineIsCutAt127CharactersAndSwitchedOffByAnEmptyCallback)
{
    CStateMachine machine;
    CRecorder recorder;
    recorder.recordLog(machine);
    machine.logMessage("%s", std::string(200, 'x').c_str());
    EXPECT_THAT(recorder.take(), ElementsAre(std::string(127, 'x')));
    machine.setLogMessageCallback({});
    machine.logMessage("more");
    EXPECT_THAT(recorder.take(), IsEmpty());
}

TEST(StateMachine, LogCallbackMayReplaceItself)
{
    CStateMachine machine;
    int first = 0;
    int second = 0;
    machine.setLogMessageCallback([&first, &machine, &second](const std::string&) {
        machine.setLogMessageCallback([&second](const std::string&) { ++second; });
        ++first;
    });
    machine.logMessage("to the first");
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    machine.logMessage("to the second");
    EXPECT_EQ(second, 1);
}

TEST(StateMachine, ExceptionFromAHookLeavesProcessWithTheEventConsumed)
{
    CLoop loop(CStateMachine::ProcessingSync);
    bool bad = true;
    int good = 0;
    loop.on(1, [&] {
        if (bad)
            throw std::runtime_error("hook");
        ++good;
    });
    loop.machine.start();
    loop.machine.postEvent(1);
    loop.machine.postEvent(1);
    EXPECT_THROW(loop.machine.process(), std::runtime_error);
    EXPECT_EQ(loop.machine.pendingEvents(), 1U);
    bad = false;
    loop.state->enter();
    loop.machine.process();
    EXPECT_EQ(good, 1);
}

TEST(StateMachineAsync, HandlesEventsOnItsWorkerAndThoseQueuedBeforeStop)
{
    CLoop loop(CStateMachine::ProcessingAsync);
    std::atomic<int> handled{0};
    std::thread::id worker;
    loop.on(1, [&] {
        worker = std::this_thread::get_id();
        ++handled;
    });
    loop.machine.start();
    EXPECT_TRUE(loop.state->isActive());
    for (int i = 0; i < 50; ++i)
        loop.machine.postEvent(1);
    loop.machine.stop();
    EXPECT_EQ(handled, 50);
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_FALSE(loop.state->isActive());
    loop.machine.postEvent(1);
    EXPECT_EQ(loop.machine.pendingEvents(), 1U);
    loop.machine.start();
    EXPECT_TRUE(waitUntil([&] { return handled == 51; }));
}

TEST(StateMachineAsync, MakesPassesWhileIdleAtItsRhythmAlsoAfterARestartAndNoneOnceStopped)
{
    struct CBusy : CState
    {
        using CState::CState;
        void onProcessing() override { ++passes; }
        std::atomic<int> passes{0};
    };
    CStateMachine machine(CStateMachine::ProcessingAsync);
    auto* state = new CBusy("S", &machine);
    machine.setInitialState(state);
    std::atomic<int> passesAtStop{-1};
    auto* const stopping = new CActing(state, [&] {
        machine.stop();
        passesAtStop = state->passes.load();
    });
    stopping->setTargetState(state);
    state->addTransition(stopping);
    machine.registerEventTransiton(1, stopping);
    for (int round = 0; round < 3; ++round)
    {
        state->passes = 0;
        const auto begin = Clock::now();
        machine.start();
        EXPECT_TRUE(waitUntil([&] { return state->passes >= 3; }));
        EXPECT_GT(Clock::now() - begin, 250ms) << "three passes come after 300 ms";
        passesAtStop = -1;
        machine.postEvent(1);
        EXPECT_TRUE(waitUntil([&] { return passesAtStop >= 0 && !state->isActive(); }));
        machine.stop();
        EXPECT_EQ(state->passes, passesAtStop);
    }
}

TEST(StateMachineAsync, ThreadThatTheSystemRefusesIsNotWaitedFor)
{
    CLoop loop(CStateMachine::ProcessingAsync);
    std::atomic<int> handled{0};
    loop.on(1, [&] { ++handled; });
    threadsAreOut = true;
    loop.machine.start();
    EXPECT_TRUE(loop.state->isActive());
    loop.machine.postEvent(1);
    EXPECT_EQ(loop.machine.pendingEvents(), 1U);
    loop.machine.stop();
    EXPECT_FALSE(loop.state->isActive()) << "left by stop(), since there is no worker to do it";
    threadsAreOut = false;
    loop.machine.start();
    EXPECT_TRUE(waitUntil([&] { return handled == 1 && loop.state->isActive(); })); // which the event leaves and enters
}

TEST(StateMachineAsync, StormOfWritersKeepsEachWritersOrderAndLosesNothingUncounted)
{
    constexpr int writers = 4;
    constexpr int perWriter = 5000;
    constexpr int numbers = 60; // of each writer, in turn; a gap tells how many were dropped in between
    CLoop loop(CStateMachine::ProcessingAsync);
    std::atomic<int> handled{0};
    std::atomic<unsigned> mostPending{0};
    std::array<int, writers> expected{};
    int missing = 0;
    for (int writer = 0; writer < writers; ++writer)
        for (int number = 0; number < numbers; ++number)
            loop.on(static_cast<unsigned char>(writer * numbers + number), [&, writer, number] {
                int& next = expected[static_cast<std::size_t>(writer)];
                missing += (number - next + numbers) % numbers;
                next = (number + 1) % numbers;
                mostPending = std::max(mostPending.load(), loop.machine.pendingEvents());
                ++handled;
            });
    loop.machine.start();
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer)
        threads.emplace_back([&, writer] {
            for (int i = 0; i < perWriter; ++i)
                loop.machine.postEvent(static_cast<unsigned char>(writer * numbers + i % numbers));
        });
    for (auto& thread : threads)
        thread.join();
    const auto dropped = [&] { return static_cast<int>(loop.machine.droppedEvents()); };
    EXPECT_TRUE(waitUntil([&] { return handled + dropped() == writers * perWriter; }));
    loop.machine.stop();
    EXPECT_LE(mostPending, 64U);
    EXPECT_LE(missing, dropped()) << "an event that overtakes another makes a gap of nearly all numbers";
}

TEST(StateMachineAsync, FullQueueDropsAtOnceForTheWorkerAndAfterAWhileForOthers)
{
    constexpr int tooMany = 164;
    CLoop loop(CStateMachine::ProcessingAsync);
    std::promise<void> full;
    std::promise<void> release;
    std::uint64_t droppedByWorker = 0;
    Clock::duration timeOfWorker{};
    loop.on(1, [&] {
        const auto begin = Clock::now();
        for (int i = 0; i < tooMany; ++i)
            loop.machine.postEvent(2);
        timeOfWorker = Clock::now() - begin;
        droppedByWorker = loop.machine.droppedEvents();
        full.set_value();
        release.get_future().wait();
    });
    loop.machine.start();
    loop.machine.postEvent(1);
    full.get_future().wait();
    EXPECT_EQ(droppedByWorker, 100U);
    EXPECT_LT(timeOfWorker, 5s) << "a hundred waits for room would take 10 s";
    const auto begin = Clock::now();
    loop.machine.postEvent(2);
    EXPECT_GE(Clock::now() - begin, 90ms);
    EXPECT_EQ(loop.machine.droppedEvents(), 101U);
    EXPECT_EQ(loop.machine.pendingEvents(), 64U);
    release.set_value();
    EXPECT_TRUE(waitUntil([&] { return loop.machine.pendingEvents() == 0; }));
}

TEST(StateMachineAsync, StopDuringALongHookReturnsAndTheWorkerLeavesTheState)
{
    struct CLong : CState
    {
        using CState::CState;
        void onEntry() override
        {
            CState::onEntry();
            entered.set_value();
            release.get_future().wait();
        }
        void onExit() override
        {
            CState::onExit();
            leftBy = std::this_thread::get_id();
            ++exits;
        }
        std::promise<void> entered;
        std::promise<void> release;
        std::thread::id leftBy;
        std::atomic<int> exits{0};
    };
    CLoop loop(CStateMachine::ProcessingAsync);
    auto* const state = new CLong("long", &loop.machine);
    loop.state->addEventTransitionTo(state, 1);
    int handledAfterStop = 0;
    state->addTransition(new CActing(state, [&] { ++handledAfterStop; }));
    state->transitions().back()->setTargetState(loop.state);
    loop.machine.registerEventTransiton(2, state->transitions().back());
    loop.machine.start();
    loop.machine.postEvent(1);
    state->entered.get_future().wait();
    loop.machine.postEvent(2);
    loop.machine.stop();
    EXPECT_TRUE(state->isActive()) << "its entry is still in progress";
    loop.machine.start(); // ignored while the worker of the first start still runs
    EXPECT_FALSE(loop.state->isActive());
    state->release.set_value();
    EXPECT_TRUE(waitUntil([&] { return loop.machine.currentChild() == nullptr && !state->isActive(); }));
    loop.machine.stop();
    EXPECT_EQ(state->exits, 1);
    EXPECT_NE(state->leftBy, std::this_thread::get_id());
    EXPECT_EQ(handledAfterStop, 0);
    EXPECT_EQ(loop.machine.pendingEvents(), 1U);
}

TEST(StateMachineAsync, StopInTheMiddleOfAnEntryLeavesTheWholeTree)
{
    CLoop loop(CStateMachine::ProcessingAsync);
    std::atomic<bool> stopped{false};
    auto* outer = new CState("outer", &loop.machine);
    auto* middle = new CState("middle", outer);
    auto* inner = new CState("inner", middle);
    outer->setInitialState(middle);
    middle->setInitialState(inner);
    loop.state->addEventTransitionTo(outer, 1);
    struct CStopper : sigslot::has_slots<sigslot::multi_threaded_local>
    {
        void onEntered(Kiv::CAbstractState* state)
        {
            state->machine()->stop();
            *done = true;
        }
        std::atomic<bool>* done = nullptr;
    } stopper;
    stopper.done = &stopped;
    middle->sigEntered.connect(&stopper, &CStopper::onEntered);
    loop.machine.start();
    loop.machine.postEvent(1);
    EXPECT_TRUE(waitUntil([&] { return stopped.load(); }));
    loop.machine.stop();
    EXPECT_FALSE(outer->isActive() || middle->isActive() || inner->isActive());
    loop.machine.start();
    EXPECT_TRUE(loop.state->isActive());
}

TEST(StateMachineAsync, StartAndStopInTurnsAndDestructionAtAnyMoment)
{
    for (int round = 0; round < 200; ++round)
    {
        CLoop loop(CStateMachine::ProcessingAsync);
        loop.on(1, [&] { loop.machine.postEvent(1); });
        loop.machine.start();
        for (int i = 0; i < round % 5; ++i)
            loop.machine.postEvent(1);
        if (round % 3 == 0)
        {
            loop.machine.postEvent(2);
            loop.machine.stop();
            loop.machine.start();
        }
    }
}

TEST(StateMachineAsync, WithoutActiveTopStateCanStillBeStopped)
{
    CLoop loop(CStateMachine::ProcessingAsync);
    auto* inner = new CState("inner", loop.state);
    loop.state->setInitialState(inner);
    loop.state->addEventTransitionTo(inner, 1);
    loop.machine.start();
    loop.machine.postEvent(1);
    EXPECT_TRUE(waitUntil([&] { return loop.machine.currentChild() == nullptr; }));
    loop.machine.stop();
    loop.machine.start();
    EXPECT_TRUE(loop.state->isActive());
}

TEST(StateMachine, QueueHasTheSizeThatItWasGivenAndPostersNeedNotWait)
{
    CStateMachine machine(CStateMachine::ProcessingSync, 3);
    machine.setInitialState(new CState("only", &machine));
    machine.start();
    EXPECT_EQ(machine.queueSize(), 3U);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(machine.tryPostEvent(1));
    EXPECT_FALSE(machine.tryPostEvent(1));
    EXPECT_EQ(machine.droppedEvents(), 0U) << "the poster knows";
    machine.postEvent(1);
    EXPECT_EQ(machine.droppedEvents(), 1U);
    machine.process();
    EXPECT_TRUE(machine.tryPostEvent(1));
    EXPECT_EQ(machine.pendingEvents(), 1U);
    EXPECT_EQ(machine.mostPendingEvents(), 3U);
    EXPECT_EQ(CStateMachine().queueSize(), 64U);
    EXPECT_EQ(CStateMachine(CStateMachine::ProcessingSync, 0).queueSize(), 1U);
}

TEST(StateMachine, TimersThatPostIntoAFullQueueCanBeStoppedByAHook)
{
    CLoop loop(CStateMachine::ProcessingAsync);
    Kiv::CAlarmTimer timer(1);
    std::promise<Clock::duration> stopped;
    loop.on(1, [&] {
        while (loop.machine.tryPostEvent(2))
        {}
        std::atomic<bool> isPosting{false};
        timer.setAlarmCallback([&] { return isPosting = true, loop.machine.postEvent(2), true; });
        timer.start();
        while (!isPosting)
            std::this_thread::yield();
        std::this_thread::sleep_for(5ms); // into the wait for room, most likely
        const auto begin = Clock::now();
        timer.stop();
        stopped.set_value(Clock::now() - begin);
    });
    loop.machine.start();
    loop.machine.postEvent(1);
    EXPECT_LT(stopped.get_future().get(), 90ms) << "both waited for each other";
    EXPECT_FALSE(timer.isStarted());
    loop.machine.stop();
}
