// The codec at 1 KiB and 1 MiB of binary data, beside a loop that moves five bits at a time.
#include <kiv/Base32.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include <endian.h>

#include "allocations.h"

namespace
{

const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

/// What one writes down from the standard, with a string of the right size.
struct PlainLoop
{
    static std::string encode(const std::string& data)
    {
        std::string text;
        text.reserve((data.size() * 8 + 4) / 5);
        std::uint32_t bits = 0;
        unsigned count = 0;
        for (const char byte : data)
        {
            bits = bits << 8 | static_cast<unsigned char>(byte);
            for (count += 8; count >= 5; count -= 5)
                text += alphabet[bits >> (count - 5) & 31];
        }
        if (count > 0)
            text += alphabet[bits << (5 - count) & 31];
        return text;
    }

    static std::string decode(const std::string& text)
    {
        std::string data;
        data.reserve(text.size() * 5 / 8);
        std::uint32_t bits = 0;
        unsigned count = 0;
        for (const char character : text)
        {
            const int value = valueOf(character);
            if (value < 0)
                return {};
            bits = bits << 5 | static_cast<std::uint32_t>(value);
            count += 5;
            if (count < 8)
                continue;
            count -= 8;
            data += static_cast<char>(bits >> count);
        }
        return data;
    }

    static int valueOf(char character)
    {
        if (character >= 'A' && character <= 'Z')
            return character - 'A';
        return character >= '2' && character <= '7' ? character - '2' + 26 : -1;
    }
};

/// Two characters for each look-up: ten bits from a table of 1,024 pairs, and back from one of all 65,536.
struct PairTables
{
    std::array<std::uint16_t, 1024> pairs{};
    std::vector<std::uint16_t> values = std::vector<std::uint16_t>(65536, 0x8000);

    PairTables()
    {
        for (unsigned bits = 0; bits < 1024; ++bits)
        {
            const char both[] = {alphabet[bits >> 5], alphabet[bits & 31]};
            std::memcpy(&pairs[bits], both, 2);
            values[pairs[bits]] = static_cast<std::uint16_t>(bits);
        }
    }

    static const PairTables& get()
    {
        static const PairTables tables;
        return tables;
    }

    /// Without the tail, which takes no time.
    static std::string encode(const std::string& data)
    {
        const PairTables& tables = get();
        std::string text(data.size() / 5 * 8, '=');
        char* to = text.data();
        const char* from = data.data();
        for (std::size_t left = data.size(); left >= 8; left -= 5, from += 5, to += 8)
        {
            std::uint64_t word = 0;
            std::memcpy(&word, from, sizeof word);
            word = be64toh(word);
            const std::uint16_t characters[] = {tables.pairs[word >> 54], tables.pairs[word >> 44 & 1023],
                                                tables.pairs[word >> 34 & 1023], tables.pairs[word >> 24 & 1023]};
            std::memcpy(to, characters, sizeof characters);
        }
        return text;
    }

    static std::string decode(const std::string& text)
    {
        const PairTables& tables = get();
        std::string data(text.size() / 8 * 5, '\0');
        char* to = data.data();
        const char* from = text.data();
        unsigned seen = 0;
        for (std::size_t left = text.size(); left >= 16; left -= 8, from += 8, to += 5)
        {
            std::uint16_t pairs[4];
            std::memcpy(pairs, from, sizeof pairs);
            const std::uint64_t a = tables.values[pairs[0]];
            const std::uint64_t b = tables.values[pairs[1]];
            const std::uint64_t c = tables.values[pairs[2]];
            const std::uint64_t d = tables.values[pairs[3]];
            seen |= static_cast<unsigned>(a | b | c | d);
            const std::uint64_t word = htobe64(a << 54 | b << 44 | c << 34 | d << 24);
            std::memcpy(to, &word, sizeof word);
        }
        if ((seen & 0x8000) != 0)
            data.clear();
        return data;
    }
};

struct Kiv32
{
    static std::string encode(const std::string& data) { return Base32::Encode(data, true); }
    static std::string decode(const std::string& text) { return Base32::Decode(text); }
};

std::string binary(const benchmark::State& state)
{
    std::string data(static_cast<std::size_t>(state.range(0)), '\0');
    std::uint32_t value = 1;
    for (char& byte : data)
        byte = static_cast<char>((value = value * 1664525U + 1013904223U) >> 24);
    return data;
}

template<class Codec>
void encode(benchmark::State& state)
{
    const std::string data = binary(state);
    {
        const CAllocationCounter counter(state);
        for (auto _ : state)
            benchmark::DoNotOptimize(Codec::encode(data));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

/// The speed counts the binary side, as for encoding.
template<class Codec>
void decode(benchmark::State& state)
{
    const std::string text = Base32::Encode(binary(state), true);
    {
        const CAllocationCounter counter(state);
        for (auto _ : state)
            benchmark::DoNotOptimize(Codec::decode(text));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

constexpr int small = 1 << 10;
constexpr int large = 1 << 20;

} // namespace

BENCHMARK(encode<Kiv32>)->Name("Base32 encode/kiv")->ArgName("bytes")->Arg(small)->Arg(large);
BENCHMARK(encode<PairTables>)->Name("Base32 encode/pairs")->ArgName("bytes")->Arg(small)->Arg(large);
BENCHMARK(encode<PlainLoop>)->Name("Base32 encode/plain loop")->ArgName("bytes")->Arg(small)->Arg(large);
BENCHMARK(decode<Kiv32>)->Name("Base32 decode/kiv")->ArgName("bytes")->Arg(small)->Arg(large);
BENCHMARK(decode<PairTables>)->Name("Base32 decode/pairs")->ArgName("bytes")->Arg(small)->Arg(large);
BENCHMARK(decode<PlainLoop>)->Name("Base32 decode/plain loop")->ArgName("bytes")->Arg(small)->Arg(large);
