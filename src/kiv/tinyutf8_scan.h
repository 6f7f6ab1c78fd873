/// Where code points begin in UTF-8 bytes.
///
/// Bytes fall into code points from the start of the data on, each as long as sequenceLength() says. In malformed text
/// the borders can depend on bytes far before them: only isCertainBoundary() can tell locally, and in well-formed text
/// it always can. `size` is the end of the data, which bounds every access and shortens what would run past it.
#ifndef KIV_TINYUTF8_SCAN_H
#define KIV_TINYUTF8_SCAN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <kiv/tinyutf8_detail.h>

namespace tiny_utf8_detail
{

/// The first byte from `index` on that is not ASCII; `end` when there is none.
inline std::size_t skipAscii(const char* data, std::size_t index, std::size_t end) noexcept
{
    constexpr std::size_t word = sizeof(std::uint64_t);
    const auto wordAt = [data](std::size_t i) { return load<std::uint64_t>(data + i); };
    while (end - index >= 4 * word &&
           ((wordAt(index) | wordAt(index + word) | wordAt(index + 2 * word) | wordAt(index + 3 * word)) & highBits) ==
               0)
        index += 4 * word;
    for (; end - index >= word; index += word)
        if (const std::uint64_t bits = wordAt(index) & highBits)
            return index + static_cast<std::size_t>(__builtin_ctzll(bits)) / 8;
    while (index < end && static_cast<unsigned char>(data[index]) < 0x80)
        ++index;
    return index;
}

/// Calls f(position, length) for each code point of several bytes that begins in [begin, end); one begins at `begin`.
template<class F>
void forEachMultiByte(const char* data, std::size_t begin, std::size_t end, std::size_t size, F f)
{
    std::size_t index = begin;
    while (index < end)
    {
        if (static_cast<unsigned char>(data[index]) < 0x80)
        {
            index = skipAscii(data, index, end);
            continue;
        }
        const std::size_t length = sequenceLength(data, index, size);
        if (length > 1)
            f(index, length);
        index += length;
    }
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

/// The last place up to `index` that is surely a beginning.
std::size_t certainBoundaryUpTo(const char* data, std::size_t index) noexcept;

/// The last beginning before `index` > 0.
std::size_t boundaryBefore(const char* data, std::size_t index, std::size_t size) noexcept;

/// The first beginning at `index` or behind it; `size` when there is none.
std::size_t boundaryFrom(const char* data, std::size_t index, std::size_t size) noexcept;

/// How many bytes behind `index` a sequence that begins before it may take.
std::size_t reachBeyond(const char* data, std::size_t index) noexcept;

} // namespace tiny_utf8_detail

#endif
