/// Counts the heap allocations of a benchmark's process; included by the one source of each benchmark program.
#ifndef KIV_BENCH_ALLOCATIONS_H
#define KIV_BENCH_ALLOCATIONS_H

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include <benchmark/benchmark.h>

inline std::atomic<std::size_t> allocationCount{0};
inline std::atomic<bool> countsAllocations{false};

// Not inlined: seeing through them, the compiler takes malloc and operator delete for a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (countsAllocations.load(std::memory_order_relaxed))
        allocationCount.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

/// Reports the allocations per iteration of a benchmark as its counter "allocs".
class CAllocationCounter
{
public:
    explicit CAllocationCounter(benchmark::State& benchmarkState) : state(benchmarkState), before(allocationCount)
    {
        countsAllocations = true;
    }
    ~CAllocationCounter()
    {
        countsAllocations = false;
        state.counters["allocs"] =
            benchmark::Counter(static_cast<double>(allocationCount - before), benchmark::Counter::kAvgIterations);
    }
    CAllocationCounter(const CAllocationCounter&) = delete;
    CAllocationCounter& operator=(const CAllocationCounter&) = delete;

private:
    benchmark::State& state;
    std::size_t before;
};

/// Reports the allocations of one call as the counter "allocs": for work that allocates so much that counting in the
/// timed loop would be noticed there.
template<class Work>
void countAllocationsOf(benchmark::State& state, const Work& work)
{
    const std::size_t before = allocationCount;
    countsAllocations = true;
    work();
    countsAllocations = false;
    state.counters["allocs"] = static_cast<double>(allocationCount - before);
}

#endif
