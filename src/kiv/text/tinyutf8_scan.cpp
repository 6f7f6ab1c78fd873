#include <kiv/text/tinyutf8_scan.h>

static_assert(sizeof(void*) == 8 && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "utf8_string and its scans are laid out for 64-bit little-endian machines");

namespace tiny_utf8_detail
{

Tally tally(const char* data, std::size_t begin, std::size_t end, std::size_t size) noexcept
{
    Tally result;
    forEachMultiByte(data, begin, end, size, [&result](std::size_t, std::size_t length) {
        ++result.multiBytes;
        result.extraBytes += length - 1;
    });
    return result;
}

std::size_t walk(const char* data, std::size_t index, std::size_t count, std::size_t size) noexcept
{
    while (count > 0 && index < size)
    {
        if (static_cast<unsigned char>(data[index]) < 0x80)
        {
            const std::size_t behind = skipAscii(data, index, std::min(count, size - index) + index);
            count -= behind - index;
            index = behind;
            continue;
        }
        index += sequenceLength(data, index, size);
        --count;
    }
    return index;
}

std::size_t certainBoundaryUpTo(const char* data, std::size_t index) noexcept
{
    while (!isCertainBoundary(data, index))
        --index;
    return index;
}

std::size_t lengthBefore(const char* data, std::size_t index) noexcept
{
    const std::size_t limit = std::min(maxCodePointBytes, index);
    for (std::size_t distance = 1; distance <= limit; ++distance)
        if (const unsigned ones = leadingOnes(data[index - distance]); ones != 1)
            return ones == distance ? distance : 1;
    return std::min<std::size_t>(index, 1);
}

std::size_t boundaryBefore(const char* data, std::size_t index, std::size_t size) noexcept
{
    const std::size_t length = lengthBefore(data, index);
    if (isCertainBoundary(data, index - length) && sequenceLength(data, index - length, size) == length)
        return index - length;
    std::size_t boundary = certainBoundaryUpTo(data, index - 1);
    for (std::size_t next = boundary; next < index; next += sequenceLength(data, next, size))
        boundary = next;
    return boundary;
}

std::size_t boundaryFrom(const char* data, std::size_t index, std::size_t size) noexcept
{
    std::size_t boundary = certainBoundaryUpTo(data, index);
    while (boundary < index)
        boundary += sequenceLength(data, boundary, size);
    return boundary;
}

std::size_t reachBeyond(const char* data, std::size_t index) noexcept
{
    std::size_t reach = 0;
    if (isCertainBoundary(data, index))
        return reach;
    for (std::size_t distance = 1; distance <= std::min(maxCodePointBytes, index); ++distance)
        reach = std::max<std::size_t>(reach + distance, leadingOnes(data[index - distance])) - distance;
    return reach;
}

} // namespace tiny_utf8_detail
