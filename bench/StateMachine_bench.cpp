// Dispatch, the way through the queue, and the wake-up of an idle machine, beside the peers that offer the same.

#include <kiv/TinySimpleFSM.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <QAbstractTransition>
#include <QCoreApplication>
#include <QMutex>
#include <QState>
#include <QStateMachine>
#include <QWaitCondition>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/statechart/event.hpp>
#include <boost/statechart/simple_state.hpp>
#include <boost/statechart/state_machine.hpp>
#include <boost/statechart/transition.hpp>
#include <semaphore.h>

#include "allocations.h"

namespace
{

constexpr unsigned char eventToA1 = 1;
constexpr unsigned char eventToA2 = 2;
constexpr unsigned char eventToA = 3;
constexpr unsigned char eventToB = 4;

std::size_t hookCalls = 0;

// ---- the machine under test: A{A1, A2} and B, every entry and exit counted

struct CCounted : Kiv::CState
{
    using CState::CState;
    void onEntry() override
    {
        ++hookCalls;
        CState::onEntry();
    }
    void onExit() override
    {
        ++hookCalls;
        CState::onExit();
    }
};

struct CSubject
{
    explicit CSubject(Kiv::CStateMachine::eProcessingType type = Kiv::CStateMachine::ProcessingSync) : machine(type)
    {
        auto* a = new CCounted("A", &machine);
        auto* a1 = new CCounted("A1", a);
        auto* a2 = new CCounted("A2", a);
        auto* b = new CCounted("B", &machine);
        machine.setInitialState(a);
        a->setInitialState(a1);
        a1->addEventTransitionTo(a2, eventToA2);
        a2->addEventTransitionTo(a1, eventToA1);
        a->addEventTransitionTo(b, eventToB);
        b->addEventTransitionTo(a, eventToA);
    }
    ~CSubject() { machine.stop(); }
    Kiv::CStateMachine machine;
};

void dispatch(benchmark::State& state, unsigned char first, unsigned char second)
{
    CSubject subject;
    subject.machine.start();
    const std::size_t before = hookCalls;
    {
        CAllocationCounter allocations(state);
        for (auto _ : state)
        {
            subject.machine.processEvent(first);
            subject.machine.processEvent(second);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2);
    if (hookCalls - before < static_cast<std::size_t>(state.iterations()) * 4)
        state.SkipWithError("transitions did not fire");
}

void toggleKiv(benchmark::State& state) { dispatch(state, eventToA2, eventToA1); }
void crossKiv(benchmark::State& state) { dispatch(state, eventToB, eventToA); }

/// Each event through the queue and a processing pass of its own.
void postAndProcess(benchmark::State& state)
{
    CSubject subject;
    subject.machine.start();
    CAllocationCounter allocations(state);
    for (auto _ : state)
    {
        subject.machine.postEvent(eventToA2);
        subject.machine.process();
        subject.machine.postEvent(eventToA1);
        subject.machine.process();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2);
}

/// One event fires in each of `regions` parallel regions of five states in a ring, whose transitions all have its
/// number.
void dispatchToRegions(benchmark::State& state)
{
    Kiv::CStateMachine machine;
    auto* all = new Kiv::CState("all", &machine);
    all->setChildMode(Kiv::CState::ChildModeParallel);
    machine.setInitialState(all);
    for (int64_t region = 0; region < state.range(0); ++region)
    {
        auto* ring = new Kiv::CState("ring", all);
        std::vector<Kiv::CState*> states;
        for (int i = 0; i < 5; ++i)
            states.push_back(new Kiv::CState("state", ring));
        ring->setInitialState(states[0]);
        for (std::size_t i = 5; i-- > 0;) // the last link first
            states[i]->addEventTransitionTo(states[(i + 1) % 5], eventToA);
    }
    machine.start();
    for (auto _ : state)
        machine.processEvent(eventToA);
    state.counters["transitions"] = static_cast<double>(state.range(0)) * 5;
    machine.stop();
}

/// One of `transitions` that have the same event number can fire.
void dispatchAmong(benchmark::State& state)
{
    Kiv::CStateMachine machine;
    auto* idle = new Kiv::CState("idle", &machine);
    machine.setInitialState(idle);
    for (int64_t i = 1; i < state.range(0); ++i)
    {
        auto* other = new Kiv::CState("other", &machine);
        other->addEventTransitionTo(idle, eventToA);
    }
    idle->addEventTransitionTo(idle, eventToA);
    machine.start();
    for (auto _ : state)
        machine.processEvent(eventToA);
    machine.stop();
}

// ---- Boost.Statechart

namespace chart
{
struct ToA1 : boost::statechart::event<ToA1>
{};
struct ToA2 : boost::statechart::event<ToA2>
{};
struct ToA : boost::statechart::event<ToA>
{};
struct ToB : boost::statechart::event<ToB>
{};
struct A;
struct A1;
struct A2;
struct B;
struct Machine : boost::statechart::state_machine<Machine, A>
{};
struct A : boost::statechart::simple_state<A, Machine, A1>
{
    using reactions = boost::statechart::transition<ToB, B>;
    A() { ++hookCalls; }
    ~A() { ++hookCalls; }
};
struct A1 : boost::statechart::simple_state<A1, A>
{
    using reactions = boost::statechart::transition<ToA2, A2>;
    A1() { ++hookCalls; }
    ~A1() { ++hookCalls; }
};
struct A2 : boost::statechart::simple_state<A2, A>
{
    using reactions = boost::statechart::transition<ToA1, A1>;
    A2() { ++hookCalls; }
    ~A2() { ++hookCalls; }
};
struct B : boost::statechart::simple_state<B, Machine>
{
    using reactions = boost::statechart::transition<ToA, A>;
    B() { ++hookCalls; }
    ~B() { ++hookCalls; }
};
} // namespace chart

template<class First, class Second>
void dispatchStatechart(benchmark::State& state)
{
    chart::Machine machine;
    machine.initiate();
    CAllocationCounter allocations(state);
    for (auto _ : state)
    {
        machine.process_event(First());
        machine.process_event(Second());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2);
}

// ---- QStateMachine

struct CQtEvent : QEvent
{
    explicit CQtEvent(int eventNo) : QEvent(QEvent::User), number(eventNo) {}
    int number;
};

struct CQtTransition : QAbstractTransition
{
    CQtTransition(QState* source, QAbstractState* target, int eventNo) : number(eventNo)
    {
        setTargetState(target);
        source->addTransition(this);
    }
    bool eventTest(QEvent* event) override
    {
        return event->type() == QEvent::User && static_cast<CQtEvent*>(event)->number == number;
    }
    void onTransition(QEvent*) override {}
    int number;
};

struct CQtState : QState
{
    explicit CQtState(QState* parent) : QState(parent) {}
    void onEntry(QEvent* event) override
    {
        ++hookCalls;
        QState::onEntry(event);
    }
    void onExit(QEvent* event) override
    {
        ++hookCalls;
        QState::onExit(event);
    }
};

void dispatchQt(benchmark::State& state, int first, int second)
{
    int argc = 1;
    char name[] = "bench";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    QStateMachine machine;
    auto* a = new CQtState(&machine);
    auto* a1 = new CQtState(a);
    auto* a2 = new CQtState(a);
    auto* b = new CQtState(&machine);
    machine.setInitialState(a);
    a->setInitialState(a1);
    new CQtTransition(a1, a2, eventToA2);
    new CQtTransition(a2, a1, eventToA1);
    new CQtTransition(a, b, eventToB);
    new CQtTransition(b, a, eventToA);
    machine.start();
    QCoreApplication::processEvents();
    const auto fire = [&](int event) {
        machine.postEvent(new CQtEvent(event));
        QCoreApplication::processEvents();
    };
    const std::size_t before = hookCalls;
    {
        CAllocationCounter allocations(state);
        for (auto _ : state)
        {
            fire(first);
            fire(second);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2);
    if (hookCalls - before < static_cast<std::size_t>(state.iterations()) * 4)
        state.SkipWithError("transitions did not fire");
}

void toggleQt(benchmark::State& state) { dispatchQt(state, eventToA2, eventToA1); }
void crossQt(benchmark::State& state) { dispatchQt(state, eventToB, eventToA); }

// ---- hand-over from another thread, every event into a synchronous or asynchronous machine of the same shape

constexpr int eventsPerRun = 1000000;

unsigned char toggleEvent(int i) { return i % 2 == 0 ? eventToA2 : eventToA1; }

/// The ring of 64 as one would write it down: a mutex, two conditions, wake on every change.
class CPlainRing
{
public:
    void put(unsigned char event)
    {
        mutex.lock();
        while (count == size)
            notFull.wait(&mutex);
        ring[(first + count++) % size] = event;
        notEmpty.wakeOne();
        mutex.unlock();
    }
    unsigned char take()
    {
        mutex.lock();
        while (count == 0)
            notEmpty.wait(&mutex);
        const unsigned char event = ring[first];
        first = (first + 1) % size;
        --count;
        notFull.wakeOne();
        mutex.unlock();
        return event;
    }

private:
    static constexpr std::size_t size = 64;
    QMutex mutex;
    QWaitCondition notEmpty;
    QWaitCondition notFull;
    unsigned char ring[size] = {};
    std::size_t first = 0;
    std::size_t count = 0;
};

void throughputKiv(benchmark::State& state)
{
    CSubject subject(Kiv::CStateMachine::ProcessingAsync);
    subject.machine.start();
    CAllocationCounter allocations(state);
    for (auto _ : state)
    {
        for (int i = 0; i < eventsPerRun; ++i)
            subject.machine.postEvent(toggleEvent(i));
        while (subject.machine.pendingEvents() > 0)
            std::this_thread::yield();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * eventsPerRun);
    if (subject.machine.droppedEvents() > 0)
        state.SkipWithError("events were dropped");
}

void fourWritersKiv(benchmark::State& state)
{
    CSubject subject(Kiv::CStateMachine::ProcessingAsync);
    subject.machine.start();
    for (auto _ : state)
    {
        std::vector<std::thread> writers;
        for (int writer = 0; writer < 4; ++writer)
            writers.emplace_back([&] {
                for (int i = 0; i < eventsPerRun / 4; ++i)
                    subject.machine.postEvent(toggleEvent(i));
            });
        for (std::thread& writer : writers)
            writer.join();
        while (subject.machine.pendingEvents() > 0)
            std::this_thread::yield();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * eventsPerRun);
    if (subject.machine.droppedEvents() > 0)
        state.SkipWithError("events were dropped");
}

void throughputPlainRing(benchmark::State& state)
{
    CSubject subject;
    subject.machine.start();
    CPlainRing ring;
    for (auto _ : state)
    {
        std::thread consumer([&] {
            for (int i = 0; i < eventsPerRun; ++i)
                subject.machine.processEvent(ring.take());
        });
        for (int i = 0; i < eventsPerRun; ++i)
            ring.put(toggleEvent(i));
        consumer.join();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * eventsPerRun);
}

void throughputAsio(benchmark::State& state)
{
    CSubject subject;
    subject.machine.start();
    sem_t room;
    sem_init(&room, 0, 64);
    for (auto _ : state)
    {
        boost::asio::io_context context(1);
        auto work = boost::asio::make_work_guard(context);
        std::thread consumer([&] { context.run(); });
        for (int i = 0; i < eventsPerRun; ++i)
        {
            sem_wait(&room);
            boost::asio::post(context, [&subject, &room, event = toggleEvent(i)] {
                subject.machine.processEvent(event);
                sem_post(&room);
            });
        }
        work.reset();
        consumer.join();
    }
    sem_destroy(&room);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * eventsPerRun);
}

// ---- waking an idle machine

using Clock = std::chrono::steady_clock;

/// Posts to an idle consumer again and again; `handled` is set to the time by the consumer.
template<class Post>
void measureWakeUps(benchmark::State& state, std::atomic<Clock::rep>& handled, Post post)
{
    std::vector<double> latencies;
    for (auto _ : state)
    {
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        handled = 0;
        const auto posted = Clock::now();
        post();
        while (handled == 0)
            std::this_thread::yield();
        const auto latency = std::chrono::duration<double>(Clock::duration(handled) - posted.time_since_epoch());
        state.SetIterationTime(latency.count());
        latencies.push_back(latency.count() * 1e9);
    }
    std::sort(latencies.begin(), latencies.end());
    state.counters["p50_ns"] = latencies[latencies.size() / 2];
    state.counters["p99_ns"] = latencies[latencies.size() * 99 / 100];
}

void wakeUpKiv(benchmark::State& state)
{
    std::atomic<Clock::rep> handled{0};
    CSubject subject(Kiv::CStateMachine::ProcessingAsync);
    struct CReceiver : sigslot::has_slots<sigslot::multi_threaded_local>
    {
        void onEntered(Kiv::CAbstractState*) { *time = Clock::now().time_since_epoch().count(); }
        std::atomic<Clock::rep>* time = nullptr;
    } receiver;
    receiver.time = &handled;
    subject.machine.sigStateEntered.connect(&receiver, &CReceiver::onEntered);
    subject.machine.start();
    int i = 0;
    measureWakeUps(state, handled, [&] { subject.machine.postEvent(toggleEvent(i++)); });
    subject.machine.stop();
}

void wakeUpPlainRing(benchmark::State& state)
{
    std::atomic<Clock::rep> handled{0};
    CSubject subject;
    subject.machine.start();
    CPlainRing ring;
    std::thread consumer([&] {
        while (const unsigned char event = ring.take())
        {
            subject.machine.processEvent(event);
            handled = Clock::now().time_since_epoch().count();
        }
    });
    int i = 0;
    measureWakeUps(state, handled, [&] { ring.put(toggleEvent(i++)); });
    ring.put(0);
    consumer.join();
}

void idleKiv(benchmark::State& state)
{
    CSubject subject(Kiv::CStateMachine::ProcessingAsync);
    subject.machine.start();
    const auto cpuSeconds = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double before = cpuSeconds();
    double idle = 0;
    for (auto _ : state)
    {
        std::this_thread::sleep_for(std::chrono::seconds(3));
        idle += 3;
    }
    state.counters["cpu_percent"] = 100 * (cpuSeconds() - before) / idle;
}

BENCHMARK(toggleKiv)->Name("dispatch two events, A1 <-> A2/kiv");
BENCHMARK_TEMPLATE(dispatchStatechart, chart::ToA2, chart::ToA1)
    ->Name("dispatch two events, A1 <-> A2/Boost.Statechart");
BENCHMARK(toggleQt)->Name("dispatch two events, A1 <-> A2/QStateMachine");
BENCHMARK(crossKiv)->Name("dispatch two events, A <-> B/kiv");
BENCHMARK_TEMPLATE(dispatchStatechart, chart::ToB, chart::ToA)->Name("dispatch two events, A <-> B/Boost.Statechart");
BENCHMARK(crossQt)->Name("dispatch two events, A <-> B/QStateMachine");

BENCHMARK(postAndProcess)->Name("post and process two events, A1 <-> A2/kiv");
BENCHMARK(dispatchToRegions)->Name("one event for all regions/kiv")->ArgName("regions")->Arg(1)->Arg(8)->Arg(64);
BENCHMARK(dispatchAmong)
    ->Name("one of the transitions of an event fires/kiv")
    ->ArgName("transitions")
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->Arg(250);

BENCHMARK(fourWritersKiv)->Name("1,000,000 events from four threads/kiv")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(throughputKiv)
    ->Name("1,000,000 events from another thread/kiv")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(throughputPlainRing)
    ->Name("1,000,000 events from another thread/plain ring")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(throughputAsio)
    ->Name("1,000,000 events from another thread/Boost.Asio post")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(wakeUpKiv)->Name("wake-up of an idle machine/kiv")->UseManualTime()->Iterations(3000);
BENCHMARK(wakeUpPlainRing)->Name("wake-up of an idle machine/plain ring")->UseManualTime()->Iterations(3000);
BENCHMARK(idleKiv)->Name("idle machine, 3 s/kiv")->UseRealTime()->Iterations(1);

} // namespace
