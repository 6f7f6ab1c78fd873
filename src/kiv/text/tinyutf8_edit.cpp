// How an edit keeps length and table in step, whatever the bytes: it finds a part around itself that begins and ends
// where surely a code point does, in the old text and in the new one. What lies outside of it falls into the same code
// points as before; only this part is counted, once before and once after.
#include <kiv/tinyutf8.h>

#include <algorithm>
#include <stdexcept>

#include <kiv/text/tinyutf8_scan.h>
#include <kiv/text/tinyutf8_storage_inline.h>
#include <kiv/text/tinyutf8_table.h>

using namespace tiny_utf8_detail;

namespace
{

constexpr char insertFailure[] = "utf8_string::(raw_)insert: index > old_data_len";
constexpr char replaceFailure[] = "utf8_string::(raw_)replace: index > old_data_len";
constexpr char eraseFailure[] = "utf8_string::(raw_)erase: index > old_data_len";
constexpr char substrFailure[] = "utf8_string::(raw_)substr: index > data_len";

[[noreturn, gnu::cold, gnu::noinline]] void throwOutside(const char* failure) { throw std::out_of_range(failure); }

void requireIndex(bool isInside, const char* failure)
{
    if (!isInside)
        throwOutside(failure);
}

/// The bytes of one code point, filled up with zeros to eight.
struct Encoded
{
    char bytes[sizeof(std::uint64_t)] = {};
    std::size_t count;

    explicit Encoded(char32_t codePoint) noexcept : count(encode(codePoint, bytes)) {}
};

/// The part that an edit changes: [begin, oldEnd) of the old text becomes [begin, newEnd) of the new one.
struct Part
{
    std::size_t begin;
    std::size_t oldEnd;
    std::size_t newEnd;
};

/// The part that changes when `count` bytes replace `removed` ones at `index` of a text.
Part changedPart(const char* data, std::size_t size, std::size_t index, std::size_t removed, const char* bytes,
                 std::size_t count)
{
    const std::size_t end = index + removed;
    const std::size_t oldReach = reachBeyond(data, end);
    const std::size_t newReach = std::max(reachBeyond(bytes, count) + count, reachBeyond(data, index)) - count;
    std::size_t reach = std::max(oldReach, newReach);
    for (std::size_t i = 0; i < reach && i < size - end; ++i)
        reach = std::max<std::size_t>(reach, i + leadingOnes(data[end + i]));
    reach = std::min(reach, size - end);
    return {certainBoundaryUpTo(data, index), end + reach, index + count + reach};
}

/// splice() inside the object, where the result fits.
void spliceInside(CStorage& storage, std::size_t index, std::size_t removed, const char* bytes,
                  std::size_t count) noexcept
{
    char* const data = storage.inlineData();
    const std::size_t oldSize = storage.inlineSize();
    const std::size_t newSize = oldSize - removed + count;
    std::memmove(data + index + count, data + index + removed, oldSize - index - removed);
    std::memcpy(data + index, bytes, count);
    if (newSize < oldSize)
        std::memset(data + newSize, 0, oldSize - newSize);
    storage.setInlineSize(newSize);
}

/// splice() on the heap with room for the bytes; `source`, if any, has a table.
void spliceHeap(CStorage& storage, std::size_t index, std::size_t removed, const char* bytes, std::size_t count,
                const CStorage* source) noexcept
{
    char* const data = storage.heapData();
    const std::size_t oldSize = storage.heapSize();
    const std::size_t newSize = oldSize - removed + count;
    const bool hadTable = storage.hasTable();
    const Part part = changedPart(data, oldSize, index, removed, bytes, count);
    const Tally gone = storage.contentOf(part.begin, part.oldEnd);
    std::memmove(data + index + count, data + index + removed, oldSize - index - removed + 1);
    std::memcpy(data + index, bytes, count);
    storage.setHeapSize(newSize);

    if (part.begin != index || part.newEnd != index + count)
        source = nullptr;
    const Tally come = source != nullptr ? source->content() : tally(data, part.begin, part.newEnd, newSize);
    storage.setHeapLength(storage.heapLength() - (part.oldEnd - gone.extraBytes) + (part.newEnd - come.extraBytes));
    if (!hadTable)
        return storage.restoreTable();
    const std::size_t entries = storage.table().count() - gone.multiBytes + come.multiBytes;
    if (!CLookupTable::isWorthwhile(entries, newSize) || !storage.makeTableRoom(entries))
        return storage.table().drop();
    CLookupTable positions = storage.table();
    const std::size_t first = positions.lowerBound(part.begin);
    positions.replace(first, gone.multiBytes, come.multiBytes, part.newEnd - part.oldEnd);
    positions.set(entries, isCertainBoundary(storage.heapData(), newSize));
    if (source != nullptr)
        positions.copy(first, source->table(), index);
    else
        positions.record(first, part.begin, part.newEnd, newSize);
}

/// Replaces `removed` bytes by `count` others from outside of this storage; `source` is what they all are, if anything.
void splice(CStorage& storage, std::size_t index, std::size_t removed, const char* bytes, std::size_t count,
            const CStorage* source)
{
    const std::size_t newSize = storage.size() - removed + count;
    if (!storage.isHeap() && newSize <= CStorage::inlineCapacity)
        return spliceInside(storage, index, removed, bytes, count);
    const bool isSourceIndexed = source != nullptr && source->isHeap() && source->hasTable();
    storage.makeRoom(newSize, isSourceIndexed ? source->table().count() : 0);
    spliceHeap(storage, index, removed, bytes, count, isSourceIndexed ? source : nullptr);
}

// Not inlined: the copy and its clean-up would stand in every operation.
[[gnu::noinline]] void splice(CStorage& storage, std::size_t index, std::size_t removed, const CStorage& text)
{
    if (&text == &storage)
    {
        const CStorage copy(text);
        splice(storage, index, removed, copy.data(), copy.size(), &copy);
    }
    else
        splice(storage, index, removed, text.data(), text.size(), &text);
}

void splice(CStorage& storage, std::size_t index, std::size_t removed, const Encoded& codePoint)
{
    splice(storage, index, removed, codePoint.bytes, codePoint.count, nullptr);
}

void erase(CStorage& storage, std::size_t index, std::size_t removed)
{
    splice(storage, index, removed, "", 0, nullptr);
}

/// Appends bytes that end in a whole code point, when that changes nothing but counts and the end of the table; false
/// when it would. `source` is their table, if they have one.
bool appendWhole(CStorage& storage, const char* bytes, std::size_t count, const Tally& content,
                 const CLookupTable* source) noexcept
{
    char* const data = storage.heapData();
    const std::size_t oldSize = storage.heapSize();
    const std::size_t newSize = oldSize + count;
    const std::size_t newLength = storage.heapLength() + count - content.extraBytes;
    CLookupTable positions = storage.table();
    const std::size_t first = positions.count();
    const std::size_t entries = first + content.multiBytes;
    if (positions.isInUse() ? !CLookupTable::isWorthwhile(entries, newSize)
                            : CLookupTable::isSparse(newSize - newLength, newSize) || !isCertainBoundary(data, oldSize))
        return false;
    if (newSize + 1 + positions.bytesFor(entries) > storage.heapCapacity())
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
    positions.set(entries, true); // last: the source may be this table itself
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

/// Appends at the end of the buffer, or of a new one when that is full; what changes more is an edit like any other.
void appendOnHeap(CStorage& storage, const CStorage& text)
{
    if (storage.isHeap() && appendText(storage, text))
        return;
    storage.makeRoom(storage.size() + text.size(), text.isHeap() ? text.table().count() : 0);
    if (!appendText(storage, text))
        splice(storage, storage.size(), 0, text);
}

/// The quick way to append a code point on the heap.
bool appendMultiByte(CStorage& storage, const Encoded& codePoint) noexcept
{
    const std::size_t end = storage.heapSize();
    CLookupTable positions = storage.table();
    const std::size_t first = positions.count();
    if (codePoint.count == 1 || !storage.hasRoomAndTable(2 * sizeof(std::uint64_t)) ||
        !CLookupTable::isWorthwhile(first + 1, end))
        return false;
    std::memcpy(storage.heapData() + end, codePoint.bytes, sizeof codePoint.bytes);
    positions.record(first, end);
    positions.set(first + 1, true);
    storage.setHeapSize(end + codePoint.count);
    storage.growHeapLength(1);
    return true;
}

} // namespace

CCodePointReference& CCodePointReference::operator=(char32_t codePoint)
{
    string->raw_replace(place, string->raw_next(place) - place, utf8_string(1, codePoint));
    return *this;
}

/// The quick way to append what stands inside an object to a string with a table in use and room for the bytes: when
/// the table has room in any case.
bool utf8_string::appendShort(const utf8_string& text) noexcept
{
    const CStorage& added = text.storage;
    return storage.table().withEntryType([this, &added](auto entry) {
        const size_type oldSize = storage.heapSize();
        const size_type count = added.inlineSize();
        CLookupTable positions = storage.table();
        const size_type atMost = positions.count() + count / 2;
        if (oldSize + CStorage::objectSize + atMost * sizeof entry > storage.heapCapacity() ||
            !CLookupTable::isWorthwhile(atMost, oldSize))
            return false;
        size_type entries = positions.count();
        size_type codePoints = count;
        if (!forEachMultiByteOfShort(added.inlineData(), count, [&](size_type index, size_type length) {
                positions.setPosition<decltype(entry)>(entries++, oldSize + index);
                codePoints -= length - 1;
            }))
            return false;
        std::memcpy(storage.heapData() + oldSize, added.inlineData(), CStorage::objectSize); // zeros behind it included
        positions.set(entries, true);
        storage.setHeapSize(oldSize + count);
        storage.growHeapLength(codePoints);
        return true;
    });
}

/// Appends inside the object while it has the room.
void utf8_string::appendAny(const utf8_string& text)
{
    if (!storage.isHeap() && size() + text.size() <= CStorage::inlineCapacity)
        spliceInside(storage, size(), 0, text.data(), text.size());
    else
        appendOnHeap(storage, text.storage);
}

void utf8_string::appendCodePoint(char32_t codePoint)
{
    const Encoded encoded(codePoint);
    if (!storage.isHeap() || (!appendMultiByte(storage, encoded) && !appendWhole(storage, encoded)))
        splice(storage, size(), 0, encoded);
}

void utf8_string::pop_back() noexcept { raw_erase(raw_previous(size())); }

utf8_string& utf8_string::insert(size_type index, const utf8_string& text)
{
    const size_type begin = byteIndexOf(index);
    requireIndex(begin < size() || index <= length(), insertFailure);
    splice(storage, begin, 0, text.storage);
    return *this;
}

utf8_string& utf8_string::insert(size_type index, size_type count, char32_t codePoint)
{
    return insert(index, utf8_string(count, codePoint));
}

utf8_string& utf8_string::raw_insert(size_type byteIndex, const utf8_string& text)
{
    requireIndex(byteIndex <= size(), insertFailure);
    splice(storage, byteIndex, 0, text.storage);
    return *this;
}

utf8_string& utf8_string::raw_insert(size_type byteIndex, char32_t codePoint)
{
    requireIndex(byteIndex <= size(), insertFailure);
    splice(storage, byteIndex, 0, Encoded(codePoint));
    return *this;
}

utf8_string& utf8_string::replace(size_type index, size_type count, const utf8_string& text)
{
    const size_type begin = byteIndexOf(index);
    requireIndex(begin < size() || index <= length(), replaceFailure);
    splice(storage, begin, get_num_bytes(begin, count), text.storage);
    return *this;
}

utf8_string& utf8_string::replace(size_type index, size_type count, char32_t codePoint)
{
    const size_type begin = byteIndexOf(index);
    requireIndex(begin < size() || index <= length(), replaceFailure);
    splice(storage, begin, get_num_bytes(begin, count), Encoded(codePoint));
    return *this;
}

utf8_string& utf8_string::raw_replace(size_type byteIndex, size_type byteCount, const utf8_string& text)
{
    requireIndex(byteIndex <= size(), replaceFailure);
    splice(storage, byteIndex, std::min(byteCount, size() - byteIndex), text.storage);
    return *this;
}

utf8_string& utf8_string::erase(size_type index, size_type count)
{
    const size_type begin = byteIndexOf(index);
    requireIndex(begin < size() || index <= length(), eraseFailure);
    ::erase(storage, begin, get_num_bytes(begin, count));
    return *this;
}

utf8_string& utf8_string::raw_erase(size_type byteIndex, size_type byteCount)
{
    requireIndex(byteIndex <= size(), eraseFailure);
    ::erase(storage, byteIndex, std::min(byteCount, size() - byteIndex));
    return *this;
}

utf8_string::iterator utf8_string::insert(const_iterator place, const utf8_string& text)
{
    raw_insert(place.raw_index(), text);
    return {*this, place.raw_index()};
}

utf8_string::iterator utf8_string::erase(const_iterator place)
{
    raw_erase(place.raw_index(), raw_next(place.raw_index()) - place.raw_index());
    return {*this, place.raw_index()};
}

utf8_string::iterator utf8_string::erase(const_iterator first, const_iterator last)
{
    raw_erase(first.raw_index(), last.raw_index() - first.raw_index());
    return {*this, first.raw_index()};
}

utf8_string::iterator utf8_string::replace(const_iterator first, const_iterator last, const utf8_string& text)
{
    raw_replace(first.raw_index(), last.raw_index() - first.raw_index(), text);
    return {*this, first.raw_index()};
}

utf8_string utf8_string::substr(size_type index, size_type count) const
{
    const size_type begin = byteIndexOf(index);
    requireIndex(begin < size() || index <= length(), substrFailure);
    return utf8_string(data() + begin, get_num_bytes(begin, count), read_bytes_tag());
}

utf8_string utf8_string::raw_substr(size_type byteIndex, size_type byteCount) const
{
    requireIndex(byteIndex <= size(), substrFailure);
    return utf8_string(data() + byteIndex, std::min(byteCount, size() - byteIndex), read_bytes_tag());
}
