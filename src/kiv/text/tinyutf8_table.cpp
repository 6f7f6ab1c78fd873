#include <kiv/text/tinyutf8_table.h>

#include <algorithm>
#include <cstring>

#include <kiv/text/tinyutf8_scan.h>

namespace tiny_utf8_detail
{

template<class Entry>
std::size_t CLookupTable::position(std::size_t i) const noexcept
{
    return load<Entry>(header - (i + 1) * sizeof(Entry));
}

std::size_t CLookupTable::capacityFor(std::size_t size, std::size_t entries, std::size_t atLeast) noexcept
{
    for (std::size_t width = 1;; width *= 2)
    {
        const std::size_t capacity = std::max((size + entries * width + 8) & ~std::size_t{7}, atLeast);
        if (entryWidth(capacity) <= width)
            return capacity;
    }
}

std::size_t CLookupTable::lowerBound(std::size_t byteIndex) const noexcept
{
    return withEntryType([this, byteIndex](auto entry) {
        std::size_t first = 0;
        for (std::size_t left = count(); left > 0;)
        {
            const std::size_t half = left / 2;
            const bool isBelow = position<decltype(entry)>(first + half) < byteIndex;
            first = isBelow ? first + half + 1 : first;
            left = isBelow ? left - half - 1 : half;
        }
        return first;
    });
}

std::size_t CLookupTable::extraBytes(std::size_t first, std::size_t last) const noexcept
{
    return withEntryType([this, first, last](auto entry) {
        std::size_t extra = 0;
        for (std::size_t i = first; i < last; ++i)
            extra += leadingOnes(data[position<decltype(entry)>(i)]) - 1;
        return extra;
    });
}

std::size_t CLookupTable::walk(std::size_t byteIndex, std::size_t steps) const noexcept
{
    const std::size_t first = lowerBound(byteIndex);
    return withEntryType([this, first, end = byteIndex + steps](auto entry) {
        std::size_t result = end;
        for (std::size_t i = first, entries = count(); i < entries; ++i)
        {
            const std::size_t multiByte = position<decltype(entry)>(i);
            if (multiByte >= result)
                break;
            result += leadingOnes(data[multiByte]) - 1;
        }
        return result;
    });
}

std::size_t CLookupTable::extraBytesBetween(std::size_t begin, std::size_t end) const noexcept
{
    return extraBytes(lowerBound(begin), lowerBound(end));
}

/// Adds to the entries [first, last).
void CLookupTable::moveBy(std::size_t distance, std::size_t first, std::size_t last) noexcept
{
    withEntryType([this, distance, first, last](auto entry) {
        using Entry = decltype(entry);
        for (std::size_t i = first; i < last; ++i)
            setPosition<Entry>(i, position<Entry>(i) + distance);
    });
}

void CLookupTable::replace(std::size_t first, std::size_t removed, std::size_t added, std::size_t distance) noexcept
{
    const std::size_t entries = count();
    const std::size_t behind = entries - first - removed;
    const std::size_t newEntries = entries - removed + added;
    std::memmove(header - bytesFor(newEntries), header - bytesFor(entries), bytesFor(behind));
    if (distance != 0)
        moveBy(distance, first + added, newEntries);
}

void CLookupTable::record(std::size_t i, std::size_t byteIndex) noexcept
{
    withEntryType([this, i, byteIndex](auto entry) { setPosition<decltype(entry)>(i, byteIndex); });
}

void CLookupTable::record(std::size_t first, std::size_t begin, std::size_t end, std::size_t size) noexcept
{
    withEntryType([=](auto entry) {
        std::size_t next = first;
        forEachMultiByte(data, begin, end, size, [this, &next](std::size_t index, std::size_t) {
            setPosition<decltype(entry)>(next++, index);
        });
    });
}

void CLookupTable::copyAll(const CLookupTable& other) noexcept
{
    store(header, load<std::uint64_t>(other.header));
    copy(0, other, 0);
}

void CLookupTable::copy(std::size_t first, const CLookupTable& other, std::size_t distance) noexcept
{
    const std::size_t added = other.count();
    if (entryShift(capacity()) != entryShift(other.capacity()))
        return other.withEntryType([this, first, &other, distance, added](auto entry) {
            for (std::size_t i = 0; i < added; ++i)
                record(first + i, other.position<decltype(entry)>(i) + distance);
        });
    std::memcpy(header - bytesFor(first + added), other.header - bytesFor(added), bytesFor(added));
    if (distance != 0)
        moveBy(distance, first, first + added);
}

} // namespace tiny_utf8_detail
