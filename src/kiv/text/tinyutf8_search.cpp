#include <kiv/tinyutf8.h>

#include <algorithm>

#include <kiv/text/tinyutf8_scan.h>

using namespace tiny_utf8_detail;

namespace
{

constexpr std::size_t notFound = utf8_string::npos;

/// The code points of a zero-terminated list; those of ASCII are kept as bits.
class CCodePointSet
{
public:
    explicit CCodePointSet(const char32_t* members) noexcept : list(members)
    {
        for (const char32_t* member = members; *member != 0; ++member)
            if (*member < 0x80)
                ascii[*member / 64] |= std::uint64_t{1} << *member % 64;
    }

    bool contains(char32_t codePoint) const noexcept
    {
        if (codePoint < 0x80)
            return (ascii[codePoint / 64] >> codePoint % 64 & 1) != 0;
        const char32_t* member = list;
        while (*member != 0 && *member != codePoint)
            ++member;
        return *member != 0;
    }

private:
    const char32_t* list;
    std::uint64_t ascii[2] = {};
};

std::size_t firstOf(const utf8_string& text, std::size_t start, const CCodePointSet& set, bool isWanted) noexcept
{
    const char* const data = text.data();
    const std::size_t size = text.size();
    for (std::size_t i = start; i < size; i += sequenceLength(data, i, size))
        if (set.contains(decode(data, i, size)) == isWanted)
            return i;
    return notFound;
}

std::size_t lastOf(const utf8_string& text, std::size_t start, const CCodePointSet& set, bool isWanted) noexcept
{
    const char* const data = text.data();
    const std::size_t size = text.size();
    for (std::size_t i = start < size ? start + 1 : size; i > 0;)
    {
        i = boundaryBefore(data, i, size);
        if (set.contains(decode(data, i, size)) == isWanted)
            return i;
    }
    return notFound;
}

/// In texts of up to so many bytes, what memmem() prepares takes longer than looking at each place.
constexpr std::size_t shortText = 64;

/// The first occurrence of `count` > 1 bytes that begins in [start, last].
std::size_t firstBytesByOne(const char* data, std::size_t start, std::size_t last, const char* bytes,
                            std::size_t count) noexcept
{
    for (std::size_t i = start; i <= last; ++i)
        if (data[i] == bytes[0] && data[i + 1] == bytes[1] && std::memcmp(data + i, bytes, count) == 0)
            return i;
    return notFound;
}

/// The first occurrence of bytes at `start` or behind it.
std::size_t firstBytes(const utf8_string& text, const char* bytes, std::size_t count, std::size_t start) noexcept
{
    if (start > text.size() || count > text.size() - start)
        return notFound;
    const char* const data = text.data();
    const std::size_t left = text.size() - start;
    if (count > 1 && left <= shortText)
        return firstBytesByOne(data, start, text.size() - count, bytes, count);
    const void* const hit =
        count == 1 ? std::memchr(data + start, bytes[0], left) : ::memmem(data + start, left, bytes, count);
    return hit == nullptr ? notFound : static_cast<std::size_t>(static_cast<const char*>(hit) - data);
}

/// The first place of a byte in the 32 of an object, of which `size` are text.
std::size_t firstByteInside(const char* object, std::size_t size, char byte) noexcept
{
    constexpr std::uint64_t ones = 0x0101010101010101;
    for (std::size_t i = 0; i < CStorage::objectSize; i += sizeof ones)
    {
        const std::uint64_t differences = load<std::uint64_t>(object + i) ^ ones * static_cast<unsigned char>(byte);
        const std::uint64_t hits = (differences - ones) & ~differences & highBits; // right up to the lowest
        if (hits != 0)
            return i + lowestByteOf(hits) < size ? i + lowestByteOf(hits) : notFound;
    }
    return notFound;
}

/// The last occurrence of bytes that begins at `start` or before it.
std::size_t lastBytes(const utf8_string& text, const char* bytes, std::size_t count, std::size_t start) noexcept
{
    if (count > text.size())
        return notFound;
    const std::size_t last = std::min(start, text.size() - count);
    if (count == 0)
        return last;
    const char* const data = text.data();
    for (std::size_t end = last + 1; end > 0;)
    {
        const void* const hit = ::memrchr(data, bytes[0], end);
        if (hit == nullptr)
            return notFound;
        end = static_cast<std::size_t>(static_cast<const char*>(hit) - data);
        if (std::memcmp(data + end, bytes, count) == 0)
            return end;
    }
    return notFound;
}

/// Calls a search with the bytes of a code point.
template<class Search>
std::size_t withBytes(char32_t codePoint, Search search) noexcept
{
    char bytes[maxCodePointBytes];
    const std::size_t count = encode(codePoint, bytes);
    return search(bytes, count);
}

/// Runs a forward search by bytes for one by code points.
template<class Search>
std::size_t forward(const utf8_string& text, std::size_t start, Search search) noexcept
{
    const std::size_t from = text.get_num_bytes_from_start(start);
    if (from >= text.size() && start > text.length())
        return notFound;
    const std::size_t hit = search(from);
    return hit == notFound ? notFound : start + text.get_num_codepoints(from, hit - from);
}

/// Runs a backward search by bytes for one by code points.
template<class Search>
std::size_t backward(const utf8_string& text, std::size_t start, Search search) noexcept
{
    const std::size_t hit = search(text.get_num_bytes_from_start(start));
    return hit == notFound ? notFound : text.get_num_codepoints(0, hit);
}

} // namespace

utf8_string::size_type utf8_string::raw_find(const utf8_string& text, size_type byteStart) const noexcept
{
    return firstBytes(*this, text.data(), text.size(), byteStart);
}

utf8_string::size_type utf8_string::raw_find(char32_t codePoint, size_type byteStart) const noexcept
{
    if (codePoint < 0x80)
    {
        const char byte = static_cast<char>(codePoint);
        if (!storage.isHeap() && byteStart == 0)
            return firstByteInside(storage.inlineData(), storage.inlineSize(), byte);
        return firstBytes(*this, &byte, 1, byteStart);
    }
    return withBytes(codePoint,
                     [&](const char* bytes, size_type count) { return firstBytes(*this, bytes, count, byteStart); });
}

utf8_string::size_type utf8_string::find(const utf8_string& text, size_type start) const noexcept
{
    if (storage.hasSingleBytesOnly())
        return raw_find(text, start);
    return forward(*this, start, [&](size_type from) { return raw_find(text, from); });
}

utf8_string::size_type utf8_string::find(char32_t codePoint, size_type start) const noexcept
{
    if (storage.hasSingleBytesOnly())
        return raw_find(codePoint, start);
    return forward(*this, start, [&](size_type from) { return raw_find(codePoint, from); });
}

utf8_string::size_type utf8_string::raw_rfind(const utf8_string& text, size_type byteStart) const noexcept
{
    return lastBytes(*this, text.data(), text.size(), byteStart);
}

utf8_string::size_type utf8_string::raw_rfind(const char32_t* text, size_type byteStart) const
{
    return raw_rfind(utf8_string(text), byteStart);
}

utf8_string::size_type utf8_string::raw_rfind(char32_t codePoint, size_type byteStart) const noexcept
{
    return withBytes(codePoint,
                     [&](const char* bytes, size_type count) { return lastBytes(*this, bytes, count, byteStart); });
}

utf8_string::size_type utf8_string::rfind(const utf8_string& text, size_type start) const noexcept
{
    return backward(*this, start, [&](size_type from) { return raw_rfind(text, from); });
}

utf8_string::size_type utf8_string::rfind(char32_t codePoint, size_type start) const noexcept
{
    return backward(*this, start, [&](size_type from) { return raw_rfind(codePoint, from); });
}

utf8_string::size_type utf8_string::raw_find_first_of(const char32_t* set, size_type byteStart) const noexcept
{
    return firstOf(*this, byteStart, CCodePointSet(set), true);
}

utf8_string::size_type utf8_string::raw_find_first_not_of(const char32_t* set, size_type byteStart) const noexcept
{
    return firstOf(*this, byteStart, CCodePointSet(set), false);
}

utf8_string::size_type utf8_string::raw_find_last_of(const char32_t* set, size_type byteStart) const noexcept
{
    return lastOf(*this, byteStart, CCodePointSet(set), true);
}

utf8_string::size_type utf8_string::raw_find_last_not_of(const char32_t* set, size_type byteStart) const noexcept
{
    return lastOf(*this, byteStart, CCodePointSet(set), false);
}

utf8_string::size_type utf8_string::find_first_of(const char32_t* set, size_type start) const noexcept
{
    return forward(*this, start, [&](size_type from) { return raw_find_first_of(set, from); });
}

utf8_string::size_type utf8_string::find_first_not_of(const char32_t* set, size_type start) const noexcept
{
    return forward(*this, start, [&](size_type from) { return raw_find_first_not_of(set, from); });
}

utf8_string::size_type utf8_string::find_last_of(const char32_t* set, size_type start) const noexcept
{
    return backward(*this, start, [&](size_type from) { return raw_find_last_of(set, from); });
}

utf8_string::size_type utf8_string::find_last_not_of(const char32_t* set, size_type start) const noexcept
{
    return backward(*this, start, [&](size_type from) { return raw_find_last_not_of(set, from); });
}
