#include <kiv/Transition.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/StateTree.h"

using Kiv::CFinalState;
using Kiv::CState;
using Kiv::CStateMachine;
using Kiv::CTransition;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// A{A1{A11}, A2} and B{B1{B11, B12}} under a synchronous machine that starts in A, A1, A11; everything is recorded.
class Transition : public testing::Test
{
protected:
    Transition()
    {
        machine.setInitialState(a);
        a->setInitialState(a1);
        a1->setInitialState(a11);
        b->setInitialState(b1);
        b1->setInitialState(b11);
        recorder.recordLog(machine);
        machine.start();
        recorder.take();
    }

    CRecorder recorder;
    CStateMachine machine;
    CState* a = new CState("A", &machine);
    CState* a1 = new CState("A1", a);
    CState* a11 = new CState("A11", a1);
    CState* a2 = new CState("A2", a);
    CState* b = new CState("B", &machine);
    CState* b1 = new CState("B1", b);
    CState* b11 = new CState("B11", b1);
    CState* b12 = new CState("B12", b1);
};

struct CHooked : CTransition
{
    CHooked(CState* source, CRecorder& rec) : CTransition(source, "hooked"), recorder(rec) {}
    void onTransition() override
    {
        sourceWasActive = source()->isActive();
        targetWasActive = target()->isActive();
        machine()->logMessage("hook");
    }
    CRecorder& recorder;
    bool sourceWasActive = true;
    bool targetWasActive = true;
};

} // namespace

TEST_F(Transition, AcrossGroupsLeavesInsideOutAndEntersOutsideIn)
{
    auto* transition = new CHooked(a11, recorder);
    transition->setTargetState(b12);
    a11->addTransition(transition);
    recorder.record(*transition);
    recorder.record(machine);
    transition->trigger();
    EXPECT_THAT(recorder.take(), ElementsAre("A11 ---[hooked::onTransition()]---> B12", "A11::onExit", "A1::onExit",
                                             "A::onExit", "hook", "fired hooked", "B::onEntry", "B1::onEntry",
                                             "B12::onEntry", "done B12", "done B1", "done B"));
    EXPECT_FALSE(transition->sourceWasActive || transition->targetWasActive);
    EXPECT_EQ(machine.currentChild(), b);
    EXPECT_EQ(b1->currentChild(), b12);
    EXPECT_FALSE(b11->isActive());
}

TEST_F(Transition, ToACompoundTargetEntersItsInitialChild)
{
    a->addTransitionTo(b1, "t")->trigger();
    EXPECT_TRUE(b->isActive() && b1->isActive() && b11->isActive());
}

TEST_F(Transition, ToItselfLeavesAndReenters)
{
    CTransition* again = a1->addTransitionTo(a1, "again");
    recorder.record(*again);
    again->trigger();
    EXPECT_THAT(recorder.take(), ElementsAre("A1 ---[again::onTransition()]---> A1", "A11::onExit", "A1::onExit",
                                             "fired again", "A1::onEntry", "A11::onEntry"));
    EXPECT_EQ(a->currentChild(), a1);
}

TEST_F(Transition, IntoItsOwnInsideLeavesTheSourceInactive)
{
    a->addTransitionTo(a2, "in")->trigger();
    EXPECT_FALSE(a->isActive());
    EXPECT_TRUE(a2->isActive());
    EXPECT_EQ(machine.currentChild(), nullptr);
    machine.process();
    machine.stop();
}

TEST_F(Transition, ThatCannotFireChangesNothingAndSaysWhy)
{
    CState elsewhere("elsewhere");
    const struct
    {
        const char* row;
        CTransition* transition;
        const char* line;
    } rows[] = {
        {"inactive source", b->addTransitionTo(a, "t"), "t::doTrigger(): source state not active!!!"},
        {"no target", a->addTransitionTo(nullptr, "t"), "t::doTrigger(): No target state!!!"},
        {"target contains source", a11->addTransitionTo(a, "t"),
         "t::doTrigger(): target state contains the source state!!!"},
        {"target is the machine", a->addTransitionTo(&machine, "t"),
         "t::doTrigger(): target state contains the source state!!!"},
        {"another tree", a->addTransitionTo(&elsewhere, "t"),
         "t::doTrigger(): source and target have no common parent state!!!"},
    };
    for (const auto& row : rows)
    {
        row.transition->trigger();
        EXPECT_THAT(recorder.take(), ElementsAre(row.line)) << row.row;
        EXPECT_TRUE(a->isActive() && a1->isActive() && a11->isActive()) << row.row;
    }
    EXPECT_FALSE(elsewhere.isActive());
}

TEST_F(Transition, WithoutSourceOrMachineDoesNotCrash)
{
    CTransition noSource(nullptr, "t");
    noSource.trigger();
    noSource.trigger(CTransition::TriggerQueued);
    EXPECT_EQ(noSource.machine(), nullptr);
    CState loose("loose");
    CTransition noMachine(&loose, "t");
    noMachine.trigger();
    noMachine.trigger(CTransition::TriggerQueued);
    EXPECT_EQ(loose.addEventTransitionTo(&loose, 1), nullptr);
    EXPECT_THAT(loose.transitions(), IsEmpty());
}

TEST_F(Transition, OnCompletionFiresOnlyWhenTheQueueIsProcessed)
{
    CTransition* onward = a->addFinishedTransitionTo(b);
    EXPECT_EQ(onward->name(), "AFinished");
    EXPECT_TRUE(onward->isFinishedTransition());
    EXPECT_FALSE(a->addTransitionTo(b, "plain")->isFinishedTransition());
    a1->addTransitionTo(new CFinalState("End", a))->trigger();
    EXPECT_TRUE(a->isFinished() && a->isActive());
    EXPECT_EQ(machine.pendingEvents(), 1U);
    machine.process();
    EXPECT_TRUE(b->isActive());
    EXPECT_FALSE(a->isActive());
}

TEST_F(Transition, QueuedTwiceFiresAsOftenAsItsSourceIsActive)
{
    CTransition* transition = a1->addTransitionTo(a2, "t");
    transition->trigger(CTransition::TriggerQueued);
    transition->trigger(CTransition::TriggerQueued);
    EXPECT_TRUE(a1->isActive());
    recorder.take();
    machine.process();
    EXPECT_TRUE(a2->isActive());
    EXPECT_EQ(recorder.take().back(), "t::doTrigger(): source state not active!!!");
}
