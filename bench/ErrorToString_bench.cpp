#include <kiv/ErrorToString.h>

#include <array>
#include <cstring>

#include "allocations.h"

namespace
{

/// 256 codes of the catalogue in no order, as an application would meet them.
std::array<ErrCode, 256> mixedCodes()
{
    std::array<ErrCode, 256> codes{};
    ErrCode code = 0;
    for (ErrCode& mixed : codes)
    {
        do
            code = (code * 1103 + 12345) % 1634;
        while (std::strcmp(ErrorToString(code), "Unknown error or invalid error code") == 0);
        mixed = code;
    }
    return codes;
}

const std::array<ErrCode, 256> codes = mixedCodes();
const std::array<ErrCode, 256> errnoCodes = [] {
    std::array<ErrCode, 256> values = codes;
    for (ErrCode& value : values)
        value = 0x4000 | value % 134;
    return values;
}();
std::array<const char*, 1634> texts{};

// Called as a library's function is: a plain index would be merged into the loop.
[[gnu::noinline]] const char* indexed(ErrCode code) { return texts[code]; }

template<class Lookup>
void lookUp(benchmark::State& state, Lookup&& lookup, const std::array<ErrCode, 256>& inputs = codes)
{
    const CAllocationCounter counter(state);
    std::uint8_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(lookup(inputs[next++]));
}

void ofKiv(benchmark::State& state) { lookUp(state, ErrorToString); }

void ofArray(benchmark::State& state)
{
    for (ErrCode code = 0; code < texts.size(); ++code)
        texts[code] = ErrorToString(code);
    benchmark::DoNotOptimize(texts.data());
    lookUp(state, indexed);
}

void ofSystem(benchmark::State& state)
{
    char buffer[128];
    lookUp(state, [&](ErrCode code) { return strerror_r(static_cast<int>(code % 134), buffer, sizeof buffer); });
}

void errnoOfKiv(benchmark::State& state)
{
    for (ErrCode value = 0; value < 134; ++value)
        ErrorToString(0x4000 | value);
    lookUp(state, ErrorToString, errnoCodes);
}

BENCHMARK(ofKiv)->Name("error text/kiv");
BENCHMARK(ofArray)->Name("error text/array index");
BENCHMARK(ofSystem)->Name("error text/strerror_r");
BENCHMARK(errnoOfKiv)->Name("raw errno text/kiv");
BENCHMARK(ofArray)->Name("raw errno text/array index");
BENCHMARK(ofSystem)->Name("raw errno text/strerror_r");

} // namespace
