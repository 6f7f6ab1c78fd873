/// UTF-8 bytes one by one and in words: the helpers that utf8_string's inline functions and iterators need.
///
/// UTF-8 is taken in its early, unbounded form: up to seven bytes for a code point, which covers all 32 bits.
#ifndef KIV_TINYUTF8_BYTES_H
#define KIV_TINYUTF8_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <kiv/kiv_export.h>

namespace tiny_utf8_detail
{

/// Number of bytes of a code point, by the position of its highest set bit.
inline constexpr unsigned char lut[32] = {1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 3,
                                          4, 4, 4, 4, 4, 5, 5, 5, 5, 5, 6, 6, 6, 6, 6, 7};

/// The longest encoding of a code point in bytes.
inline constexpr std::size_t maxCodePointBytes = 7;

/// The top bit of each of eight bytes: set in every byte that is not ASCII.
inline constexpr std::uint64_t highBits = 0x8080808080808080;

/// Reads a value from memory of any type and alignment.
template<class T>
T load(const char* from) noexcept
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// Writes a value into memory of any type and alignment.
template<class T>
void store(char* to, T value) noexcept
{
    std::memcpy(to, &value, sizeof value);
}

/// Copies up to 32 bytes, in two pieces that may overlap each other but not what they replace.
inline void copyShort(char* to, const char* from, std::size_t count) noexcept
{
    const auto copyBothEnds = [to, from, count](auto piece) {
        const auto first = load<decltype(piece)>(from);
        const auto last = load<decltype(piece)>(from + count - sizeof piece);
        store(to, first);
        store(to + count - sizeof piece, last);
    };
    struct Sixteen
    {
        std::uint64_t half[2];
    };
    if (count >= 16)
        copyBothEnds(Sixteen());
    else if (count >= 8)
        copyBothEnds(std::uint64_t());
    else if (count >= 4)
        copyBothEnds(std::uint32_t());
    else
        for (std::size_t i = 0; i < count; ++i)
            to[i] = from[i];
}

/// Number of bytes that a code point takes.
inline std::size_t encodedLength(char32_t codePoint) noexcept
{
    return lut[31 - __builtin_clz(static_cast<std::uint32_t>(codePoint) | 1)];
}

/// Number of leading one bits of a byte, 0 to 8: 0 for ASCII, 1 for a continuation byte.
inline unsigned leadingOnes(char byte) noexcept
{
    return static_cast<unsigned>(__builtin_clz(~(std::uint32_t{static_cast<unsigned char>(byte)} << 24)));
}

/// Number of bytes of the code point that begins at `index` < `size`: the number of leading one bits of its first byte.
/// A continuation byte that stands alone, and the first byte of a sequence that would run past `size`, count as 1.
inline std::size_t sequenceLength(const char* data, std::size_t index, std::size_t size) noexcept
{
    const std::size_t length = leadingOnes(data[index]);
    return length < 2 || length > size - index ? 1 : length;
}

/// The code point in `length` > 1 bytes; what exceeds 32 bits is lost.
KIV_API char32_t decodeMultiByte(const char* bytes, std::size_t length) noexcept;

/// The code point that begins at `index`; a byte that counts alone is its own value. The zero byte behind the data may
/// be read as well.
inline char32_t decode(const char* data, std::size_t index, std::size_t size) noexcept
{
    const auto first = static_cast<unsigned char>(data[index]);
    if (first < 0x80)
        return first;
    const std::size_t length = sequenceLength(data, index, size);
    return length == 1 ? first : decodeMultiByte(data + index, length);
}

/// Writes the bytes of a code point, at most maxCodePointBytes, and returns their number.
KIV_API std::size_t encode(char32_t codePoint, char* to) noexcept;

} // namespace tiny_utf8_detail

#endif
