#include <kiv/State.h>

#include <functional>
#include <memory>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/StateTree.h"

using Kiv::CFinalState;
using Kiv::CHistoryState;
using Kiv::CState;
using Kiv::CStateMachine;
using Kiv::CTransition;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// A{A1, A2} and B under a synchronous machine that starts in A, A1.
struct CTwoGroups
{
    CStateMachine machine;
    CState* a = new CState("A", &machine);
    CState* a1 = new CState("A1", a);
    CState* a2 = new CState("A2", a);
    CState* b = new CState("B", &machine);
    CRecorder recorder;

    CTwoGroups()
    {
        machine.setInitialState(a);
        a->setInitialState(a1);
    }
};

/// Does what it is told to in its constructor, then throws.
template<class Base>
struct CThrowing : Base
{
    CThrowing(CState* parent, const std::function<void(CThrowing&)>& act) : Base("throwing", parent)
    {
        act(*this);
        throw std::runtime_error("constructor");
    }
};

template<class Base>
void constructInVain(
    CState* parent, const std::function<void(CThrowing<Base>&)>& act = [](auto&) {})
{
    EXPECT_THROW(new CThrowing<Base>(parent, act), std::runtime_error);
}

/// Fires a transition the first time that it hears of an exit.
struct CFiringOnExit : sigslot::has_slots<>
{
    void onExited(Kiv::CAbstractState*)
    {
        if (CTransition* const fired = std::exchange(transition, nullptr))
            fired->trigger();
    }
    CTransition* transition = nullptr;
};

} // namespace

TEST(State, EntryGoesInwardsAndTheMachinesNoticeOutwards)
{
    CTwoGroups tree;
    auto* inner = new CState("A11", tree.a1);
    tree.a1->setInitialState(inner);
    tree.recorder.recordLog(tree.machine);
    tree.recorder.record(tree.machine);
    for (CState* state : {tree.a, tree.a1, inner})
        tree.recorder.record(*state);
    tree.machine.start();
    EXPECT_THAT(tree.recorder.take(), ElementsAre("entered A", "A::onEntry", "entered A1", "A1::onEntry", "entered A11",
                                                  "A11::onEntry", "done A11", "done A1", "done A", "started"));
    tree.machine.stop();
    EXPECT_THAT(tree.recorder.take(),
                ElementsAre("A11::onExit", "exited A11", "A1::onExit", "exited A1", "A::onExit", "exited A"));
    EXPECT_FALSE(tree.a->isActive() || tree.a1->isActive() || inner->isActive());
}

TEST(State, ParentStaysActiveWhileItsChildrenLeave)
{
    struct CProbe : CState
    {
        using CState::CState;
        void onExit() override
        {
            parentWasActive = parentState()->isActive();
            CState::onExit();
        }
        bool parentWasActive = false;
    };
    CStateMachine machine;
    auto* group = new CState("G", &machine);
    auto* probe = new CProbe("P", group);
    machine.setInitialState(group);
    group->setInitialState(probe);
    machine.start();
    EXPECT_EQ(group->currentChild(), probe);
    machine.stop();
    EXPECT_TRUE(probe->parentWasActive);
    EXPECT_EQ(group->currentChild(), nullptr);
}

TEST(State, PlaceInTheTree)
{
    CTwoGroups tree;
    auto* loose = new CState("loose");
    auto* below = new CState("below", loose);
    EXPECT_EQ(tree.machine.hierarchyLevel(), 0);
    EXPECT_EQ(tree.a->hierarchyLevel(), 1);
    EXPECT_EQ(tree.a1->hierarchyLevel(), 2);
    EXPECT_EQ(below->hierarchyLevel(), 1);

    EXPECT_EQ(tree.a1->parentAtLevel(-1), tree.a1);
    EXPECT_EQ(tree.a1->parentAtLevel(0), tree.a);
    EXPECT_EQ(tree.a1->parentAtLevel(1), &tree.machine);
    EXPECT_EQ(tree.a1->parentAtLevel(7), nullptr);

    EXPECT_EQ(tree.a1->commonParentState(tree.a2), tree.a);
    EXPECT_EQ(tree.a1->commonParentState(tree.b), &tree.machine);
    EXPECT_EQ(tree.b->commonParentState(tree.a1), &tree.machine);
    EXPECT_EQ(tree.a->commonParentState(tree.a2), tree.a);
    EXPECT_EQ(tree.a2->commonParentState(tree.a), tree.a);
    EXPECT_EQ(tree.a1->commonParentState(below), nullptr);
    EXPECT_EQ(tree.a1->commonParentState(nullptr), nullptr);

    EXPECT_EQ(tree.machine.machine(), nullptr);
    EXPECT_EQ(tree.a1->machine(), &tree.machine);
    EXPECT_EQ(below->machine(), nullptr);
    tree.b->addState(loose);
    EXPECT_EQ(below->machine(), &tree.machine);
    EXPECT_EQ(loose->parentState(), tree.b);
}

TEST(State, AddingAChildOrTransitionTwiceOwnsItOnce)
{
    CTwoGroups tree;
    tree.a->addState(tree.a1);
    tree.a->addState(nullptr);
    EXPECT_THAT(tree.a->children(), ElementsAre(tree.a1, tree.a2));
    CTransition* transition = tree.a->addTransitionTo(tree.b);
    tree.a->addTransition(transition);
    tree.a->addTransition(nullptr);
    EXPECT_THAT(tree.a->transitions(), ElementsAre(transition));
}

TEST(State, ParallelGroupEntersProcessesAndLeavesAllChildrenInOrder)
{
    CTwoGroups tree;
    tree.a->setChildMode(CState::ChildModeParallel);
    EXPECT_EQ(tree.a->initialState(), nullptr);
    for (CState* state : {tree.a, tree.a1, tree.a2})
        tree.recorder.record(*state);
    tree.machine.start();
    EXPECT_THAT(tree.recorder.take(), ElementsAre("entered A", "entered A1", "entered A2"));
    tree.a->enableDoActivity(true);
    tree.a2->enableDoActivity(true);
    tree.machine.process();
    EXPECT_THAT(tree.recorder.take(), ElementsAre("processing A2", "processing A"));
    tree.machine.stop();
    EXPECT_THAT(tree.recorder.take(), ElementsAre("exited A1", "exited A2", "exited A"));
}

TEST(State, ExclusiveGroupWithoutInitialStateEntersNothingBelow)
{
    CTwoGroups tree;
    tree.a->setInitialState(nullptr);
    tree.machine.start();
    tree.machine.process();
    EXPECT_TRUE(tree.a->isActive());
    EXPECT_FALSE(tree.a1->isActive());
}

TEST(State, FinalChildFinishesItsGroupAndAFullyFinishedParallelParent)
{
    CStateMachine machine;
    CRecorder recorder;
    auto* both = new CState("P", &machine);
    both->setChildMode(CState::ChildModeParallel);
    machine.setInitialState(both);
    CTransition* finish[2] = {};
    for (int i = 0; i < 2; ++i)
    {
        auto* region = new CState("R" + std::to_string(i), both);
        auto* work = new CState("W", region);
        region->setInitialState(work);
        finish[i] = work->addTransitionTo(new CFinalState("F", region));
        recorder.recordFinished(*region);
    }
    recorder.recordFinished(*both);
    machine.start();
    EXPECT_FALSE(both->isFinished());
    finish[0]->trigger();
    EXPECT_THAT(recorder.take(), ElementsAre("finished R0"));
    finish[1]->trigger();
    EXPECT_THAT(recorder.take(), ElementsAre("finished R1", "finished P"));
    EXPECT_TRUE(both->isFinished());
}

TEST(State, ParallelGroupWithoutCompoundChildrenIsFinished)
{
    CState group("G");
    group.setChildMode(CState::ChildModeParallel);
    EXPECT_TRUE(group.isFinished());
    group.setChildMode(CState::ChildModeExclusive);
    EXPECT_FALSE(group.isFinished());
}

TEST(State, LeaveDeclaresAGroupFinished)
{
    CState group("G");
    CRecorder recorder;
    recorder.recordFinished(group);
    group.leave();
    EXPECT_THAT(recorder.take(), ElementsAre("finished G"));
}

TEST(HistoryState, ResumesTheChildButNotWhatLayBelowIt)
{
    CTwoGroups tree;
    auto* first = new CState("A21", tree.a2);
    auto* second = new CState("A22", tree.a2);
    tree.a2->setInitialState(first);
    CHistoryState* history = tree.a->addHistoryState();
    EXPECT_EQ(history->name(), "A_History");
    EXPECT_EQ(tree.a->initialState(), history);
    EXPECT_THAT(tree.a->children(), ElementsAre(tree.a1, tree.a2));
    history->setDefaultState(tree.a1);

    tree.machine.start();
    EXPECT_TRUE(tree.a1->isActive());
    tree.a1->addTransitionTo(second)->trigger();
    EXPECT_TRUE(second->isActive());
    tree.a->addTransitionTo(tree.b)->trigger();
    tree.b->addTransitionTo(tree.a)->trigger();
    EXPECT_EQ(tree.a->currentChild(), tree.a2);
    EXPECT_EQ(tree.a2->currentChild(), first);
}

TEST(HistoryState, DeepOneResumesAllLevelsAsTheyWereWhenTheGroupWasLeft)
{
    CStateMachine machine;
    auto* batch = new CState("batch", &machine);
    auto* fault = new CState("fault", &machine);
    auto* both = new CState("both", batch);
    both->setChildMode(CState::ChildModeParallel);
    std::vector<CState*> inner;
    for (const char* name : {"left", "right"})
    {
        auto* region = new CState(name, both);
        for (const char* step : {"1", "2"})
            inner.push_back(new CState(name + std::string(step), region));
        region->setInitialState(inner[inner.size() - 2]);
        inner[inner.size() - 2]->addEventTransitionTo(inner.back(), static_cast<unsigned char>(inner.size()));
    }
    batch->addHistoryState(Kiv::HistoryDeep)->setDefaultState(both);
    machine.setInitialState(batch);
    batch->addEventTransitionTo(fault, 10);
    fault->addEventTransitionTo(batch, 11);
    machine.start();
    EXPECT_TRUE(inner[0]->isActive() && inner[2]->isActive());
    machine.processEvent(4); // right2
    for (const int event : {10, 11})
        machine.processEvent(static_cast<unsigned char>(event));
    EXPECT_TRUE(inner[0]->isActive() && inner[3]->isActive());
    machine.processEvent(2); // left2
    batch->historyState()->setHistoryType(Kiv::HistoryShallow);
    for (const int event : {10, 11})
        machine.processEvent(static_cast<unsigned char>(event));
    EXPECT_TRUE(inner[0]->isActive() && inner[2]->isActive());
    machine.stop();
}

TEST(HistoryState, WithNothingToResumeEntersNothingAndNeverItself)
{
    CTwoGroups tree;
    CHistoryState* history = tree.a->addHistoryState();
    CTransition* leave = tree.a->addTransitionTo(tree.b);
    CTransition* back = tree.b->addTransitionTo(tree.a);
    tree.machine.start();
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(tree.a->isActive());
        EXPECT_FALSE(tree.a1->isActive() || tree.a2->isActive());
        tree.machine.process();
        leave->trigger();
        EXPECT_TRUE(tree.b->isActive());
        back->trigger();
    }
    EXPECT_TRUE(history->isActive());
}

TEST(HistoryState, AsTargetEntersTheInactiveGroupAndSwitchesWithinTheActiveOne)
{
    CTwoGroups tree;
    auto* history = new CHistoryState("H", tree.a);
    history->setDefaultState(tree.a2);
    tree.machine.setInitialState(tree.b);
    tree.machine.start();
    tree.b->addTransitionTo(history)->trigger();
    EXPECT_TRUE(tree.a->isActive() && tree.a2->isActive());
    tree.a2->addTransitionTo(history)->trigger();
    EXPECT_TRUE(tree.a->isActive() && tree.a2->isActive());
}

TEST(HistoryState, DirectlyEnteredWakesItsInactiveGroup)
{
    CTwoGroups tree;
    auto* history = new CHistoryState("H", tree.a);
    history->setDefaultState(tree.a2);
    history->enter();
    EXPECT_TRUE(tree.a->isActive());
    EXPECT_EQ(tree.a->currentChild(), tree.a2);
}

TEST(HistoryState, OfTheMachineResumesAfterStop)
{
    CTwoGroups tree;
    tree.machine.addHistoryState()->setDefaultState(tree.a);
    tree.machine.start();
    EXPECT_TRUE(tree.a->isActive());
    tree.a->addTransitionTo(tree.b)->trigger();
    tree.machine.stop();
    EXPECT_FALSE(tree.b->isActive());
    tree.machine.start();
    EXPECT_EQ(tree.machine.currentChild(), tree.b);
}

TEST(HistoryState, RefusesADefaultFromElsewhereWithALogLine)
{
    CTwoGroups tree;
    CHistoryState* history = tree.a->addHistoryState();
    history->setDefaultState(tree.a2);
    tree.recorder.recordLog(tree.machine);
    char expected[128];
    for (Kiv::CAbstractState* wrong :
         {static_cast<Kiv::CAbstractState*>(tree.b), static_cast<Kiv::CAbstractState*>(history)})
    {
        history->setDefaultState(wrong);
        std::snprintf(expected, sizeof expected,
                      "CHistoryState::setDefaultState: state %p  - %s does not belong to this history state's group "
                      "(%p - $s)",
                      static_cast<void*>(wrong), wrong->name().c_str(), static_cast<void*>(tree.a));
        EXPECT_THAT(tree.recorder.take(), ElementsAre(expected));
    }
    tree.machine.start();
    EXPECT_TRUE(tree.a2->isActive());
}

TEST(HistoryState, StandingForEachOtherEnterNothing)
{
    CTwoGroups tree;
    CHistoryState* histories[] = {new CHistoryState("H1", tree.a), new CHistoryState("H2", tree.a),
                                  new CHistoryState("H3", tree.a)};
    histories[0]->setDefaultState(histories[1]);
    histories[1]->setDefaultState(histories[2]);
    histories[2]->setDefaultState(tree.a2);
    tree.machine.setInitialState(tree.b);
    tree.machine.start();
    CTransition* const toFirst = tree.b->addTransitionTo(histories[0]);
    CTransition* const back = tree.a->addTransitionTo(tree.b);
    toFirst->trigger();
    EXPECT_TRUE(tree.a2->isActive()) << "a chain that ends";
    back->trigger();

    CHistoryState* circle[] = {new CHistoryState("C1", tree.a), new CHistoryState("C2", tree.a)};
    circle[0]->setDefaultState(circle[1]);
    circle[1]->setDefaultState(circle[0]);
    tree.b->addTransitionTo(circle[0])->trigger();
    EXPECT_FALSE(tree.a1->isActive() || tree.a2->isActive());
    circle[1]->setDefaultState(tree.a1);
    back->trigger();
    tree.b->addTransitionTo(circle[0])->trigger();
    EXPECT_TRUE(tree.a1->isActive()) << "a circle that was opened";
}

TEST(State, WhoseConstructorThrowsIsGoneFromEveryPlace)
{
    CTwoGroups tree;
    CHistoryState* const history = tree.a->addHistoryState();
    tree.machine.start();
    CTransition* const inwards = tree.b->addTransitionTo(nullptr, "inwards");
    CTransition* const toIt = tree.a1->addTransitionTo(nullptr, "to it");
    constructInVain<CState>(tree.a, [&](CState& state) {
        auto* const inner = new CState("inner", &state);
        inner->addEventTransitionTo(tree.a1, 7);
        state.addEventTransitionTo(tree.b, 7)->trigger(CTransition::TriggerQueued);
        inwards->setTargetState(inner);
        toIt->setTargetState(&state);
        history->setDefaultState(&state);
        tree.a->setInitialState(&state);
        history->enter(); // remembers it and enters it
        EXPECT_EQ(tree.a->currentChild(), &state);
    });
    EXPECT_THAT(tree.a->children(), ElementsAre(tree.a1, tree.a2));
    EXPECT_EQ(tree.a->initialState(), nullptr);
    EXPECT_EQ(tree.a->currentChild(), nullptr);
    EXPECT_EQ(history->defaultState(), nullptr);
    EXPECT_EQ(inwards->target(), nullptr);
    EXPECT_EQ(toIt->target(), nullptr);
    EXPECT_THAT(tree.machine.transitionsOf(7), IsEmpty());
    tree.machine.postEvent(7);
    tree.machine.process();
    history->enter();
    EXPECT_EQ(tree.a->currentChild(), nullptr) << "nothing is remembered";
}

TEST(State, WhoseConstructorThrowsLeavesItsGroupWorking)
{
    CTwoGroups tree;
    tree.a->setChildMode(CState::ChildModeParallel);
    constructInVain<CState>(tree.a);
    CHistoryState* const history = tree.b->addHistoryState();
    constructInVain<CHistoryState>(tree.b);
    EXPECT_THAT(tree.b->historyStates(), ElementsAre(history));
    auto* const done = new CFinalState("done", tree.b);
    constructInVain<CFinalState>(tree.b);
    tree.machine.start();
    EXPECT_TRUE(tree.a1->isActive() && tree.a2->isActive());
    tree.a->addTransitionTo(done)->trigger();
    EXPECT_TRUE(tree.b->isFinished());

    CState other("other");
    other.addState(tree.a2); // moves: it has one owner
    EXPECT_THAT(tree.a->children(), ElementsAre(tree.a1));
    EXPECT_EQ(tree.a2->parentState(), &other);
}

TEST(State, FindsTheMachineWholeInItsDestructor)
{
    struct CLooking : CState
    {
        using CState::CState;
        ~CLooking() override
        {
            machine()->logMessage("%s of %zu", name().c_str(), parentState()->children().size() + 1);
            EXPECT_TRUE(machine()->isAsync());
            EXPECT_THAT(machine()->transitionsOf(1), IsEmpty());
            machine()->processEvent(1);
            EXPECT_EQ(machine()->pendingEvents(), 0U);
            EXPECT_EQ(machine()->currentChild(), nullptr);
        }
    };
    CRecorder recorder;
    {
        CStateMachine machine(CStateMachine::ProcessingAsync);
        recorder.recordLog(machine);
        auto* const first = new CLooking("first", &machine);
        auto* const second = new CLooking("second", &machine);
        new CLooking("inner", second);
        machine.setInitialState(first);
        first->addEventTransitionTo(second, 1);
        machine.start();
        machine.stop();
        recorder.take();
    }
    EXPECT_THAT(recorder.take(), ElementsAre("first of 2", "second of 1", "inner of 1"));
}

TEST(State, EnteredByAReceiverWhileTheMachineStopsIsLeftByTheNextStopOrStart)
{
    for (const bool startsAtOnce : {false, true})
    {
        CTwoGroups tree;
        CFiringOnExit receiver;
        receiver.transition = tree.a->addTransitionTo(tree.b);
        tree.a->sigExited.connect(&receiver, &CFiringOnExit::onExited);
        tree.machine.start();
        tree.machine.stop();
        EXPECT_EQ(tree.machine.currentChild(), tree.b);
        EXPECT_TRUE(tree.b->isActive() && !tree.a->isActive());
        if (startsAtOnce)
            tree.machine.start();
        else
            tree.machine.stop();
        EXPECT_FALSE(tree.b->isActive());
        EXPECT_EQ(tree.machine.currentChild(), startsAtOnce ? tree.a : nullptr);
    }
}

TEST(State, PathNamesTheWayFromTheMachineDown)
{
    CTwoGroups tree;
    EXPECT_EQ(tree.a2->path(), "A.A2");
    EXPECT_EQ((new CState("", tree.a2))->path(), "A.A2.(unnamed)");
    EXPECT_EQ(tree.machine.path(), "Statemachine");
    CState loose("loose");
    EXPECT_EQ((new CState("inner", &loose))->path(), "loose.inner");
}
