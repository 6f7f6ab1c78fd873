/// UTF-8 bytes one by one: the helpers that utf8_string's inline functions and iterators need.
///
/// UTF-8 is taken in its early, unbounded form: up to seven bytes for a code point, which covers all 32 bits.
#ifndef KIV_TINYUTF8_DETAIL_H
#define KIV_TINYUTF8_DETAIL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <kiv/kiv_export.h>

namespace tiny_utf8_detail
{

/// Tells a constructor of utf8_string that its count means code points.
struct read_codepoints_tag
{};

/// Tells a constructor of utf8_string that its count means bytes.
struct read_bytes_tag
{};

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

/// The width of the lookup table's entries in a heap buffer of this capacity, in bytes and as a shift: 1, 2, 4 or 8.
constexpr unsigned entryShift(std::size_t capacity) noexcept
{
    return unsigned{capacity > 0x100} + unsigned{capacity > 0x10000} + unsigned{capacity > 0x100000000};
}
constexpr std::size_t entryWidth(std::size_t capacity) noexcept { return std::size_t{1} << entryShift(capacity); }

} // namespace tiny_utf8_detail

#endif
