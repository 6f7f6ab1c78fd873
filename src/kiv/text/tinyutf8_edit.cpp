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
    positions.setMilestones(source != nullptr ? first : first + come.multiBytes);
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

} // namespace

CCodePointReference& CCodePointReference::operator=(char32_t codePoint)
{
    string->raw_replace(place, string->raw_next(place) - place, utf8_string(1, codePoint));
    return *this;
}

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
