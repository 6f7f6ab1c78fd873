#include <algorithm>
#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/TinySimpleFSM.h>
#include <kiv/testkit/VirtualClock.h>

#include "support/StateTree.h"

using Kiv::CState;
using Kiv::CStateMachine;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace
{

/// A soaks for a minute, then B; B rests for 10 s, then A. Event 1 leads from A to C, event 2 from C to A.
struct CSoaking
{
    explicit CSoaking(CStateMachine::eProcessingType type) : machine(type)
    {
        machine.setInitialState(a);
        a->addTimeoutTransitionTo(b, 1min, "soaked");
        b->addTimeoutTransitionTo(a, 10s, "rested");
        a->addEventTransitionTo(c, 1);
        c->addEventTransitionTo(a, 2);
        for (CState* state : {a, b, c})
            recorder.record(*state);
        machine.start();
    }
    ~CSoaking() { machine.stop(); }

    Kiv::TestKit::CVirtualClock clock;
    CStateMachine machine;
    CState* a = new CState("A", &machine);
    CState* b = new CState("B", &machine);
    CState* c = new CState("C", &machine);
    CRecorder recorder;
};

} // namespace

TEST(Timeouts, OfASynchronousMachineFireInProcess)
{
    CSoaking soaking(CStateMachine::ProcessingSync);
    EXPECT_EQ(soaking.machine.nextDeadline().remaining(), 1min);
    ASSERT_EQ(soaking.clock.advance(1min - 1ns), 0);
    soaking.machine.process();
    EXPECT_THAT(soaking.recorder.take(), ElementsAre("entered A"));
    ASSERT_EQ(soaking.clock.advance(1ns), 0);
    soaking.machine.process();
    EXPECT_THAT(soaking.recorder.take(), ElementsAre("exited A", "entered B"));
    EXPECT_EQ(soaking.machine.nextDeadline().remaining(), 10s);
    soaking.machine.stop();
    EXPECT_TRUE(soaking.machine.nextDeadline().isNever());
}

TEST(Timeouts, NeverComeFromAnEarlierStay)
{
    CSoaking soaking(CStateMachine::ProcessingSync);
    ASSERT_EQ(soaking.clock.advance(59s), 0);
    for (const int event : {1, 2})
        soaking.machine.processEvent(static_cast<unsigned char>(event));
    soaking.recorder.take();
    ASSERT_EQ(soaking.clock.advance(59s), 0);
    soaking.machine.process();
    EXPECT_THAT(soaking.recorder.take(), IsEmpty());
    // Due and left by an event that was handled before it came to that.
    soaking.machine.postEvent(1);
    ASSERT_EQ(soaking.clock.advance(1s), 0);
    soaking.machine.processEvent(1);
    soaking.machine.process();
    EXPECT_THAT(soaking.recorder.take(), ElementsAre("exited A", "entered C"));
}

TEST(Timeouts, WakeTheWorkerInTime)
{
    CSoaking soaking(CStateMachine::ProcessingAsync);
    int passes = 0;
    soaking.b->enableDoActivity(true);
    const auto counting = soaking.b->sigProcessing.connect([&passes] { ++passes; });
    ASSERT_EQ(soaking.clock.advance(1min - 1ns), 0);
    EXPECT_THAT(soaking.recorder.take(), ElementsAre("entered A"));
    ASSERT_EQ(soaking.clock.advance(1ns), 0);
    EXPECT_THAT(soaking.recorder.take(), ElementsAre("exited A", "entered B"));
    ASSERT_EQ(soaking.clock.advance(5s), 0);
    EXPECT_NEAR(passes, 50, 1); // the rhythm is that of an idle machine
    ASSERT_EQ(soaking.clock.advance(24h), 0);
    const auto lines = soaking.recorder.take();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "entered A"), 1235); // after 10 s, then every 70 s
}

TEST(Timeouts, AnyNumberOfAStateUnderGuardsAndInternalOnes)
{
    const Kiv::TestKit::CVirtualClock clock;
    CStateMachine machine;
    auto* state = new CState("S", &machine);
    auto* end = new CState("end", &machine);
    machine.setInitialState(state);
    std::string log;
    state->addTimeoutTransitionTo(end, 3s)->setGuard("never", [&log] { return log.empty(); });
    state->addTimeoutTransitionTo(state, 2s)->setInternal()->setAction([&log] { log += "two "; });
    state->addTimeoutTransitionTo(state, 1s)->setInternal()->setAction([&log] { log += "one "; });
    state->addTimeoutTransitionTo(end, 4s);
    machine.start();
    for (const auto& wanted : {"one ", "one two ", "one two ", "one two "})
    {
        ASSERT_EQ(const_cast<Kiv::TestKit::CVirtualClock&>(clock).advance(1s), 0);
        machine.process();
        EXPECT_EQ(log, wanted);
    }
    EXPECT_TRUE(end->isActive());
    machine.stop();
}
