// How an edit keeps length and table in step, whatever the bytes: it finds a part around itself that begins and ends
// where surely a code point does, in the old text and in the new one. What lies outside of it falls into the same code
// points as before; only this part is counted, once before and once after.
#include <kiv/tinyutf8.h>

#include <algorithm>
#include <stdexcept>

#include <kiv/tinyutf8_scan.h>
#include <kiv/tinyutf8_table.h>

using namespace tiny_utf8_detail;

namespace
{

constexpr char insertFailure[] = "utf8_string::(raw_)insert: index > old_data_len";
constexpr char replaceFailure[] = "utf8_string::(raw_)replace: index > old_data_len";
constexpr char eraseFailure[] = "utf8_string::(raw_)erase: index > old_data_len";
constexpr char substrFailure[] = "utf8_string::(raw_)substr: index > data_len";

void requireIndex(bool isInside, const char* failure)
{
    if (!isInside)
        throw std::out_of_range(failure);
}

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
    return table().withEntryType([this, &text](auto entry) {
        const size_type oldSize = heapSize();
        const size_type count = text.inlineSize();
        CLookupTable positions = table();
        const size_type atMost = positions.count() + count / 2;
        if (oldSize + objectSize + atMost * sizeof entry > heapCapacity() ||
            !CLookupTable::isWorthwhile(atMost, oldSize))
            return false;
        size_type entries = positions.count();
        size_type codePoints = count;
        if (!forEachMultiByteOfShort(text.storage, count, [&](size_type index, size_type length) {
                positions.setPosition<decltype(entry)>(entries++, oldSize + index);
                codePoints -= length - 1;
            }))
            return false;
        std::memcpy(heapData() + oldSize, text.storage, objectSize); // zeros behind the text included
        positions.set(entries, true);
        setHeapSize(oldSize + count);
        growHeapLength(codePoints);
        return true;
    });
}

/// Appends at the end of the buffer, or of a new one when that is full; what changes more is an edit like any other.
void utf8_string::appendAny(const utf8_string& text)
{
    if (isHeap() && appendText(text))
        return;
    const size_type newSize = size() + text.size();
    if (newSize > inlineCapacity)
        makeRoom(newSize, text.isHeap() ? text.table().count() : 0);
    if (!isHeap() || !appendText(text))
        splice(size(), 0, text);
}

/// Appends a text that ends in a whole code point, when that changes nothing but counts and the end of the table; false
/// when it would.
bool utf8_string::appendText(const utf8_string& text) noexcept
{
    if (!text.isHeap())
        return isCertainBoundary(text.storage, text.inlineSize()) &&
               appendWhole(text.storage, text.inlineSize(), text.content(), nullptr);
    const CLookupTable entries = text.table();
    return entries.isInUse() && appendWhole(text.heapData(), text.heapSize(), text.content(), &entries);
}

/// The same for bytes; `source` is their table, if they have one.
bool utf8_string::appendWhole(const char* bytes, size_type count, const Tally& content,
                              const CLookupTable* source) noexcept
{
    const size_type oldSize = heapSize();
    const size_type newSize = oldSize + count;
    const size_type newLength = heapLength() + count - content.extraBytes;
    CLookupTable positions = table();
    const size_type first = positions.count();
    const size_type entries = first + content.multiBytes;
    if (positions.isInUse()
            ? !CLookupTable::isWorthwhile(entries, newSize)
            : CLookupTable::isSparse(newSize - newLength, newSize) || !isCertainBoundary(heapData(), oldSize))
        return false;
    if (newSize + 1 + positions.bytesFor(entries) > heapCapacity())
        return false;
    std::memcpy(heapData() + oldSize, bytes, count);
    heapData()[newSize] = '\0';
    setHeapSize(newSize);
    setHeapLength(newLength);
    if (content.multiBytes == 0 || !positions.isInUse())
        return true;
    if (source != nullptr)
        positions.copy(first, *source, oldSize);
    else
        positions.record(first, oldSize, newSize, newSize);
    positions.set(entries, true); // last: the source may be this table itself
    return true;
}

void utf8_string::appendCodePoint(char32_t codePoint)
{
    char bytes[sizeof(std::uint64_t)] = {};
    const size_type count = encode(codePoint, bytes);
    if (!isHeap() || (!appendMultiByte(bytes, count) && !appendWhole(bytes, count, {count > 1, count - 1}, nullptr)))
        splice(size(), 0, bytes, count, nullptr);
}

/// The quick way to append a code point on the heap, whose bytes are filled up with zeros to eight.
bool utf8_string::appendMultiByte(const char* bytes, size_type count) noexcept
{
    const size_type end = heapSize();
    CLookupTable positions = table();
    const size_type first = positions.count();
    if (count == 1 || !hasRoomAndTable(2 * sizeof(std::uint64_t)) || !CLookupTable::isWorthwhile(first + 1, end))
        return false;
    std::memcpy(heapData() + end, bytes, sizeof(std::uint64_t));
    positions.record(first, end);
    positions.set(first + 1, true);
    setHeapSize(end + count);
    setHeapLength(heapLength() + 1);
    return true;
}

void utf8_string::pop_back() noexcept { raw_erase(raw_previous(size())); }

utf8_string& utf8_string::insert(size_type index, const utf8_string& text)
{
    splice(editIndex(index, insertFailure), 0, text);
    return *this;
}

utf8_string& utf8_string::insert(size_type index, size_type count, char32_t codePoint)
{
    return insert(index, utf8_string(count, codePoint));
}

utf8_string& utf8_string::raw_insert(size_type byteIndex, const utf8_string& text)
{
    requireIndex(byteIndex <= size(), insertFailure);
    splice(byteIndex, 0, text);
    return *this;
}

utf8_string& utf8_string::raw_insert(size_type byteIndex, char32_t codePoint)
{
    return raw_insert(byteIndex, utf8_string(1, codePoint));
}

utf8_string& utf8_string::replace(size_type index, size_type count, const utf8_string& text)
{
    const size_type begin = editIndex(index, replaceFailure);
    splice(begin, get_num_bytes(begin, count), text);
    return *this;
}

utf8_string& utf8_string::replace(size_type index, size_type count, char32_t codePoint)
{
    return replace(index, count, utf8_string(1, codePoint));
}

utf8_string& utf8_string::raw_replace(size_type byteIndex, size_type byteCount, const utf8_string& text)
{
    requireIndex(byteIndex <= size(), replaceFailure);
    splice(byteIndex, std::min(byteCount, size() - byteIndex), text);
    return *this;
}

utf8_string& utf8_string::erase(size_type index, size_type count)
{
    const size_type begin = editIndex(index, eraseFailure);
    splice(begin, get_num_bytes(begin, count), "", 0, nullptr);
    return *this;
}

utf8_string& utf8_string::raw_erase(size_type byteIndex, size_type byteCount)
{
    requireIndex(byteIndex <= size(), eraseFailure);
    splice(byteIndex, std::min(byteCount, size() - byteIndex), "", 0, nullptr);
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
    const size_type begin = editIndex(index, substrFailure);
    return utf8_string(data() + begin, get_num_bytes(begin, count), read_bytes_tag());
}

utf8_string utf8_string::raw_substr(size_type byteIndex, size_type byteCount) const
{
    requireIndex(byteIndex <= size(), substrFailure);
    return utf8_string(data() + byteIndex, std::min(byteCount, size() - byteIndex), read_bytes_tag());
}

/// The byte index of code point `index`; the end's for one behind the last.
utf8_string::size_type utf8_string::editIndex(size_type index, const char* failure) const
{
    const size_type byteIndex = byteIndexOf(index);
    requireIndex(byteIndex < size() || index <= length(), failure);
    return byteIndex;
}

void utf8_string::splice(size_type index, size_type removed, const utf8_string& text)
{
    if (&text == this)
    {
        const utf8_string copy(text);
        splice(index, removed, copy.data(), copy.size(), &copy);
    }
    else
        splice(index, removed, text.data(), text.size(), &text);
}

/// Replaces `removed` bytes by `count` others from outside of this string; `source` is the string that they all are, if
/// any.
void utf8_string::splice(size_type index, size_type removed, const char* bytes, size_type count,
                         const utf8_string* source)
{
    const size_type newSize = size() - removed + count;
    if (!isHeap() && newSize <= inlineCapacity)
        return spliceInline(index, removed, bytes, count);
    const bool isSourceIndexed = source != nullptr && source->isHeap() && source->hasTable();
    makeRoom(newSize, isSourceIndexed ? source->table().count() : 0);
    spliceHeap(index, removed, bytes, count, isSourceIndexed ? source : nullptr);
}

void utf8_string::spliceInline(size_type index, size_type removed, const char* bytes, size_type count) noexcept
{
    const size_type oldSize = inlineSize();
    const size_type newSize = oldSize - removed + count;
    std::memmove(storage + index + count, storage + index + removed, oldSize - index - removed);
    std::memcpy(storage + index, bytes, count);
    if (newSize < oldSize)
        std::memset(storage + newSize, 0, oldSize - newSize);
    setInlineSize(newSize);
}

/// splice() in heap mode with room for the bytes; `source`, if any, has a table.
void utf8_string::spliceHeap(size_type index, size_type removed, const char* bytes, size_type count,
                             const utf8_string* source) noexcept
{
    char* const data = heapData();
    const size_type oldSize = heapSize();
    const size_type newSize = oldSize - removed + count;
    const bool hadTable = hasTable();
    const Part part = changedPart(data, oldSize, index, removed, bytes, count);
    const Tally gone = contentOf(part.begin, part.oldEnd);
    std::memmove(data + index + count, data + index + removed, oldSize - index - removed + 1);
    std::memcpy(data + index, bytes, count);
    setHeapSize(newSize);

    if (part.begin != index || part.newEnd != index + count)
        source = nullptr;
    const Tally come = source != nullptr ? source->content() : tally(data, part.begin, part.newEnd, newSize);
    setHeapLength(heapLength() - (part.oldEnd - gone.extraBytes) + (part.newEnd - come.extraBytes));
    if (!hadTable)
        return restoreTable();
    const size_type entries = table().count() - gone.multiBytes + come.multiBytes;
    if (!CLookupTable::isWorthwhile(entries, newSize) || !makeTableRoom(entries))
        return table().drop();
    CLookupTable positions = table();
    const size_type first = positions.lowerBound(part.begin);
    positions.replace(first, gone.multiBytes, come.multiBytes, part.newEnd - part.oldEnd);
    positions.set(entries, isCertainBoundary(heapData(), newSize));
    if (source != nullptr)
        positions.copy(first, source->table(), index);
    else
        positions.record(first, part.begin, part.newEnd, newSize);
}

/// The code points of several bytes in the whole string.
Tally utf8_string::content() const noexcept
{
    if (hasSingleBytesOnly())
        return {};
    return isHeap() && hasTable() ? Tally{table().count(), heapSize() - heapLength()}
                                  : tally(data(), 0, size(), size());
}

/// Whether the table, in use or resting, has the entries of the string on the heap. Without multi-byte code points it
/// always does.
bool utf8_string::hasTable() const noexcept
{
    return table().isInUse() || table().count() != 0 || heapSize() == heapLength();
}

/// What begins in [begin, end) of a string on the heap.
Tally utf8_string::contentOf(size_type begin, size_type end) const noexcept
{
    const CLookupTable positions = table();
    if (!hasTable())
        return tally(heapData(), begin, end, heapSize());
    const size_type first = positions.lowerBound(begin);
    const size_type last = positions.lowerBound(end);
    return {last - first, positions.extraBytes(first, last)};
}

/// Enters heap mode, with room for the bytes beside the table; a new buffer has twice the room, or more for entries.
void utf8_string::makeRoom(size_type newSize, size_type newEntries)
{
    if (newSize > maxSize)
        throw std::length_error("utf8_string: longer than max_size");
    if (isHeap() && newSize + 1 + table().bytes() <= heapCapacity())
        return;
    const size_type entries = isHeap() ? table().count() : content().multiBytes;
    const size_type newCapacity = CLookupTable::capacityFor(newSize, entries + newEntries, grownCapacity());
    moveTo(allocateBuffer(newCapacity), newCapacity);
}

/// Makes room for the table beside the bytes; false when there is no memory for that.
bool utf8_string::makeTableRoom(size_type entries) noexcept
{
    if (heapSize() + 1 + table().bytesFor(entries) <= heapCapacity())
        return true;
    const size_type newCapacity = CLookupTable::capacityFor(heapSize(), entries, grownCapacity());
    char* const buffer = tryToAllocateBuffer(newCapacity);
    if (buffer != nullptr)
        moveTo(buffer, newCapacity);
    return buffer != nullptr;
}

/// Builds the table again when multi-byte code points have become so rare that it will not be dropped soon.
void utf8_string::restoreTable() noexcept
{
    const size_type count = heapSize();
    if (!CLookupTable::isSparse(count - heapLength(), count))
        return;
    const Tally content = tally(heapData(), 0, count, count);
    if (makeTableRoom(content.multiBytes))
        index(content);
}
