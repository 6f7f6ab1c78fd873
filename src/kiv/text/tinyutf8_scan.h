/// Where code points begin in UTF-8 bytes.
///
/// Bytes fall into code points from the start of the data on, each as long as sequenceLength() says. In malformed text
/// the borders can depend on bytes far before them: only isCertainBoundary() can tell locally, and in well-formed text
/// it always can. `size` is the end of the data, which bounds every access and shortens what would run past it.
#ifndef KIV_TEXT_TINYUTF8_SCAN_H
#define KIV_TEXT_TINYUTF8_SCAN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <kiv/tinyutf8_bytes.h>

namespace tiny_utf8_detail
{

/// The position of the lowest byte in a word of top bits, which is not 0.
inline std::size_t lowestByteOf(std::uint64_t topBits) noexcept
{
    return static_cast<unsigned>(__builtin_ctzll(topBits)) / 8;
}

/// True when 32 bytes are all ASCII.
inline bool isAsciiOf32(const char* bytes) noexcept
{
    const auto wordAt = [bytes](std::size_t i) { return load<std::uint64_t>(bytes + i * sizeof(std::uint64_t)); };
    return ((wordAt(0) | wordAt(1) | wordAt(2) | wordAt(3)) & highBits) == 0;
}

/// The first byte from `index` on that is not ASCII; `end` when there is none.
inline std::size_t skipAscii(const char* data, std::size_t index, std::size_t end) noexcept
{
    constexpr std::size_t word = sizeof(std::uint64_t);
    while (end - index >= 4 * word && isAsciiOf32(data + index))
        index += 4 * word;
    for (; end - index >= word; index += word)
        if (const std::uint64_t bits = load<std::uint64_t>(data + index) & highBits)
            return index + lowestByteOf(bits);
    while (index < end && static_cast<unsigned char>(data[index]) < 0x80)
        ++index;
    return index;
}

/// The top bits of those of eight bytes that begin a sequence, unless they stand in one that begins before them.
inline std::uint64_t firstBytesOf8(const char* bytes) noexcept
{
    const auto word = load<std::uint64_t>(bytes);
    return word & word << 1 & highBits;
}

/// Calls f(position, length) for each code point of several bytes that begins in [begin, end); one begins at `begin`.
template<class F>
void forEachMultiByte(const char* data, std::size_t begin, std::size_t end, std::size_t size, F f)
{
    constexpr std::size_t word = sizeof(std::uint64_t);
    std::size_t next = begin; // what lies before belongs to a sequence
    const auto visit = [data, size, &next, &f](std::size_t index) {
        if (index < next)
            return;
        const std::size_t length = sequenceLength(data, index, size);
        if (length > 1)
            f(index, length);
        next = index + length;
    };
    const auto visitWord = [data, &visit](std::size_t index) {
        for (std::uint64_t firsts = firstBytesOf8(data + index); firsts != 0; firsts &= firsts - 1)
            visit(index + lowestByteOf(firsts));
    };
    std::size_t index = begin;
    for (; end - index >= 4 * word; index += 4 * word)
        if (!isAsciiOf32(data + index))
            for (std::size_t i = 0; i < 4; ++i)
                visitWord(index + i * word);
    for (; end - index >= word; index += word)
        visitWord(index);
    for (; index < end; ++index)
        if (static_cast<unsigned char>(data[index]) >= 0xC0)
            visit(index);
}

/// The same for a whole short text, whose last word is filled up with ASCII. False when the text is malformed by a
/// first byte that stands in a sequence or by a sequence that runs past the end; the calls then mean nothing.
template<class F>
bool forEachMultiByteOfShort(const char* text, std::size_t size, F f)
{
    std::size_t end = 0;
    for (std::size_t word = 0; word < size; word += sizeof(std::uint64_t))
        for (std::uint64_t firsts = firstBytesOf8(text + word); firsts != 0; firsts &= firsts - 1)
        {
            const std::size_t index = word + lowestByteOf(firsts);
            if (index < end)
                return false;
            const std::size_t length = leadingOnes(text[index]);
            f(index, length);
            end = index + length;
        }
    return end <= size;
}

/// The code points of several bytes in a part of a text.
struct Tally
{
    std::size_t multiBytes = 0; ///< how many
    std::size_t extraBytes = 0; ///< bytes behind their first ones
};

/// Counts what begins in [begin, end); a code point begins at `begin`.
Tally tally(const char* data, std::size_t begin, std::size_t end, std::size_t size) noexcept;

/// Where the `count` code points from the beginning of one at `index` end; `size` when there are fewer.
std::size_t walk(const char* data, std::size_t index, std::size_t count, std::size_t size) noexcept;

/// True when no byte before `index` can be the first of a sequence that reaches beyond `index`, so that a code point
/// surely begins (or the data ends) there. In well-formed text that holds exactly where a code point begins.
inline bool isCertainBoundary(const char* data, std::size_t index) noexcept
{
    // Byte by byte: a wider load of bytes that were just written one at a time would wait for them.
    const auto before = [data, index](std::size_t distance) {
        return static_cast<unsigned char>(data[index - distance]);
    };
    if (index >= maxCodePointBytes)
        return before(1) < 0xC0 && before(2) < 0xE0 && before(3) < 0xF0 && before(4) < 0xF8 && before(5) < 0xFC &&
               before(6) < 0xFE && before(7) < 0xFF;
    for (std::size_t distance = 1; distance <= index; ++distance)
        if (leadingOnes(data[index - distance]) > distance)
            return false;
    return true;
}

/// The last place up to `index` that is surely a beginning.
std::size_t certainBoundaryUpTo(const char* data, std::size_t index) noexcept;

/// Number of bytes of what looks like a code point before `index`, up to maxCodePointBytes; 1 for bytes that form none,
/// 0 at the start.
std::size_t lengthBefore(const char* data, std::size_t index) noexcept;

/// The last beginning before `index` > 0.
std::size_t boundaryBefore(const char* data, std::size_t index, std::size_t size) noexcept;

/// The first beginning at `index` or behind it; `size` when there is none.
std::size_t boundaryFrom(const char* data, std::size_t index, std::size_t size) noexcept;

/// How many bytes behind `index` a sequence that begins before it may take.
std::size_t reachBeyond(const char* data, std::size_t index) noexcept;

/// The bytes of one code point, filled up with zeros to eight.
struct Encoded
{
    char bytes[sizeof(std::uint64_t)] = {};
    std::size_t count;

    explicit Encoded(char32_t codePoint) noexcept : count(encode(codePoint, bytes)) {}
};

} // namespace tiny_utf8_detail

#endif
