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

/// The value of each two characters: ten bits of which the first character's are the higher ones. An index has six bits
/// of each character's distance from the lowest one; the next character's stand in the next byte.
constexpr unsigned lowestCharacter = '2';
constexpr unsigned distanceBits = 0x3F;
using DecodingTable = std::array<std::uint16_t, (distanceBits << 8 | distanceBits) + 1>;
constexpr std::uint16_t invalidBit = 0x8000;

constexpr DecodingTable makeDecodingTable()
{
    DecodingTable table{};
    for (std::uint16_t& value : table)
        value = invalidBit;
    for (unsigned first = 0; first < 32; ++first)
        for (unsigned second = 0; second < 32; ++second)
        {
            const unsigned low = static_cast<unsigned char>(EncodingTable[first]) - lowestCharacter;
            const unsigned high = static_cast<unsigned char>(EncodingTable[second]) - lowestCharacter;
            table[low | high << 8] = static_cast<std::uint16_t>(first << 5 | second);
        }
    return table;
}

constexpr DecodingTable decodingTable = makeDecodingTable();

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

/// The same byte in all eight of a word.
constexpr std::uint64_t eightOf(unsigned byte) { return 0x0101010101010101U * byte; }

/// All bits that have come up, which tell whether a character was none.
struct Seen
{
    std::uint64_t distances = 0;
    std::uint64_t values = 0;

    bool isInvalid() const { return (distances & ~eightOf(distanceBits)) != 0 || (values & invalidBit) != 0; }
};

std::uint64_t decodeBlock(const unsigned char* text, Seen& seen)
{
    std::uint64_t characters = 0;
    std::memcpy(&characters, text, sizeof characters);
    // A byte too low borrows from the next one, but is seen itself.
    const std::uint64_t distances = le64toh(characters) - eightOf(lowestCharacter);
    const std::uint64_t pairs = distances & eightOf(distanceBits);
    const std::uint64_t first = decodingTable[pairs & 0xFFFF];
    const std::uint64_t second = decodingTable[pairs >> 16 & 0xFFFF];
    const std::uint64_t third = decodingTable[pairs >> 32 & 0xFFFF];
    const std::uint64_t fourth = decodingTable[pairs >> 48];
    seen.distances |= distances;
    seen.values |= first | second | third | fourth;
    return first << 54 | second << 44 | third << 34 | fourth << 24;
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
    Seen seen;
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
    if (seen.isInvalid())
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
