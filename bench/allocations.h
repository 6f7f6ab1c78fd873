/// Counts the heap allocations of a benchmark's process; included by the one source of each benchmark program.
#ifndef KIV_BENCH_ALLOCATIONS_H
#define KIV_BENCH_ALLOCATIONS_H

#include <atomic>
#include <cstddef>
#include <cstdint>
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

/// The pass of its own, of a few iterations, in which Google Benchmark has the allocations of a benchmark counted: in
/// the passes that are timed nothing is.
class CCountingPass final : public benchmark::MemoryManager
{
public:
    static constexpr std::int64_t notCounted = -1;

    static CCountingPass& instance()
    {
        static CCountingPass pass;
        return pass;
    }

    void Start() override
    {
        isUnderWay = true;
        counted = notCounted;
    }

    void Stop(Result& result) override
    {
        isUnderWay = false;
        result.num_allocs = counted;
    }

    void Stop(Result* result) override { Stop(*result); }

    bool isUnderWay = false;
    std::int64_t counted = notCounted;
};

inline const bool countingPassIsRegistered = (benchmark::RegisterMemoryManager(&CCountingPass::instance()), true);

/// Stands around the loop of a benchmark whose allocations are to be counted; scripts/bench shows those of an
/// iteration.
class CAllocationCounter
{
public:
    explicit CAllocationCounter(benchmark::State&) : before(allocationCount)
    {
        countsAllocations = CCountingPass::instance().isUnderWay;
    }
    ~CAllocationCounter()
    {
        if (countsAllocations.exchange(false))
            CCountingPass::instance().counted = static_cast<std::int64_t>(allocationCount - before);
    }
    CAllocationCounter(const CAllocationCounter&) = delete;
    CAllocationCounter& operator=(const CAllocationCounter&) = delete;

private:
    std::size_t before;
};

/// Reports the allocations of one call, made before or after the timed loop, as the counter "allocs".
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
