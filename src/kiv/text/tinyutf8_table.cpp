#include <kiv/text/tinyutf8_table.h>

#include <algorithm>
#include <cstring>

#include <kiv/text/tinyutf8_scan.h>

namespace tiny_utf8_detail
{

/// The number of code points before the entry `i`, which has a milestone.
template<class Entry>
std::size_t CLookupTable::milestone(std::size_t i) const noexcept
{
    return load<Entry>(header + sizeof(std::uint64_t) + i / milestoneDistance * sizeof(Entry));
}

std::size_t CLookupTable::capacityFor(std::size_t size, std::size_t entries, std::size_t atLeast) noexcept
{
    for (std::size_t width = 1;; width *= 2)
    {
        const std::size_t plain = std::max((size + entries * width + 8) & ~std::size_t{7}, atLeast);
        const std::size_t capacity = withMilestones(plain, entries);
        if (entryWidth(capacity) <= width)
            return capacity;
    }
}

std::size_t CLookupTable::allocationFor(std::size_t capacity) noexcept
{
    const std::size_t table = capacity + sizeof(std::uint64_t);
    if (!hasMilestones(capacity))
        return table;
    const std::size_t mostEntries = capacity / 5; // more are not worthwhile
    return table + (mostEntries / milestoneDistance + 1) * entryWidth(capacity);
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
    if (last - first > milestoneDistance && hasMilestones(capacity()))
        return extraBytesBefore(last) - extraBytesBefore(first);
    return withEntryType([this, first, last](auto entry) {
        std::size_t extra = 0;
        for (std::size_t i = first; i < last; ++i)
            extra += leadingOnes(data[position<decltype(entry)>(i)]) - 1;
        return extra;
    });
}

/// What stands before the entry `i`, from the last milestone before it on.
std::size_t CLookupTable::extraBytesBefore(std::size_t i) const noexcept
{
    if (i <= milestoneDistance || !hasMilestones(capacity()))
        return extraBytes(0, i);
    const std::size_t start = (i - 1) / milestoneDistance * milestoneDistance;
    return extraBytes(start, i) + withEntryType([this, start](auto entry) {
               using Entry = decltype(entry);
               return position<Entry>(start) - milestone<Entry>(start);
           });
}

/// The last entry with a milestone, not before `first`, that has fewer than so many code points before it; `first` when
/// there is none.
std::size_t CLookupTable::lastMilestoneBefore(std::size_t codePointIndex, std::size_t first) const noexcept
{
    return withEntryType([this, codePointIndex, first](auto entry) {
        std::size_t below = first / milestoneDistance;
        for (std::size_t left = (count() - 1) / milestoneDistance - below + 1; left > 1;)
        {
            const std::size_t half = left / 2;
            const std::size_t i = (below + half) * milestoneDistance;
            const bool isBelow = milestone<decltype(entry)>(i) < codePointIndex;
            below = isBelow ? below + half : below;
            left = isBelow ? left - half : half;
        }
        return std::max(below * milestoneDistance, first);
    });
}

std::size_t CLookupTable::walk(std::size_t byteIndex, std::size_t steps) const noexcept
{
    const std::size_t first = byteIndex == 0 ? 0 : lowerBound(byteIndex);
    std::size_t start = first;
    std::size_t result = byteIndex + steps;
    if (count() - first > milestoneDistance && hasMilestones(capacity()))
    {
        const std::size_t before = extraBytesBefore(first);
        start = lastMilestoneBefore(result - before, first);
        result += extraBytesBefore(start) - before;
    }
    return withEntryType([this, start, end = result](auto entry) {
        std::size_t behind = end;
        for (std::size_t i = start, entries = count(); i < entries; ++i)
        {
            const std::size_t multiByte = position<decltype(entry)>(i);
            if (multiByte >= behind)
                break;
            behind += leadingOnes(data[multiByte]) - 1;
        }
        return behind;
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

void CLookupTable::record(std::size_t first, std::size_t begin, std::size_t end, std::size_t size) noexcept
{
    withEntryType([=](auto entry) {
        std::size_t next = first;
        std::size_t extra = extraBytesBefore(first);
        forEachMultiByte(data, begin, end, size, [this, &next, &extra](std::size_t index, std::size_t length) {
            record<decltype(entry)>(next++, index, index - extra);
            extra += length - 1;
        });
    });
}

void CLookupTable::record(const CFirstPositions& kept) noexcept
{
    withEntryType([this, &kept](auto entry) {
        using Entry = decltype(entry);
        for (std::size_t i = 0, entries = count(); i < entries; ++i)
            setPosition<Entry>(i, kept.positions[i]);
        if (hasMilestones(capacity()))
            for (std::size_t i = 0, entries = count(); i < entries; i += milestoneDistance)
                setMilestone<Entry>(i, kept.milestones[i / milestoneDistance]);
    });
}

void CLookupTable::setMilestones(std::size_t first, std::size_t extra) noexcept
{
    if (!hasMilestones(capacity()))
        return;
    withEntryType([this, first, extra](auto entry) mutable {
        using Entry = decltype(entry);
        for (std::size_t i = first, entries = count(); i < entries; ++i)
        {
            const std::size_t byteIndex = position<Entry>(i);
            if (i % milestoneDistance == 0)
                setMilestone<Entry>(i, byteIndex - extra);
            extra += leadingOnes(data[byteIndex]) - 1;
        }
    });
}

void CLookupTable::copyAll(const CLookupTable& other) noexcept
{
    store(header, load<std::uint64_t>(other.header));
    copy(0, other, 0);
    if (!hasMilestones(capacity()) || !hasMilestones(other.capacity()) ||
        entryShift(capacity()) != entryShift(other.capacity()))
        return setMilestones(0, 0);
    const std::size_t milestones = (count() + milestoneDistance - 1) / milestoneDistance;
    std::memcpy(header + sizeof(std::uint64_t), other.header + sizeof(std::uint64_t), bytesFor(milestones));
}

void CLookupTable::copy(std::size_t first, const CLookupTable& other, std::size_t distance) noexcept
{
    const std::size_t added = other.count();
    if (entryShift(capacity()) != entryShift(other.capacity()))
        return other.withEntryType([this, first, &other, distance, added](auto entry) {
            withEntryType([=, &other](auto own) {
                for (std::size_t i = 0; i < added; ++i)
                    setPosition<decltype(own)>(first + i, other.position<decltype(entry)>(i) + distance);
            });
        });
    std::memcpy(header - bytesFor(first + added), other.header - bytesFor(added), bytesFor(added));
    if (distance != 0)
        moveBy(distance, first, first + added);
}

} // namespace tiny_utf8_detail
