#include <kiv/crc.h>

#include <vector>

#include <boost/crc.hpp>

#include "allocations.h"

namespace
{

std::vector<unsigned char> message(const benchmark::State& state)
{
    std::vector<unsigned char> bytes(static_cast<std::size_t>(state.range(0)));
    unsigned value = 1;
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>((value = value * 1664525U + 1013904223U) >> 24);
    return bytes;
}

template<class Sum>
void sum(benchmark::State& state, Sum&& sumOf)
{
    const std::vector<unsigned char> bytes = message(state);
    {
        const CAllocationCounter counter(state);
        for (auto _ : state)
        {
            benchmark::DoNotOptimize(bytes.data());
            benchmark::DoNotOptimize(sumOf(bytes));
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

using Bytes = std::vector<unsigned char>;

void crc8OfKiv(benchmark::State& state)
{
    sum(state, [](const Bytes& bytes) { return Kiv::crc8(bytes.data(), static_cast<unsigned char>(bytes.size())); });
}

void crc8OfBoost(benchmark::State& state)
{
    sum(state, [](const Bytes& bytes) {
        boost::crc_optimal<8, 0x31, 0, 0, true, true> crc;
        crc.process_bytes(bytes.data(), bytes.size());
        return crc.checksum();
    });
}

void crc16OfKiv(benchmark::State& state)
{
    sum(state,
        [](const Bytes& bytes) { return Kiv::simpleCRC16(bytes.data(), static_cast<int>(bytes.size()), 0x11021); });
}

void crc16OfBoost(benchmark::State& state)
{
    sum(state, [](const Bytes& bytes) {
        boost::crc_optimal<16, 0x1021, 0, 0, false, false> crc;
        crc.process_bytes(bytes.data(), bytes.size());
        return crc.checksum();
    });
}

/// As a caller would write it down: a bit at a time.
void crc16Bitwise(benchmark::State& state)
{
    sum(state, [](const Bytes& bytes) {
        std::uint32_t crc = 0;
        for (const unsigned char byte : bytes)
        {
            crc ^= static_cast<std::uint32_t>(byte << 8);
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 0x8000U) != 0 ? crc << 1 ^ 0x1021U : crc << 1;
        }
        return crc & 0xFFFFU;
    });
}

BENCHMARK(crc8OfKiv)->Name("CRC-8/kiv")->ArgName("bytes")->Arg(64);
BENCHMARK(crc8OfBoost)->Name("CRC-8/boost::crc_optimal")->ArgName("bytes")->Arg(64);
BENCHMARK(crc8OfKiv)->Name("CRC-8/kiv")->ArgName("bytes")->Arg(255);
BENCHMARK(crc8OfBoost)->Name("CRC-8/boost::crc_optimal")->ArgName("bytes")->Arg(255);
BENCHMARK(crc16OfKiv)->Name("CRC-16/kiv")->ArgName("bytes")->Arg(8);
BENCHMARK(crc16OfBoost)->Name("CRC-16/boost::crc_optimal")->ArgName("bytes")->Arg(8);
BENCHMARK(crc16Bitwise)->Name("CRC-16/bitwise")->ArgName("bytes")->Arg(8);
BENCHMARK(crc16OfKiv)->Name("CRC-16/kiv")->ArgName("bytes")->Arg(255);
BENCHMARK(crc16OfBoost)->Name("CRC-16/boost::crc_optimal")->ArgName("bytes")->Arg(255);
BENCHMARK(crc16Bitwise)->Name("CRC-16/bitwise")->ArgName("bytes")->Arg(255);

} // namespace
