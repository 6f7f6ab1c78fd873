#include <kiv/crc.h>

#include <array>
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

/// Slicing by 8, with tables of the register's width: the usual quick way.
template<class Register, bool IsReflected>
struct SlicingBy8
{
    std::array<std::array<Register, 256>, 8> slices{};

    explicit SlicingBy8(unsigned poly)
    {
        constexpr int bits = 8 * sizeof(Register);
        for (unsigned byte = 0; byte < 256; ++byte)
        {
            unsigned crc = IsReflected ? byte : byte << (bits - 8);
            for (int bit = 0; bit < 8; ++bit)
                crc = IsReflected ? ((crc & 1U) != 0 ? crc >> 1 ^ poly : crc >> 1)
                                  : ((crc >> (bits - 1) & 1U) != 0 ? crc << 1 ^ poly : crc << 1);
            slices[0][byte] = static_cast<Register>(crc);
        }
        for (unsigned slice = 1; slice < 8; ++slice)
            for (unsigned byte = 0; byte < 256; ++byte)
                slices[slice][byte] = oneByte(slices[slice - 1][byte], 0);
    }

    Register oneByte(unsigned crc, unsigned char byte) const
    {
        if constexpr (sizeof(Register) == 1)
            return slices[0][crc ^ byte];
        else
            return static_cast<Register>(crc << 8 ^ slices[0][crc >> 8 ^ byte]);
    }

    [[gnu::noinline]] unsigned operator()(const Bytes& bytes) const
    {
        const unsigned char* data = bytes.data();
        std::size_t left = bytes.size();
        unsigned crc = 0;
        for (; left >= 8; left -= 8, data += 8)
        {
            const unsigned first = sizeof(Register) == 1 ? crc ^ data[0] : crc >> 8 ^ data[0];
            const unsigned second = sizeof(Register) == 1 ? data[1] : (crc & 0xFF) ^ data[1];
            crc = slices[7][first] ^ slices[6][second] ^ slices[5][data[2]] ^ slices[4][data[3]] ^ slices[3][data[4]] ^
                  slices[2][data[5]] ^ slices[1][data[6]] ^ slices[0][data[7]];
        }
        for (; left > 0; --left)
            crc = oneByte(crc, *data++);
        return crc;
    }
};

void crc8BySlices(benchmark::State& state)
{
    static const SlicingBy8<unsigned char, true> slicing(0x8C);
    sum(state, slicing);
}

void crc16BySlices(benchmark::State& state)
{
    static const SlicingBy8<std::uint16_t, false> slicing(0x1021);
    if (slicing(message(state)) != Kiv::simpleCRC16(message(state).data(), static_cast<int>(state.range(0)), 0x11021))
        state.SkipWithError("another checksum");
    sum(state, slicing);
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
    bytes("CRC-8/slicing by 8", crc8BySlices, {64, 255});
    bytes("CRC-8/boost::crc_optimal", crc8OfBoost, {64, 255});
    bytes("CRC-16/kiv", crc16OfKiv, {8, 64, 255, 65536});
    bytes("CRC-16/slicing by 8", crc16BySlices, {8, 64, 255, 65536});
    bytes("CRC-16/boost::crc_optimal", crc16OfBoost, {8, 255, 65536});
    bytes("CRC-16/bitwise", crc16Bitwise, {8, 255, 65536});
    bytes("CRC-16 with a new polynomial/kiv", crc16NewOfKiv, {1, 4, 8, 255});
    bytes("CRC-16 with a new polynomial/bitwise", crc16NewBitwise, {1, 4, 8, 255});
    return true;
}();

} // namespace
