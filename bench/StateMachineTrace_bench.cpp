// What one record of a state machine costs: a state's sigEntered is emitted to nobody, to the trace, and to recorders
// that one would write in its place.

#include <kiv/StateMachineTrace.h>

#include <ctime>
#include <deque>
#include <mutex>

#include <unistd.h>

#include <kiv/TinySimpleFSM.h>

#include "allocations.h"

namespace
{

constexpr std::size_t ringSize = 16384;

std::int64_t monotonicTime()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

/// Reads the clock and keeps nothing: what no recorder with times can do without.
struct CClockReader : sigslot::has_slots<>
{
    void onEntered(Kiv::CAbstractState*) { last = monotonicTime(); }
    std::int64_t last = 0;
};

/// The same without the clock.
struct CEmptyReceiver : sigslot::has_slots<>
{
    void onEntered(Kiv::CAbstractState* state) { last = state; }
    Kiv::CAbstractState* last = nullptr;
};

/// The last records in a deque under a mutex.
struct CDequeRecorder : sigslot::has_slots<>
{
    struct Record
    {
        std::int64_t time_ns;
        int thread;
        int type;
        const void* subject;
    };

    void onEntered(Kiv::CAbstractState* state)
    {
        static thread_local const int thread = gettid();
        const std::lock_guard<std::mutex> lock(mutex);
        records.push_back({monotonicTime(), thread, 0, state});
        if (records.size() > ringSize)
            records.pop_front();
    }

    std::mutex mutex;
    std::deque<Record> records;
};

/// A machine that toggles between two states on events 1 and 2.
struct CToggle
{
    CToggle()
    {
        machine.setInitialState(a);
        a->addEventTransitionTo(b, 1);
        b->addEventTransitionTo(a, 2);
        machine.start();
    }

    Kiv::CStateMachine machine;
    Kiv::CState* a = new Kiv::CState("A", &machine);
    Kiv::CState* b = new Kiv::CState("B", &machine);
};

void emitAll(benchmark::State& state, CToggle& toggle)
{
    CAllocationCounter counter(state);
    for (auto _ : state)
        toggle.a->emitEntered();
}

template<class Receiver>
void emitTo(benchmark::State& state)
{
    CToggle toggle;
    Receiver receiver;
    toggle.a->sigEntered.connect(&receiver, &Receiver::onEntered);
    emitAll(state, toggle);
}

void recordNothing(benchmark::State& state)
{
    CToggle toggle;
    emitAll(state, toggle);
}

void recordTrace(benchmark::State& state, bool on)
{
    CToggle toggle;
    Kiv::CStateMachineTrace trace(toggle.machine, ringSize);
    if (on)
        trace.start();
    emitAll(state, toggle);
}

/// Two events with a transition each: eight records.
void dispatch(benchmark::State& state, bool traced, bool on)
{
    CToggle toggle;
    std::unique_ptr<Kiv::CStateMachineTrace> trace;
    if (traced)
        trace = std::make_unique<Kiv::CStateMachineTrace>(toggle.machine, ringSize);
    if (on)
        trace->start();
    CAllocationCounter counter(state);
    for (auto _ : state)
    {
        toggle.machine.processEvent(1);
        toggle.machine.processEvent(2);
    }
}

BENCHMARK_CAPTURE(recordTrace, on, true)->Name("trace one record/kiv");
BENCHMARK(emitTo<CDequeRecorder>)->Name("trace one record/mutex and deque");
BENCHMARK(emitTo<CClockReader>)->Name("trace one record/clock_gettime alone");
BENCHMARK(emitTo<CEmptyReceiver>)->Name("trace one record/empty receiver");

BENCHMARK_CAPTURE(recordTrace, off, false)->Name("trace that is switched off/kiv");
BENCHMARK(recordNothing)->Name("trace that is switched off/no receiver");

BENCHMARK_CAPTURE(dispatch, traced, true, true)->Name("two traced events, eight records/kiv");
BENCHMARK_CAPTURE(dispatch, off, true, false)->Name("two traced events, eight records/switched off");
BENCHMARK_CAPTURE(dispatch, untraced, false, false)->Name("two traced events, eight records/no trace");

} // namespace
