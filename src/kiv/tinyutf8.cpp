#include <kiv/tinyutf8.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include <kiv/tinyutf8_scan.h>
#include <kiv/tinyutf8_table.h>

using namespace tiny_utf8_detail;

namespace
{

/// Number of bytes of up to `count` code points of a text that a zero may end before; reads nothing behind either.
std::size_t bytesOfText(const char* text, std::size_t count)
{
    std::size_t size = 0;
    for (; count > 0 && text[size] != '\0'; --count)
    {
        const std::size_t length = std::max(leadingOnes(text[size]), 1U);
        size += ::strnlen(text + size, length) == length ? length : 1;
    }
    return size;
}

[[noreturn]] void throwNoElement() { throw std::out_of_range("utf8_string::(raw_)at: byte_index >= size"); }

} // namespace

utf8_string::utf8_string(const char* text, size_type count, read_codepoints_tag)
{
    take(text, bytesOfText(text, count));
}

utf8_string::utf8_string(const char32_t* codePoints)
{
    takeCodePoints(codePoints, codePoints == nullptr ? 0 : std::char_traits<char32_t>::length(codePoints));
}

utf8_string::utf8_string(const char32_t* codePoints, size_type count) { takeCodePoints(codePoints, count); }

utf8_string::utf8_string(std::initializer_list<char32_t> codePoints)
{
    takeCodePoints(codePoints.begin(), codePoints.size());
}

utf8_string::utf8_string(size_type count, char32_t codePoint)
{
    char bytes[maxCodePointBytes];
    const size_type each = encode(codePoint, bytes);
    const size_type total = count <= maxSize ? count * each : npos;
    char* const to = makeStorage(total, 0);
    if (each == 1)
        std::memset(to, bytes[0], total);
    for (size_type i = 0; i < total && each > 1; i += each)
        std::memcpy(to + i, bytes, each);
    index({each == 1 ? 0 : count, total - count});
}

utf8_string::utf8_string(size_type count, char byte)
{
    char* const to = makeStorage(count, 0);
    std::memset(to, byte, count);
    index(tally(to, 0, count, count));
}

utf8_string& utf8_string::operator=(const utf8_string& other)
{
    if (this != &other)
    {
        utf8_string copy(other);
        swap(copy);
    }
    return *this;
}

utf8_string& utf8_string::operator=(utf8_string&& other) noexcept
{
    utf8_string taken(std::move(other));
    swap(taken);
    return *this;
}

void utf8_string::takeOnHeap(const char* bytes, size_type count)
{
    const Tally content = tally(bytes, 0, count, count);
    const bool wantsTable = CLookupTable::isWorthwhile(content.multiBytes, count);
    std::memcpy(makeStorage(count, wantsTable ? content.multiBytes : 0), bytes, count);
    index(content);
}

void utf8_string::takeCodePoints(const char32_t* codePoints, size_type count)
{
    Tally content;
    for (size_type i = 0; i < count; ++i)
    {
        content.multiBytes += codePoints[i] >= 0x80;
        content.extraBytes += get_codepoint_bytes(codePoints[i]) - 1;
    }
    const size_type total = count + content.extraBytes;
    const bool wantsTable = CLookupTable::isWorthwhile(content.multiBytes, total);
    char* to = makeStorage(total, wantsTable ? content.multiBytes : 0);
    for (size_type i = 0; i < count; ++i)
        to += encode(codePoints[i], to);
    index(content);
}

void utf8_string::copyHeap(const utf8_string& other)
{
    const CLookupTable entries = other.table();
    const size_type count = other.heapSize();
    std::memcpy(makeStorage(count, entries.count()), other.heapData(), count);
    if (!isHeap())
        return;
    setHeapLength(other.heapLength());
    table().copyAll(entries);
}

/// Where `newSize` bytes go; on the heap the caller owes them an index.
char* utf8_string::makeStorage(size_type newSize, size_type entries)
{
    if (newSize > maxSize)
        throw std::length_error("utf8_string: longer than max_size");
    if (newSize <= inlineCapacity)
    {
        setInlineSize(newSize);
        return storage;
    }
    const size_type newCapacity = CLookupTable::capacityFor(newSize, entries);
    char* const buffer = allocateBuffer(newCapacity);
    setHeap(buffer, newSize, newCapacity);
    return buffer;
}

/// Sets the length from what the bytes contain, and makes their table when it is worth its memory and fits.
void utf8_string::index(const Tally& content) noexcept
{
    if (!isHeap())
        return;
    const size_type count = heapSize();
    CLookupTable entries = table();
    setHeapLength(count - content.extraBytes);
    entries.drop();
    if (!CLookupTable::isWorthwhile(content.multiBytes, count) ||
        count + 1 + entries.bytesFor(content.multiBytes) > heapCapacity())
        return;
    entries.set(content.multiBytes, isCertainBoundary(heapData(), count));
    if (content.multiBytes != 0)
        entries.record(0, 0, count, count);
}

/// Enters heap mode; the length is still to be set.
void utf8_string::setHeap(char* buffer, size_type newSize, size_type newCapacity) noexcept
{
    buffer[newSize] = '\0';
    store(storage + fieldData, buffer);
    store(storage + fieldSize, newSize);
    store(storage + fieldCapacity, newCapacity);
    setHeapLength(0);
}

/// Moves the content to a buffer that has room for it and for its table.
void utf8_string::moveTo(char* buffer, size_type newCapacity) noexcept
{
    const size_type count = size();
    std::memcpy(buffer, data(), count);
    if (!isHeap())
    {
        setHeap(buffer, count, newCapacity);
        index(tally(buffer, 0, count, count));
        return;
    }
    CLookupTable entries(buffer, newCapacity);
    entries.copyAll(table());
    const size_type codePoints = heapLength();
    release();
    setHeap(buffer, count, newCapacity);
    setHeapLength(codePoints);
}

void utf8_string::release() noexcept { freeBuffer(heapData()); }

std::string utf8_string::cpp_str() const { return std::string(data(), size()); }

std::string utf8_string::cpp_str_bom() const
{
    std::string result = "\xEF\xBB\xBF";
    return result.append(data(), size());
}

char32_t utf8_string::raw_at(size_type byteIndex) const
{
    if (byteIndex >= size())
        throwNoElement();
    return raw_get(byteIndex);
}

utf8_string::reference utf8_string::raw_at(size_type byteIndex)
{
    if (byteIndex >= size())
        throwNoElement();
    return raw_get(byteIndex);
}

utf8_string::size_type utf8_string::countInline() const noexcept
{
    return inlineSize() - tally(storage, 0, inlineSize(), inlineSize()).extraBytes;
}

utf8_string::size_type utf8_string::get_num_bytes_from_start(size_type count) const noexcept
{
    const size_type bytes = byteIndexOf(count);
    const size_type codePoints = length();
    if (count <= codePoints || !isHeap() || !table().isInUse())
        return bytes;
    const size_type missing = count - codePoints;
    return bytes + std::min(missing, npos - bytes);
}

utf8_string::size_type utf8_string::get_num_bytes(size_type byteIndex, size_type count) const noexcept
{
    const size_type end = size();
    if (byteIndex >= end)
        return 0;
    count = std::min(count, end - byteIndex);
    if (isHeap() && table().isInUse())
        return std::min(table().walk(byteIndex, count), end) - byteIndex;
    const size_type boundary = std::min(boundaryFrom(data(), byteIndex, end), byteIndex + count);
    return walk(data(), boundary, count - (boundary - byteIndex), end) - byteIndex;
}

utf8_string::size_type utf8_string::get_num_codepoints(size_type byteIndex, size_type byteCount) const noexcept
{
    const size_type end = size();
    if (byteIndex >= end)
        return 0;
    const size_type count = std::min(byteCount, end - byteIndex);
    if (count == end || hasSingleBytesOnly())
        return count == end ? length() : count;
    size_type extra = 0;
    if (isHeap() && table().isInUse())
        extra = table().extraBytesBetween(byteIndex, byteIndex + count);
    else
        extra = tally(data(), boundaryFrom(data(), byteIndex, end), byteIndex + count, end).extraBytes;
    return count - std::min(extra, count);
}

utf8_string::size_type utf8_string::get_non_sso_capacity() const noexcept
{
    if (!isHeap())
        return inlineCapacity;
    const size_type usable = heapCapacity() - 1;
    if (heapSize() == 0)
        return usable;
    const auto used = static_cast<__uint128_t>(heapSize() + table().bytes());
    return static_cast<size_type>(static_cast<__uint128_t>(heapLength()) * usable / used);
}

utf8_string::size_type utf8_string::get_num_bytes_of_utf8_char_before(const char* data, size_type byteIndex) noexcept
{
    const size_type limit = std::min(maxCodePointBytes, byteIndex);
    for (size_type distance = 1; distance <= limit; ++distance)
        if (const unsigned ones = leadingOnes(data[byteIndex - distance]); ones != 1)
            return ones == distance ? distance : 1;
    return std::min<size_type>(byteIndex, 1);
}

utf8_string::size_type utf8_string::raw_previous(size_type byteIndex) const noexcept
{
    const size_type end = size();
    return byteIndex == 0 ? 0 : boundaryBefore(data(), std::min(byteIndex, end), end);
}

void utf8_string::clear() noexcept
{
    if (isHeap())
    {
        setHeap(heapData(), 0, heapCapacity());
        table().set(0, true);
        return;
    }
    std::memset(storage, 0, objectSize);
    setInlineSize(0);
}

void utf8_string::reserve(size_type count)
{
    const auto bytes =
        static_cast<__uint128_t>(count) * std::max<size_type>(size(), 1) / std::max<size_type>(length(), 1);
    raw_reserve(static_cast<size_type>(std::min<__uint128_t>(bytes, npos)));
}

void utf8_string::raw_reserve(size_type byteCount)
{
    if (byteCount > maxSize)
        throw std::length_error("utf8_string: longer than max_size");
    const size_type entries = isHeap() ? table().count() : 0;
    const size_type needed = CLookupTable::capacityFor(byteCount, entries);
    if (byteCount > inlineCapacity && (!isHeap() || needed > heapCapacity()))
        moveTo(allocateBuffer(needed), needed);
}

void utf8_string::shrink_to_fit()
{
    if (isHeap() && CLookupTable::capacityFor(heapSize(), table().count()) < heapCapacity())
    {
        utf8_string copy(*this);
        swap(copy);
    }
}

int utf8_string::compare(const utf8_string& other) const noexcept
{
    const int order = std::memcmp(data(), other.data(), std::min(size(), other.size()));
    if (order != 0 || size() == other.size())
        return order;
    return size() < other.size() ? -1 : 1;
}

std::ostream& operator<<(std::ostream& stream, const utf8_string& text)
{
    return stream << std::string_view(text.data(), text.size());
}

std::istream& operator>>(std::istream& stream, utf8_string& text)
{
    std::string word;
    if (stream >> word)
        text = word;
    return stream;
}
