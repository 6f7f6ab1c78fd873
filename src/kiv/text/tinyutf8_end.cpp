// The quick ways to append to a text and to take its last code point away, where nothing changes but counts and the end
// of the table. Whatever changes more is an edit like any other.
#include <kiv/tinyutf8.h>

#include <kiv/text/tinyutf8_scan.h>
#include <kiv/text/tinyutf8_storage_inline.h>
#include <kiv/text/tinyutf8_table.h>

using namespace tiny_utf8_detail;

namespace
{

/// Appends bytes that end in a whole code point, when that changes nothing but counts and the end of the table; false
/// when it would. `source` is their table, if they have one.
bool appendWhole(CStorage& storage, const char* bytes, std::size_t count, const Tally& content,
                 const CLookupTable* source) noexcept
{
    char* const data = storage.heapData();
    const std::size_t oldSize = storage.heapSize();
    const std::size_t newSize = oldSize + count;
    const std::size_t oldExtra = oldSize - storage.heapLength();
    const std::size_t newLength = newSize - oldExtra - content.extraBytes;
    CLookupTable positions = storage.table();
    const std::size_t first = positions.count();
    const std::size_t entries = first + content.multiBytes;
    if (positions.isInUse() ? !CLookupTable::isWorthwhile(entries, newSize)
                            : CLookupTable::isSparse(newSize - newLength, newSize) || !isCertainBoundary(data, oldSize))
        return false;
    if (!positions.mayHold(entries) || newSize + 1 + positions.bytesFor(entries) > storage.heapCapacity())
        return false;
    std::memcpy(data + oldSize, bytes, count);
    data[newSize] = '\0';
    storage.setHeapSize(newSize);
    storage.setHeapLength(newLength);
    if (content.multiBytes == 0 || !positions.isInUse())
        return true;
    if (source != nullptr)
        positions.copy(first, *source, oldSize);
    else
        positions.record(first, oldSize, newSize, newSize);
    positions.set(entries, true); // behind the copy: the source may be this table itself
    if (source != nullptr)
        positions.setMilestones(first, oldExtra);
    return true;
}

bool appendWhole(CStorage& storage, const Encoded& codePoint) noexcept
{
    return appendWhole(storage, codePoint.bytes, codePoint.count, {codePoint.count > 1, codePoint.count - 1}, nullptr);
}

/// The same for a text.
bool appendText(CStorage& storage, const CStorage& text) noexcept
{
    if (!text.isHeap())
        return isCertainBoundary(text.inlineData(), text.inlineSize()) &&
               appendWhole(storage, text.inlineData(), text.inlineSize(), text.content(), nullptr);
    const CLookupTable entries = text.table();
    return entries.isInUse() && appendWhole(storage, text.heapData(), text.heapSize(), text.content(), &entries);
}

/// The quick way to append a code point on the heap.
bool appendMultiByte(CStorage& storage, const Encoded& codePoint) noexcept
{
    const std::size_t end = storage.heapSize();
    CLookupTable positions = storage.table();
    const std::size_t first = positions.count();
    if (codePoint.count == 1 || !storage.hasRoomAndTable(2 * sizeof(std::uint64_t)) ||
        !CLookupTable::isWorthwhile(first + 1, end) || !positions.mayHold(first + 1))
        return false;
    std::memcpy(storage.heapData() + end, codePoint.bytes, sizeof codePoint.bytes);
    positions.withEntryType([&](auto entry) { positions.setPosition<decltype(entry)>(first, end); });
    positions.set(first + 1, true);
    if (first % milestoneDistance == 0)
        positions.setMilestones(first, end - storage.heapLength());
    storage.setHeapSize(end + codePoint.count);
    storage.growHeapLength(1);
    return true;
}

/// The quick ways to remove the last code point, where that changes nothing but counts and the end of the table; false
/// when it would. They read bytes only one by one, as these may just have been written so.
bool popInside(CStorage& storage) noexcept
{
    char* const data = storage.inlineData();
    const std::size_t size = storage.inlineSize();
    if (size == 0 || leadingOnes(data[size - 1]) != 0 || !isCertainBoundary(data, size - 1))
        return false;
    data[size - 1] = '\0';
    storage.setInlineSize(size - 1);
    return true;
}

bool popOnHeap(CStorage& storage) noexcept
{
    char* const data = storage.heapData();
    const std::size_t oldSize = storage.heapSize();
    CLookupTable positions = storage.table();
    std::size_t entries = positions.count();
    if (oldSize == 0 || !positions.isInUse())
        return false;
    std::size_t newSize = oldSize - 1;
    if (leadingOnes(data[newSize]) != 0)
    {
        if (entries == 0)
            return false;
        newSize = positions.last();
        if (newSize + leadingOnes(data[newSize]) != oldSize)
            return false;
        --entries;
    }
    if (!isCertainBoundary(data, newSize) || !CLookupTable::isWorthwhile(entries, newSize))
        return false;
    data[newSize] = '\0';
    positions.set(entries, true);
    storage.setHeapSize(newSize);
    storage.setHeapLength(storage.heapLength() - 1);
    return true;
}

} // namespace

/// The quick way to append what stands inside an object to a string with a table in use and room for the bytes: when
/// the table has room in any case.
bool utf8_string::appendShort(const utf8_string& text) noexcept
{
    const CStorage& added = text.storage;
    return storage.table().withEntryType([this, &added](auto entry) {
        const size_type oldSize = storage.heapSize();
        const size_type count = added.inlineSize();
        CLookupTable positions = storage.table();
        const size_type first = positions.count();
        const size_type atMost = first + count / 2;
        if (oldSize + CStorage::objectSize + atMost * sizeof entry > storage.heapCapacity() ||
            !CLookupTable::isWorthwhile(atMost, oldSize) || !positions.mayHold(atMost))
            return false;
        size_type entries = first;
        size_type codePoints = count;
        if (!forEachMultiByteOfShort(added.inlineData(), count, [&](size_type index, size_type length) {
                positions.setPosition<decltype(entry)>(entries++, oldSize + index);
                codePoints -= length - 1;
            }))
            return false;
        std::memcpy(storage.heapData() + oldSize, added.inlineData(), CStorage::objectSize); // zeros behind it included
        positions.set(entries, true);
        if (-first % milestoneDistance < entries - first)
            positions.setMilestones(first, oldSize - storage.heapLength());
        storage.setHeapSize(oldSize + count);
        storage.growHeapLength(codePoints);
        return true;
    });
}

/// Appends at the end of the buffer, or of a new one when that is full.
void utf8_string::appendAny(const utf8_string& text)
{
    const CStorage& added = text.storage;
    const size_type newSize = size() + added.size();
    if (storage.isHeap() && appendText(storage, added))
        return;
    if (newSize > CStorage::inlineCapacity)
    {
        storage.makeRoom(newSize, added.isHeap() ? added.table().count() : 0);
        if (appendText(storage, added))
            return;
    }
    raw_insert(size(), text);
}

void utf8_string::appendCodePoint(char32_t codePoint)
{
    const Encoded encoded(codePoint);
    if (!storage.isHeap() || (!appendMultiByte(storage, encoded) && !appendWhole(storage, encoded)))
        raw_insert(size(), codePoint);
}

void utf8_string::pop_back() noexcept
{
    if (!(storage.isHeap() ? popOnHeap(storage) : popInside(storage)))
        raw_erase(raw_previous(size()));
}
