#include <map>
#include <random>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/TinySimpleFSM.h>

#include "support/StateTree.h"
#include "support/WaitUntil.h"

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

namespace
{

/// Two regions, each three levels deep, and random transitions of three events under guards that depend on how many
/// events there were; and the rule of dispatch as drawn, written down a second time.
struct CDrawing
{
    explicit CDrawing(unsigned seed) : random(seed)
    {
        machine.setDispatch(CStateMachine::DispatchAsDrawn);
        group->setChildMode(CState::ChildModeParallel);
        machine.setInitialState(group);
        for (const char* name : {"R1", "R2"})
            grow(new CState(name, group), 0);
        divisors[elsewhere->addEventTransitionTo(group, 0, "back")] = 1;
        states.push_back(elsewhere);
        for (int i = 0; i < 60; ++i)
            addRandomTransition(std::to_string(i));
        for (CState* state : states)
            for (CTransition* transition : state->transitions())
                recorder.record(*transition);
        machine.start();
    }
    ~CDrawing() { machine.stop(); }

    void grow(CState* state, int depth)
    {
        states.push_back(state);
        if (depth == 2)
            return;
        for (int i = 0; i < 3; ++i)
            grow(new CState(state->name() + std::to_string(i), state), depth + 1);
        state->addHistoryState(random() % 2 == 0 ? Kiv::HistoryDeep : Kiv::HistoryShallow)
            ->setDefaultState(state->children().front());
    }

    /// To where the arrows of a drawing go: beside the source, back to itself, or out of the group.
    void addRandomTransition(const std::string& name)
    {
        CState* const source = states[random() % (states.size() - 1)];
        CState* target = states[random() % states.size()];
        const auto* const common = source->commonParentState(target);
        if (random() % 8 == 0 || common == group || (target != source && (common == source || common == target)))
            target = elsewhere;
        CTransition* const transition =
            source->addEventTransitionTo(target, static_cast<unsigned char>(random() % 3), name);
        if (random() % 4 == 0)
            transition->setInternal();
        const unsigned divisor = divisors[transition] = 1 + static_cast<unsigned>(random() % 3);
        transition->setGuard("every nth", [this, divisor] { return count % divisor == 0; });
    }

    /// What the event has to fire below a state, in order.
    std::vector<const CTransition*> chosen(const CState& state, unsigned char event) const
    {
        std::vector<const CTransition*> found;
        for (const Kiv::CAbstractState* child : state.children())
            if (child->isActive())
                for (const CTransition* inner : chosen(static_cast<const CState&>(*child), event))
                    found.push_back(inner);
        for (const CTransition* transition : state.transitions())
            if (found.empty() && machine.eventsOf(transition)[0] == event && count % divisors.at(transition) == 0)
                found.push_back(transition);
        return found;
    }

    std::mt19937 random;
    CStateMachine machine;
    CState* group = new CState("G", &machine);
    CState* elsewhere = new CState("Z", &machine);
    std::vector<CState*> states;
    std::map<const CTransition*, unsigned> divisors;
    CRecorder recorder;
    unsigned count = 0;
};

} // namespace

TEST(EventDispatch, AsDrawnFiresWhatTheRuleSays)
{
    std::size_t firedTotal = 0;
    for (unsigned seed = 0; seed < 60; ++seed)
    {
        CDrawing drawing(seed);
        for (drawing.count = 1; drawing.count < 60; ++drawing.count)
        {
            const auto event = static_cast<unsigned char>(drawing.random() % 3);
            CRecorder::Lines wanted;
            for (const CTransition* transition : drawing.chosen(drawing.machine, event))
            {
                wanted.push_back("fired " + transition->name());
                if (transition->target() == drawing.elsewhere)
                    break; // the other region is left with this one and loses its turn
            }
            drawing.machine.processEvent(event);
            const auto fired = drawing.recorder.take();
            firedTotal += fired.size();
            ASSERT_EQ(fired, wanted) << "seed " << seed << ", event " << drawing.count;
        }
    }
    EXPECT_GT(firedTotal, 1000U);
}

TEST(EventDispatch, GuardsActionsAndInternalTransitions)
{
    enum class eEvent
    {
        Toggle,
        Note,
        Far = 300
    };
    for (const auto dispatch : {CStateMachine::DispatchInOrder, CStateMachine::DispatchAsDrawn})
    {
        CStateMachine machine;
        machine.setDispatch(dispatch);
        auto* off = new CState("off", &machine);
        auto* on = new CState("on", &machine);
        machine.setInitialState(off);
        bool isFull = true;
        std::vector<std::string> notes;
        CRecorder recorder;
        recorder.recordLog(machine);
        on->addEventTransitionTo(off, eEvent::Toggle, "off");
        off->addEventTransitionTo(on, eEvent::Toggle, "on")->setGuard("not full", [&isFull] { return !isFull; });
        on->addInternalTransition(
            eEvent::Note, [&notes] { notes.push_back("noted"); }, "note");
        EXPECT_EQ(on->addEventTransitionTo(off, eEvent::Far), nullptr);
        EXPECT_EQ(off->transitions()[0]->guardName(), "not full");
        machine.start();
        recorder.take();
        const auto post = [&machine](eEvent event) {
            machine.postEvent(event);
            machine.process();
        };
        post(eEvent::Toggle); // what a guard refuses has no line
        const bool inOrder = dispatch == CStateMachine::DispatchInOrder;
        const CRecorder::Lines refused{"off::doTrigger(): source state not active!!!"};
        EXPECT_EQ(recorder.take(), inOrder ? refused : CRecorder::Lines());
        isFull = false;
        post(eEvent::Toggle);
        recorder.take();
        EXPECT_TRUE(on->isActive());
        post(eEvent::Note);
        EXPECT_THAT(recorder.take(), ElementsAre("on ---[note::onTransition()]---> on"));
        EXPECT_THAT(notes, ElementsAre("noted"));
        machine.postEvent(eEvent::Far);
        EXPECT_EQ(machine.pendingEvents(), 0U);
        machine.stop();
    }
}

TEST(EventDispatch, AsDrawnAToggleTogglesOnceAndTheInnerStateWins)
{
    CStateMachine machine;
    machine.setDispatch(CStateMachine::DispatchAsDrawn);
    auto* group = new CState("group", &machine);
    auto* off = new CState("off", group);
    auto* on = new CState("on", group);
    auto* fault = new CState("fault", &machine);
    machine.setInitialState(group);
    group->setInitialState(off);
    group->addEventTransitionTo(fault, 1);
    on->addEventTransitionTo(off, 1);
    off->addEventTransitionTo(on, 1);
    machine.start();
    machine.processEvent(1);
    EXPECT_TRUE(on->isActive());
    auto* late = new CState("late", group); // while it runs
    on->addEventTransitionTo(late, 2);
    machine.processEvent(2);
    EXPECT_TRUE(late->isActive());
    machine.processEvent(1);
    EXPECT_TRUE(fault->isActive());
    machine.stop();
}

TEST(EventDispatch, AValueTravelsWithItsEvent)
{
    struct SLevel
    {
        double litres;
        int tank;
    };
    CStateMachine machine;
    auto* state = new CState("S", &machine);
    auto* full = new CState("full", &machine);
    machine.setInitialState(state);
    state->addEventTransitionTo(full, 1)->setGuard("full", [&machine] { return machine.value<SLevel>()->litres > 10; });
    std::vector<int> tanks;
    full->addInternalTransition(1, [&] { tanks.push_back(machine.value<SLevel>().value_or(SLevel{0, -1}).tank); });
    machine.start();
    machine.postEvent(1, SLevel{5, 1});
    machine.postEvent(1, SLevel{15, 2});
    machine.postEvent(1, 7); // of another type
    machine.postEvent(1);
    machine.postEvent(1, SLevel{15, 3});
    machine.process();
    EXPECT_TRUE(full->isActive());
    EXPECT_THAT(tanks, ElementsAre(2, -1, -1, 3)); // in order, the second event goes on from where it has led to
    EXPECT_FALSE(machine.value<SLevel>());
    machine.stop();
}

TEST(EventDispatch, TheEndIsAskedForFromInside)
{
    CStateMachine machine;
    auto* state = new CState("S", &machine);
    machine.setInitialState(state);
    state->addInternalTransition(1, [&machine] { machine.requestEnd(); });
    state->enableDoActivity(true);
    CRecorder recorder;
    recorder.record(*state);
    machine.start();
    machine.postEvent(1);
    machine.postEvent(2);
    machine.process();
    EXPECT_THAT(recorder.take(), ElementsAre("entered S", "exited S"));
    EXPECT_EQ(machine.pendingEvents(), 1U);

    CStateMachine worker(CStateMachine::ProcessingAsync);
    auto* busy = new CState("busy", &worker);
    worker.setInitialState(busy);
    busy->addInternalTransition(1, [&worker] { worker.requestEnd(); });
    worker.start();
    worker.postEvent(1);
    EXPECT_TRUE(waitUntil([busy] { return !busy->isActive(); }));
}
