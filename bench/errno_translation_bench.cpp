#include <kiv/errno_translation.h>

#include <array>

#include "allocations.h"

namespace
{

std::array<ErrCode, 256> table{};

// Called as a library's function is: a plain index would be merged into the loop.
[[gnu::noinline]] ErrCode indexed(int err) { return table[static_cast<std::size_t>(err)]; }

template<class Lookup>
void translate(benchmark::State& state, Lookup&& lookup)
{
    const CAllocationCounter counter(state);
    std::uint8_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(lookup(next = static_cast<std::uint8_t>(next + 97)));
}

void ofKiv(benchmark::State& state) { translate(state, errnoToErrCode); }

void ofArray(benchmark::State& state)
{
    for (std::size_t value = 0; value < table.size(); ++value)
        table[value] = errnoToErrCode(static_cast<int>(value));
    benchmark::DoNotOptimize(table.data());
    translate(state, indexed);
}

BENCHMARK(ofKiv)->Name("errno to code/kiv");
BENCHMARK(ofArray)->Name("errno to code/array index");

} // namespace
