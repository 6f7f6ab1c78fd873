#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/TinySimpleFSM.h>

#include "support/StateTree.h"

using Kiv::CState;
using Kiv::CStateMachine;
using Kiv::CTransition;
using testing::ElementsAre;

namespace
{

/// Four regions, each a ring of three states: a dozen transitions for each of two events, in an order that makes
/// chains, and some from region to region.
struct CRings
{
    CRings()
    {
        auto* all = new CState("all", &machine);
        all->setChildMode(CState::ChildModeParallel);
        machine.setInitialState(all);
        for (int region = 0; region < 4; ++region)
        {
            auto* ring = new CState("ring", all);
            for (int i = 0; i < 3; ++i)
                states.push_back(new CState(std::to_string(states.size()), ring));
            ring->setInitialState(states[states.size() - 3]);
        }
        for (std::size_t i = 0; i < states.size(); ++i)
        {
            recorder.record(*states[i]);
            connect(i * 7 % states.size(), 0, 1);
            connect(i * 5 % states.size(), i % 4 == 0 ? 4 : 0, 2);
        }
        machine.start();
    }

    void connect(std::size_t from, std::size_t away, unsigned char event)
    {
        const std::size_t next = from - from % 3 + (from + 1) % 3;
        states[from]->addEventTransitionTo(states[(next + away) % states.size()], event);
    }

    CStateMachine machine;
    std::vector<CState*> states;
    CRecorder recorder;
};

} // namespace

TEST(EventDispatch, ManyTransitionsOfAnEventFireAsIfEachWereTried)
{
    CRings quick;
    CRings thorough; // a log would have a line for each transition that is tried in vain
    thorough.machine.setLogMessageCallback([](const std::string&) {});
    std::mt19937 random(15);
    for (int i = 0; i < 500; ++i)
    {
        if (i == 200)
        {
            for (CRings* rings : {&quick, &thorough})
                rings->connect(2, 3, 1); // while it runs
        }
        if (i % 100 == 99)
        {
            for (CRings* rings : {&quick, &thorough})
            {
                rings->machine.stop();
                rings->machine.start();
            }
        }
        const auto event = static_cast<unsigned char>(1 + random() % 2);
        quick.machine.processEvent(event);
        thorough.machine.processEvent(event);
        ASSERT_EQ(quick.recorder.take(), thorough.recorder.take()) << "event " << i;
    }
    quick.machine.stop();
    thorough.machine.stop();
}

TEST(EventDispatch, WaysAreThoseOfTheTreeAndTheTargetAsTheyAreNow)
{
    struct CElsewhere : CTransition
    {
        using CTransition::CTransition;
        void onTransition() override { setTargetState(other); }
        CState* other = nullptr;
    };
    CStateMachine machine;
    auto* a = new CState("A", &machine);
    auto* b = new CState("B", &machine);
    auto* b1 = new CState("B1", b);
    auto* b2 = new CState("B2", b);
    machine.setInitialState(a);
    b->setInitialState(b2);
    CTransition* const there = a->addEventTransitionTo(b1, 1);
    b->addEventTransitionTo(a, 2);
    CRecorder recorder;
    for (CState* state : {a, b, b1, b2})
        recorder.record(*state);
    machine.start();
    machine.processEvent(1);
    machine.processEvent(2);
    EXPECT_THAT(recorder.take(),
                ElementsAre("entered A", "exited A", "entered B", "entered B1", "exited B1", "exited B", "entered A"));
    machine.addState(b1); // out of its group
    machine.processEvent(1);
    EXPECT_THAT(recorder.take(), ElementsAre("exited A", "entered B1"));

    auto* const elsewhere = new CElsewhere(b1, "elsewhere");
    elsewhere->other = b2;
    elsewhere->setTargetState(a);
    b1->addTransition(elsewhere);
    elsewhere->trigger();
    EXPECT_THAT(recorder.take(), ElementsAre("exited B1", "entered B", "entered B2"));
    machine.processEvent(2);
    there->setTargetState(b);
    machine.processEvent(1);
    EXPECT_THAT(recorder.take(),
                ElementsAre("exited B2", "exited B", "entered A", "exited A", "entered B", "entered B2"));
    machine.stop();
}
