#include <kiv/crc.h>

#include <initializer_list>
#include <string>
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

/// The definition, word for word: shift register and polynomial, a bit at a time.
[[gnu::noinline]] std::uint32_t bitwiseSum(const Bytes& bytes, std::uint32_t poly)
{
    int finalShift = 1;
    for (; (poly & 0x80000000U) == 0; poly <<= 1)
        ++finalShift;
    std::uint32_t crc = 0;
    for (const unsigned char byte : bytes)
    {
        crc ^= static_cast<std::uint32_t>(byte) << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = ((crc & 0x80000000U) != 0 ? crc ^ poly : crc) << 1;
    }
    return crc >> finalShift & 0xFFFFU;
}

void crc16Bitwise(benchmark::State& state)
{
    sum(state, [](const Bytes& bytes) { return bitwiseSum(bytes, 0x11021); });
}

/// Another polynomial each time.
std::uint32_t nextPolynomial()
{
    static std::uint32_t poly = 1;
    return 0x10000 | (poly = (poly + 2) & 0xFFFFU);
}

void crc16NewOfKiv(benchmark::State& state)
{
    sum(state, [](const Bytes& bytes) {
        return Kiv::simpleCRC16(bytes.data(), static_cast<int>(bytes.size()), nextPolynomial());
    });
}

void crc16NewBitwise(benchmark::State& state)
{
    sum(state, [](const Bytes& bytes) { return bitwiseSum(bytes, nextPolynomial()); });
}

template<class Function>
void bytes(const std::string& name, Function* function, std::initializer_list<std::int64_t> lengths)
{
    for (const std::int64_t length : lengths)
        benchmark::RegisterBenchmark(name.c_str(), function)->ArgName("bytes")->Arg(length);
}

const bool areRegistered = [] {
    bytes("CRC-8/kiv", crc8OfKiv, {64, 255});
    bytes("CRC-8/boost::crc_optimal", crc8OfBoost, {64, 255});
    bytes("CRC-16/kiv", crc16OfKiv, {8, 255, 65536});
    bytes("CRC-16/boost::crc_optimal", crc16OfBoost, {8, 255, 65536});
    bytes("CRC-16/bitwise", crc16Bitwise, {8, 255, 65536});
    bytes("CRC-16 with a new polynomial/kiv", crc16NewOfKiv, {1, 4, 8, 255});
    bytes("CRC-16 with a new polynomial/bitwise", crc16NewBitwise, {1, 4, 8, 255});
    return true;
}();

} // namespace
