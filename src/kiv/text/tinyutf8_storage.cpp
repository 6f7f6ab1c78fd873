#include <kiv/tinyutf8_storage.h>

#include <algorithm>
#include <stdexcept>

#include <kiv/text/tinyutf8_scan.h>
#include <kiv/text/tinyutf8_storage_inline.h>
#include <kiv/text/tinyutf8_table.h>

namespace tiny_utf8_detail
{

static_assert(sizeof(void*) == 8 && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the fields and the scans are laid out for 64-bit little-endian machines");

namespace
{

/// Memory for a buffer of this capacity, the table's header and milestones.
char* allocateBuffer(std::size_t capacity)
{
    return static_cast<char*>(::operator new(CLookupTable::allocationFor(capacity)));
}

/// The same; null when there is no memory.
char* tryToAllocateBuffer(std::size_t capacity) noexcept
{
    return static_cast<char*>(::operator new(CLookupTable::allocationFor(capacity), std::nothrow));
}

void requireSize(std::size_t size)
{
    if (size > CStorage::maxSize)
        throw std::length_error("utf8_string: longer than max_size");
}

/// Twice the room, in groups of eight; with milestones for a text that has begun to need entries.
std::size_t grownCapacity(const CStorage& storage, std::size_t entries) noexcept
{
    const std::size_t doubled = (2 * storage.capacity() + 7) & ~std::size_t{7};
    return entries == 0 ? doubled : withMilestones(doubled, milestoneDistance + 1);
}

} // namespace

Tally CStorage::content() const noexcept
{
    if (hasSingleBytesOnly())
        return {};
    return isHeap() && hasTable() ? Tally{table().count(), heapSize() - heapLength()}
                                  : tally(data(), 0, size(), size());
}

char* CStorage::make(std::size_t newSize, std::size_t entries)
{
    requireSize(newSize);
    if (newSize <= inlineCapacity)
    {
        setInlineSize(newSize);
        return object;
    }
    const std::size_t newCapacity = CLookupTable::capacityFor(newSize, entries);
    char* const buffer = allocateBuffer(newCapacity);
    setHeap(buffer, newSize, newCapacity);
    return buffer;
}

void CStorage::index(const Tally& content, const CFirstPositions* positions) noexcept
{
    if (!isHeap())
        return;
    const std::size_t count = heapSize();
    CLookupTable entries = table();
    setHeapLength(count - content.extraBytes);
    entries.drop();
    if (!CLookupTable::isWorthwhile(content.multiBytes, count) || !entries.mayHold(content.multiBytes) ||
        count + 1 + entries.bytesFor(content.multiBytes) > heapCapacity())
        return;
    entries.set(content.multiBytes, isCertainBoundary(heapData(), count));
    if (positions != nullptr && positions->hasAll(content.multiBytes, count))
        entries.record(*positions);
    else if (content.multiBytes != 0)
        entries.record(0, 0, count, count);
}

void CStorage::clear() noexcept
{
    if (isHeap())
    {
        setHeap(heapData(), 0, heapCapacity());
        table().set(0, true);
        return;
    }
    std::memset(object, 0, objectSize);
    setInlineSize(0);
}

void CStorage::reserve(std::size_t byteCount)
{
    requireSize(byteCount);
    const std::size_t entries = isHeap() ? table().count() : 0;
    const std::size_t needed = CLookupTable::capacityFor(byteCount, entries);
    if (byteCount > inlineCapacity && (!isHeap() || needed > heapCapacity()))
        moveTo(allocateBuffer(needed), needed);
}

void CStorage::shrink()
{
    if (isHeap() && CLookupTable::capacityFor(heapSize(), table().count()) < heapCapacity())
    {
        CStorage copy(*this);
        swap(copy);
    }
}

void CStorage::makeRoom(std::size_t newSize, std::size_t newEntries)
{
    requireSize(newSize);
    if (isHeap() && newSize + 1 + table().bytes() <= heapCapacity())
        return;
    const std::size_t entries = isHeap() ? table().count() : content().multiBytes;
    const std::size_t newCapacity =
        CLookupTable::capacityFor(newSize, entries + newEntries, grownCapacity(*this, entries));
    moveTo(allocateBuffer(newCapacity), newCapacity);
}

bool CStorage::makeTableRoom(std::size_t entries) noexcept
{
    const bool hasRoom = heapSize() + 1 + table().bytesFor(entries) <= heapCapacity();
    if (hasRoom && table().mayHold(entries))
        return true;
    const std::size_t atLeast = hasRoom ? heapCapacity() : grownCapacity(*this, entries);
    const std::size_t newCapacity = CLookupTable::capacityFor(heapSize(), entries, atLeast);
    char* const buffer = tryToAllocateBuffer(newCapacity);
    if (buffer != nullptr)
        moveTo(buffer, newCapacity);
    return buffer != nullptr;
}

Tally CStorage::contentOf(std::size_t begin, std::size_t end) const noexcept
{
    const CLookupTable positions = table();
    if (!hasTable())
        return tally(heapData(), begin, end, heapSize());
    const std::size_t first = positions.lowerBound(begin);
    const std::size_t last = positions.lowerBound(end);
    return {last - first, positions.extraBytes(first, last)};
}

void CStorage::restoreTable() noexcept
{
    const std::size_t count = heapSize();
    if (!CLookupTable::isSparse(count - heapLength(), count))
        return;
    const Tally content = tally(heapData(), 0, count, count);
    if (makeTableRoom(content.multiBytes))
        index(content);
}

void CStorage::takeOnHeap(const char* bytes, std::size_t count)
{
    CFirstPositions positions;
    Tally content;
    forEachMultiByte(bytes, 0, count, count, [&positions, &content](std::size_t index, std::size_t length) {
        positions.keep(content.multiBytes++, index, index - content.extraBytes);
        content.extraBytes += length - 1;
    });
    const bool wantsTable = CLookupTable::isWorthwhile(content.multiBytes, count);
    std::memcpy(make(count, wantsTable ? content.multiBytes : 0), bytes, count);
    index(content, &positions);
}

void CStorage::copyHeap(const CStorage& other)
{
    const CLookupTable entries = other.table();
    const std::size_t count = other.heapSize();
    std::memcpy(make(count, entries.count()), other.heapData(), count);
    if (!isHeap())
        return;
    setHeapLength(other.heapLength());
    table().copyAll(entries);
}

std::size_t CStorage::countInside() const noexcept
{
    return inlineSize() - tally(object, 0, inlineSize(), inlineSize()).extraBytes;
}

/// Enters heap mode; the length is still to be set.
void CStorage::setHeap(char* buffer, std::size_t newSize, std::size_t newCapacity) noexcept
{
    buffer[newSize] = '\0';
    store(object + fieldData, buffer);
    store(object + fieldSize, newSize);
    store(object + fieldCapacity, newCapacity);
    setHeapLength(0);
}

/// Moves the content to a buffer that has room for it and for its table.
void CStorage::moveTo(char* buffer, std::size_t newCapacity) noexcept
{
    const std::size_t count = size();
    std::memcpy(buffer, data(), count);
    if (!isHeap())
    {
        setHeap(buffer, count, newCapacity);
        index(tally(buffer, 0, count, count));
        return;
    }
    CLookupTable entries(buffer, newCapacity);
    entries.copyAll(table());
    const std::size_t codePoints = heapLength();
    ::operator delete(heapData());
    setHeap(buffer, count, newCapacity);
    setHeapLength(codePoints);
}

} // namespace tiny_utf8_detail
