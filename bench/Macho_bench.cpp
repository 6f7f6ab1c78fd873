// One chart, A{A1, A2} and B, in every way that there is to write it: as a switch by hand, as a typed machine, with
// Boost.MSM, with Boost.Statechart and with the framework of this library that builds its charts at run time. Events
// are numbers that the compiler does not see through; the machine lies in memory; every entry and exit is counted, and
// the counts are compared at the end. Allocations are counted in a pass of its own.

#include <kiv/Macho.h>

#include <cstddef>
#include <cstring>

#include <boost/msm/back/state_machine.hpp>
#include <boost/msm/front/functor_row.hpp>
#include <boost/msm/front/state_machine_def.hpp>
#include <boost/statechart/event.hpp>
#include <boost/statechart/simple_state.hpp>
#include <boost/statechart/state_machine.hpp>
#include <boost/statechart/transition.hpp>

#include <kiv/TinySimpleFSM.h>

#include "allocations.h"

namespace
{

enum eEventNo : int
{
    EventToA1,
    EventToA2,
    EventToA,
    EventToB
};

enum eStateNo : int
{
    StateA,
    StateA1,
    StateA2,
    StateB
};

struct Counts
{
    unsigned long entered[4];
    unsigned long left[4];
} counts;

inline void entered(eStateNo state) { ++counts.entered[state]; }
inline void left(eStateNo state) { ++counts.left[state]; }

struct ToA1
{};
struct ToA2
{};
struct ToA
{};
struct ToB
{};

/// Hands the event of a number to a machine.
template<class Fire>
inline void fireTyped(int eventNo, const Fire& fire)
{
    switch (eventNo)
    {
    case EventToA1:
        return fire(ToA1());
    case EventToA2:
        return fire(ToA2());
    case EventToA:
        return fire(ToA());
    case EventToB:
        return fire(ToB());
    default:
        return;
    }
}

// ---- by hand

class CSwitch
{
public:
    void start()
    {
        entered(StateA);
        enterA1();
    }

    void fire(int eventNo)
    {
        switch (eventNo)
        {
        case EventToA1:
            if (state == StateA2)
            {
                left(StateA2);
                enterA1();
            }
            break;
        case EventToA2:
            if (state == StateA1)
            {
                left(StateA1);
                entered(StateA2);
                state = StateA2;
            }
            break;
        case EventToA:
            if (state == StateB)
            {
                left(StateB);
                entered(StateA);
                enterA1();
            }
            break;
        case EventToB:
            if (state != StateB)
            {
                left(state);
                left(StateA);
                entered(StateB);
                state = StateB;
            }
            break;
        default:
            break;
        }
    }

private:
    void enterA1()
    {
        entered(StateA1);
        state = StateA1;
    }

    eStateNo state = StateA;
};

// ---- typed

namespace typed
{

struct A;
struct A1;
struct A2;
struct B;

struct Top : Macho::Root<Macho::Events<ToA1, ToA2, ToA, ToB>, Macho::States<A, A1, A2, B>, Macho::InitialState<A>>
{
    void on(Macho::Other) {}
};
struct A : Macho::State<Top, Macho::InitialState<A1>>
{
    void on(Macho::Entry) { entered(StateA); }
    void on(Macho::Exit) { left(StateA); }
    Macho::To<B> on(const ToB&) { return {}; }
};
struct A1 : Macho::State<A>
{
    void on(Macho::Entry) { entered(StateA1); }
    void on(Macho::Exit) { left(StateA1); }
    Macho::To<A2> on(const ToA2&) { return {}; }
};
struct A2 : Macho::State<A>
{
    void on(Macho::Entry) { entered(StateA2); }
    void on(Macho::Exit) { left(StateA2); }
    Macho::To<A1> on(const ToA1&) { return {}; }
};
struct B : Macho::State<Top>
{
    void on(Macho::Entry) { entered(StateB); }
    void on(Macho::Exit) { left(StateB); }
    Macho::To<A> on(const ToA&) { return {}; }
};

} // namespace typed

class CTyped
{
public:
    void start() { machine.start(); }
    void fire(int eventNo)
    {
        fireTyped(eventNo, [this](const auto& event) { machine.handle(event); });
    }

private:
    Macho::CMachine<typed::Top> machine;
};

// ---- Boost.MSM, without message queue and without handling exceptions

namespace msm
{

using boost::msm::front::none;
using boost::msm::front::Row;

template<eStateNo number>
struct Counted : boost::msm::front::state<>
{
    template<class Event, class Machine>
    void on_entry(const Event&, Machine&)
    {
        entered(number);
    }
    template<class Event, class Machine>
    void on_exit(const Event&, Machine&)
    {
        left(number);
    }
};

struct A1 : Counted<StateA1>
{};
struct A2 : Counted<StateA2>
{};
struct B : Counted<StateB>
{};

struct InnerDef : boost::msm::front::state_machine_def<InnerDef>
{
    using no_exception_thrown = int;
    using no_message_queue = int;
    using initial_state = A1;
    template<class Event, class Machine>
    void on_entry(const Event&, Machine&)
    {
        entered(StateA);
    }
    template<class Event, class Machine>
    void on_exit(const Event&, Machine&)
    {
        left(StateA);
    }
    struct transition_table : boost::mpl::vector<Row<A1, ToA2, A2, none, none>, Row<A2, ToA1, A1, none, none>>
    {};
    template<class Event, class Machine>
    void no_transition(const Event&, Machine&, int)
    {}
};
using A = boost::msm::back::state_machine<InnerDef>;

struct OuterDef : boost::msm::front::state_machine_def<OuterDef>
{
    using no_exception_thrown = int;
    using no_message_queue = int;
    using initial_state = A;
    struct transition_table : boost::mpl::vector<Row<A, ToB, B, none, none>, Row<B, ToA, A, none, none>>
    {};
    template<class Event, class Machine>
    void no_transition(const Event&, Machine&, int)
    {}
};

} // namespace msm

class CMsm
{
public:
    void start() { machine.start(); }
    void fire(int eventNo)
    {
        fireTyped(eventNo, [this](const auto& event) { machine.process_event(event); });
    }

private:
    boost::msm::back::state_machine<msm::OuterDef> machine;
};

// ---- Boost.Statechart

namespace statechart
{

template<class Event>
struct Wrapped : boost::statechart::event<Wrapped<Event>>
{};
struct A;
struct A1;
struct A2;
struct B;
struct Machine : boost::statechart::state_machine<Machine, A>
{};

struct A : boost::statechart::simple_state<A, Machine, A1>
{
    using reactions = boost::statechart::transition<Wrapped<ToB>, B>;
    A() { entered(StateA); }
    ~A() { left(StateA); }
};
struct A1 : boost::statechart::simple_state<A1, A>
{
    using reactions = boost::statechart::transition<Wrapped<ToA2>, A2>;
    A1() { entered(StateA1); }
    ~A1() { left(StateA1); }
};
struct A2 : boost::statechart::simple_state<A2, A>
{
    using reactions = boost::statechart::transition<Wrapped<ToA1>, A1>;
    A2() { entered(StateA2); }
    ~A2() { left(StateA2); }
};
struct B : boost::statechart::simple_state<B, Machine>
{
    using reactions = boost::statechart::transition<Wrapped<ToA>, A>;
    B() { entered(StateB); }
    ~B() { left(StateB); }
};

} // namespace statechart

class CStatechart
{
public:
    void start() { machine.initiate(); }
    void fire(int eventNo)
    {
        fireTyped(eventNo, [this](auto event) { machine.process_event(statechart::Wrapped<decltype(event)>()); });
    }

private:
    statechart::Machine machine;
};

// ---- the framework for charts that are built at run time

class CRunTime
{
public:
    CRunTime()
    {
        auto* a = new CCounted("A", &machine, StateA);
        auto* a1 = new CCounted("A1", a, StateA1);
        auto* a2 = new CCounted("A2", a, StateA2);
        auto* b = new CCounted("B", &machine, StateB);
        machine.setInitialState(a);
        a->setInitialState(a1);
        a1->addEventTransitionTo(a2, EventToA2);
        a2->addEventTransitionTo(a1, EventToA1);
        a->addEventTransitionTo(b, EventToB);
        b->addEventTransitionTo(a, EventToA);
    }
    void start() { machine.start(); }
    void fire(int eventNo) { machine.processEvent(static_cast<unsigned char>(eventNo)); }

private:
    struct CCounted : Kiv::CState
    {
        CCounted(const char* name, Kiv::CState* parent, eStateNo stateNo) : CState(name, parent), number(stateNo) {}
        void onEntry() override
        {
            entered(number);
            CState::onEntry();
        }
        void onExit() override
        {
            CState::onExit();
            left(number);
        }
        const eStateNo number;
    };

    Kiv::CStateMachine machine;
};

// ---- what is measured

/// The number as the compiler does not know it; what the machine has written is in memory.
inline int opaque(int eventNo)
{
    asm volatile("" : "+r"(eventNo) : : "memory");
    return eventNo;
}

Counts expected(bool isCross, unsigned long rounds)
{
    if (isCross)
        return {{1 + rounds, 1 + rounds, 0, rounds}, {rounds, rounds, 0, rounds}};
    return {{1, 1 + rounds, rounds, 0}, {0, rounds, rounds, 0}};
}

template<class Machine, bool isCross>
void twoEvents(benchmark::State& state)
{
    const int first = isCross ? EventToB : EventToA2;
    const int second = isCross ? EventToA : EventToA1;
    counts = {};
    Machine machine;
    benchmark::DoNotOptimize(&machine);
    machine.start();
    for (auto _ : state)
    {
        machine.fire(opaque(first));
        machine.fire(opaque(second));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2);
    const Counts wanted = expected(isCross, static_cast<unsigned long>(state.iterations()));
    if (std::memcmp(&counts, &wanted, sizeof counts) != 0)
        state.SkipWithError("states were not entered and left as they have to be");
    countAllocationsOf(state, [&] {
        machine.fire(opaque(first));
        machine.fire(opaque(second));
    });
}

// ---- eight levels: 7 states on either side of the root, left and entered by calls that are not inlined

unsigned long hookCalls = 0;

[[gnu::noinline]] void hook(int level)
{
    asm volatile("" : "+r"(level));
    ++hookCalls;
}

struct Swap
{};

template<int side, int level>
struct Level;

struct Ground
    : Macho::Root<
          Macho::Events<Swap>,
          Macho::States<Level<0, 1>, Level<0, 2>, Level<0, 3>, Level<0, 4>, Level<0, 5>, Level<0, 6>, Level<0, 7>,
                        Level<1, 1>, Level<1, 2>, Level<1, 3>, Level<1, 4>, Level<1, 5>, Level<1, 6>, Level<1, 7>>,
          Macho::InitialState<Level<0, 1>>>
{
    void on(const Swap&) {}
};

template<int side, int level>
struct LevelBase : Macho::State<Level<side, level - 1>, Macho::InitialState<Level<side, level + 1>>>
{};
template<int side>
struct LevelBase<side, 1> : Macho::State<Ground, Macho::InitialState<Level<side, 2>>>
{};
template<int side>
struct LevelBase<side, 7> : Macho::State<Level<side, 6>>
{
    Macho::To<Level<1 - side, 7>> on(const Swap&) { return {}; }
};

template<int side, int level>
struct Level : LevelBase<side, level>
{
    using LevelBase<side, level>::LevelBase;
    void on(Macho::Entry) { hook(level); }
    void on(Macho::Exit) { hook(-level); }
};
template<int side>
struct Level<side, 7> : LevelBase<side, 7>
{
    using LevelBase<side, 7>::on;
    void on(Macho::Entry) { hook(7); }
    void on(Macho::Exit) { hook(-7); }
};

void deepKiv(benchmark::State& state)
{
    Macho::CMachine<Ground> machine;
    benchmark::DoNotOptimize(&machine);
    machine.start();
    hookCalls = 0;
    for (auto _ : state)
    {
        opaque(0);
        machine.handle(Swap());
    }
    if (hookCalls != 14 * static_cast<unsigned long>(state.iterations()))
        state.SkipWithError("states were not entered and left as they have to be");
    countAllocationsOf(state, [&] { machine.handle(Swap()); });
}

void deepCalls(benchmark::State& state)
{
    for (auto _ : state)
    {
        opaque(0);
        for (int level = 7; level > 0; --level)
            hook(-level);
        for (int level = 1; level < 8; ++level)
            hook(level);
    }
}

#define KIV_TWO_EVENTS(machine, who)                                                                                   \
    BENCHMARK_TEMPLATE(twoEvents, machine, false)->Name("typed: two events, A1 <-> A2/" who);                          \
    BENCHMARK_TEMPLATE(twoEvents, machine, true)->Name("typed: two events, A <-> B/" who)

KIV_TWO_EVENTS(CTyped, "kiv");
KIV_TWO_EVENTS(CSwitch, "switch by hand");
KIV_TWO_EVENTS(CMsm, "Boost.MSM");
KIV_TWO_EVENTS(CStatechart, "Boost.Statechart");
KIV_TWO_EVENTS(CRunTime, "CStateMachine");
BENCHMARK(deepKiv)->Name("typed: leaf to leaf over 14 states/kiv");
BENCHMARK(deepCalls)->Name("typed: leaf to leaf over 14 states/calls of the hooks alone");

} // namespace
