#include <kiv/Base32.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include <endian.h>

namespace Base32
{

namespace
{

constexpr char EncodingTable[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

constexpr std::size_t blockBytes = 5;
constexpr std::size_t blockCharacters = 8;
constexpr std::size_t wordBytes = sizeof(std::uint64_t);

/// Both characters of each ten bits.
struct PairTable
{
    char characters[1024][2];
};

constexpr PairTable makePairTable()
{
    PairTable table{};
    for (std::size_t bits = 0; bits < 1024; ++bits)
    {
        table.characters[bits][0] = EncodingTable[bits >> 5];
        table.characters[bits][1] = EncodingTable[bits & 31];
    }
    return table;
}

constexpr PairTable pairTable = makePairTable();

/// The value of each character, already shifted to its place in a pair.
using DecodingTable = std::array<std::uint16_t, 256>;
constexpr std::uint16_t invalidBit = 0x8000;

constexpr DecodingTable makeDecodingTable(unsigned shift)
{
    DecodingTable table{};
    for (std::uint16_t& value : table)
        value = invalidBit;
    for (unsigned value = 0; value < 32; ++value)
        table[static_cast<unsigned char>(EncodingTable[value])] = static_cast<std::uint16_t>(value << shift);
    return table;
}

constexpr DecodingTable firstOfPair = makeDecodingTable(5);
constexpr DecodingTable secondOfPair = makeDecodingTable(0);

/// A block stands in the upper 40 bits of a word, so that whole words can be read and written where there is room.
std::uint64_t loadWord(const unsigned char* bytes)
{
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return be64toh(word);
}

void storeWord(char* bytes, std::uint64_t word)
{
    word = htobe64(word);
    std::memcpy(bytes, &word, sizeof word);
}

void encodeBlock(std::uint64_t word, char* text)
{
    std::memcpy(text, pairTable.characters[word >> 54], 2);
    std::memcpy(text + 2, pairTable.characters[word >> 44 & 1023], 2);
    std::memcpy(text + 4, pairTable.characters[word >> 34 & 1023], 2);
    std::memcpy(text + 6, pairTable.characters[word >> 24 & 1023], 2);
}

/// Collects in `seen` whether a character was none.
std::uint64_t decodeBlock(const unsigned char* text, unsigned& seen)
{
    const auto pair = [text](std::size_t at) {
        return static_cast<unsigned>(firstOfPair[text[at]] | secondOfPair[text[at + 1]]);
    };
    const unsigned first = pair(0);
    const unsigned second = pair(2);
    const unsigned third = pair(4);
    const unsigned fourth = pair(6);
    seen |= first | second | third | fourth;
    return std::uint64_t{first} << 54 | std::uint64_t{second} << 44 | std::uint64_t{third} << 34 |
           std::uint64_t{fourth} << 24;
}

std::string encode(const unsigned char* data, std::size_t size, bool omitPadding)
{
    const std::size_t padded = (size + blockBytes - 1) / blockBytes * blockCharacters;
    const std::size_t unpadded = size / blockBytes * blockCharacters + (size % blockBytes * 8 + 4) / 5;
    std::string text(omitPadding ? unpadded : padded, '=');
    char* to = text.data();
    for (; size >= wordBytes; data += blockBytes, size -= blockBytes, to += blockCharacters)
        encodeBlock(loadWord(data), to);
    while (size > 0)
    {
        unsigned char bytes[wordBytes] = {};
        char characters[blockCharacters];
        const std::size_t taken = std::min(size, blockBytes);
        std::memcpy(bytes, data, taken);
        encodeBlock(loadWord(bytes), characters);
        const std::size_t made = (taken * 8 + 4) / 5;
        std::memcpy(to, characters, made);
        data += taken;
        size -= taken;
        to += made;
    }
    return text;
}

std::string decode(const unsigned char* text, std::size_t size)
{
    std::string data(size / blockCharacters * blockBytes + size % blockCharacters * 5 / 8, '\0');
    char* to = data.data();
    unsigned seen = 0;
    // A whole word fits as long as another block follows.
    for (; size >= 2 * blockCharacters; text += blockCharacters, size -= blockCharacters, to += blockBytes)
        storeWord(to, decodeBlock(text, seen));
    while (size > 0)
    {
        unsigned char characters[blockCharacters] = {'A', 'A', 'A', 'A', 'A', 'A', 'A', 'A'};
        char bytes[wordBytes];
        const std::size_t taken = std::min(size, blockCharacters);
        std::memcpy(characters, text, taken);
        storeWord(bytes, decodeBlock(characters, seen));
        const std::size_t made = taken * 5 / 8;
        std::memcpy(to, bytes, made);
        text += taken;
        size -= taken;
        to += made;
    }
    if ((seen & invalidBit) != 0)
        data.clear();
    return data;
}

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

} // namespace

std::string Encode(const std::vector<unsigned char>& data, bool omitPadding)
{
    return encode(data.data(), data.size(), omitPadding);
}

std::string Encode(const std::string& data, bool omitPadding)
{
    return encode(bytesOf(data), data.size(), omitPadding);
}

std::string Decode(const std::vector<unsigned char>& text) { return decode(text.data(), text.size()); }

std::string Decode(const std::string& text) { return decode(bytesOf(text), text.size()); }

} // namespace Base32
