#include <kiv/tinyutf8.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include <kiv/text/tinyutf8_scan.h>
#include <kiv/text/tinyutf8_storage_inline.h>
#include <kiv/text/tinyutf8_table.h>

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

[[noreturn, gnu::cold, gnu::noinline]] void throwNoElement()
{
    throw std::out_of_range("utf8_string::(raw_)at: byte_index >= size");
}

} // namespace

utf8_string::utf8_string(const char* text, size_type count, read_codepoints_tag)
    : storage(text, bytesOfText(text, count))
{}

utf8_string::utf8_string(const char32_t* codePoints)
    : utf8_string(codePoints, codePoints == nullptr ? 0 : std::char_traits<char32_t>::length(codePoints))
{}

utf8_string::utf8_string(const char32_t* codePoints, size_type count)
{
    Tally content;
    for (size_type i = 0; i < count; ++i)
    {
        content.multiBytes += codePoints[i] >= 0x80;
        content.extraBytes += encodedLength(codePoints[i]) - 1;
    }
    const size_type total = count + content.extraBytes;
    const bool wantsTable = CLookupTable::isWorthwhile(content.multiBytes, total);
    char* to = storage.make(total, wantsTable ? content.multiBytes : 0);
    for (size_type i = 0; i < count; ++i)
        to += encode(codePoints[i], to);
    storage.index(content);
}

utf8_string::utf8_string(std::initializer_list<char32_t> codePoints)
    : utf8_string(codePoints.begin(), codePoints.size())
{}

utf8_string::utf8_string(size_type count, char32_t codePoint)
{
    char bytes[maxCodePointBytes];
    const size_type each = encode(codePoint, bytes);
    const size_type total = count <= max_size() ? count * each : npos;
    char* const to = storage.make(total, 0);
    if (each == 1)
        std::memset(to, bytes[0], total);
    for (size_type i = 0; i < total && each > 1; i += each)
        std::memcpy(to + i, bytes, each);
    storage.index({each == 1 ? 0 : count, total - count});
}

utf8_string::utf8_string(size_type count, char byte)
{
    char* const to = storage.make(count, 0);
    std::memset(to, byte, count);
    storage.index(tally(to, 0, count, count));
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

utf8_string::size_type utf8_string::get_num_bytes_from_start(size_type count) const noexcept
{
    const size_type bytes = std::min(byteIndexOf(count), size());
    const size_type codePoints = length();
    if (count <= codePoints || !storage.isIndexed())
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
    if (storage.isIndexed())
        return std::min(storage.table().walk(byteIndex, count), end) - byteIndex;
    const size_type boundary = std::min(boundaryFrom(data(), byteIndex, end), byteIndex + count);
    return walk(data(), boundary, count - (boundary - byteIndex), end) - byteIndex;
}

utf8_string::size_type utf8_string::get_num_codepoints(size_type byteIndex, size_type byteCount) const noexcept
{
    const size_type end = size();
    if (byteIndex >= end)
        return 0;
    const size_type count = std::min(byteCount, end - byteIndex);
    if (count == end || storage.hasSingleBytesOnly())
        return count == end ? length() : count;
    size_type extra = 0;
    if (storage.isIndexed())
        extra = storage.table().extraBytesBetween(byteIndex, byteIndex + count);
    else
        extra = tally(data(), boundaryFrom(data(), byteIndex, end), byteIndex + count, end).extraBytes;
    return count - std::min(extra, count);
}

utf8_string::size_type utf8_string::get_non_sso_capacity() const noexcept
{
    if (!storage.isHeap())
        return storage.capacity();
    const size_type usable = storage.heapCapacity() - 1;
    if (storage.heapSize() == 0)
        return usable;
    const auto used = static_cast<__uint128_t>(storage.heapSize() + storage.table().bytes());
    return static_cast<size_type>(static_cast<__uint128_t>(storage.heapLength()) * usable / used);
}

utf8_string::size_type utf8_string::get_num_bytes_of_utf8_char_before(const char* data, size_type byteIndex) noexcept
{
    return lengthBefore(data, byteIndex);
}

utf8_string::size_type utf8_string::raw_previous(size_type byteIndex) const noexcept
{
    const size_type end = size();
    return byteIndex == 0 ? 0 : boundaryBefore(data(), std::min(byteIndex, end), end);
}

void utf8_string::clear() noexcept { storage.clear(); }

void utf8_string::reserve(size_type count)
{
    const auto bytes =
        static_cast<__uint128_t>(count) * std::max<size_type>(size(), 1) / std::max<size_type>(length(), 1);
    raw_reserve(static_cast<size_type>(std::min<__uint128_t>(bytes, npos)));
}

void utf8_string::raw_reserve(size_type byteCount) { storage.reserve(byteCount); }

void utf8_string::shrink_to_fit() { storage.shrink(); }

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
