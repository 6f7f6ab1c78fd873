/// The inline members of utf8_string; <kiv/tinyutf8.h> includes it.
#ifndef KIV_TINYUTF8_INLINE_H
#define KIV_TINYUTF8_INLINE_H

#include <cstring>

#include <kiv/tinyutf8.h>

namespace tiny_utf8_detail
{

inline CCodePointReference::operator char32_t() const noexcept
{
    return static_cast<const utf8_string*>(string)->raw_get(place);
}

} // namespace tiny_utf8_detail

inline utf8_string::utf8_string(const char* text, size_type count, tiny_utf8_detail::read_bytes_tag)
{
    take(text, count);
}

inline utf8_string::utf8_string(const char* text) { take(text, text == nullptr ? 0 : std::strlen(text)); }

inline utf8_string::utf8_string(const std::string& text) { take(text.data(), text.size()); }

inline utf8_string::utf8_string(const utf8_string& other)
{
    if (other.isHeap())
        copyHeap(other);
    else
        std::memcpy(storage, other.storage, objectSize);
}

inline utf8_string::utf8_string(utf8_string&& other) noexcept
{
    setInlineSize(0);
    swap(other);
}

inline utf8_string::~utf8_string()
{
    if (isHeap())
        release();
}

inline void utf8_string::swap(utf8_string& other) noexcept
{
    char kept[objectSize];
    std::memcpy(kept, storage, objectSize);
    std::memcpy(storage, other.storage, objectSize);
    std::memcpy(other.storage, kept, objectSize);
}

inline void utf8_string::take(const char* bytes, size_type count)
{
    if (count > inlineCapacity)
        return takeOnHeap(bytes, count);
    if (count != 0)
        std::memcpy(storage, bytes, count);
    setInlineSize(count);
}

inline bool utf8_string::requires_unicode_sso() const noexcept
{
    // Unused bytes are zero, and so is the top bit of the last one, which holds the size.
    std::uint64_t bits = 0;
    for (size_type i = 0; i < objectSize; i += sizeof bits)
        bits |= tiny_utf8_detail::load<std::uint64_t>(storage + i);
    return !isHeap() && (bits & tiny_utf8_detail::highBits) != 0;
}

inline bool utf8_string::hasSingleBytesOnly() const noexcept
{
    return isHeap() ? heapSize() == heapLength() : !requires_unicode_sso();
}

inline utf8_string::size_type utf8_string::length() const noexcept
{
    if (isHeap())
        return heapLength();
    return requires_unicode_sso() ? countInline() : inlineSize();
}

/// The byte index of a code point; size() behind the last one.
inline utf8_string::size_type utf8_string::byteIndexOf(size_type index) const noexcept
{
    if (!hasSingleBytesOnly())
        return get_num_bytes(0, index);
    return index < size() ? index : size();
}

inline utf8_string::size_type utf8_string::get_codepoint_bytes(char32_t codePoint) noexcept
{
    return tiny_utf8_detail::lut[31 - __builtin_clz(static_cast<std::uint32_t>(codePoint) | 1)];
}

inline utf8_string::size_type utf8_string::raw_next(size_type byteIndex) const noexcept
{
    const size_type end = size();
    return byteIndex < end ? byteIndex + tiny_utf8_detail::sequenceLength(data(), byteIndex, end) : end;
}

inline char32_t utf8_string::raw_get(size_type byteIndex) const noexcept
{
    const size_type end = size();
    return byteIndex < end ? tiny_utf8_detail::decode(data(), byteIndex, end) : 0;
}

inline utf8_string::reference utf8_string::operator[](size_type index) noexcept { return raw_get(byteIndexOf(index)); }

inline char32_t utf8_string::operator[](size_type index) const noexcept { return raw_get(byteIndexOf(index)); }

inline char32_t utf8_string::at(size_type index) const { return raw_at(byteIndexOf(index)); }

inline utf8_string::reference utf8_string::at(size_type index) { return raw_at(byteIndexOf(index)); }

inline bool utf8_string::appendAscii(char c) noexcept
{
    const size_type end = size();
    if (!isHeap())
    {
        if (end == inlineCapacity)
            return false;
        storage[end] = c;
        setInlineSize(end + 1);
        return true;
    }
    if (!hasRoomAndTable(sizeof(std::uint16_t)))
        return false;
    tiny_utf8_detail::store<std::uint16_t>(heapData() + end, static_cast<unsigned char>(c)); // and the zero behind it
    setHeapSize(end + 1);
    growHeapLength(1);
    return true;
}

/// True on the heap when there is certainly room to write so many bytes at the end and the table is in use, which also
/// says that a code point surely ends there.
inline bool utf8_string::hasRoomAndTable(size_type added) const noexcept
{
    const size_type room = heapCapacity();
    const auto header = tiny_utf8_detail::load<size_type>(heapData() + room);
    const size_type tableBytes = room <= 0x10000 ? header : 4 * header; // at least: the header is twice the number
    return (header & 1) != 0 && heapSize() + added + tableBytes <= room;
}

/// Appends single-byte code points that stand inside an object, when there is room for them and nothing else to do.
inline void utf8_string::appendShortAscii(const utf8_string& text) noexcept
{
    const size_type end = heapSize();
    const size_type count = text.inlineSize();
    std::memcpy(heapData() + end, text.storage, objectSize); // zeros behind the text included
    setHeapSize(end + count);
    growHeapLength(count);
}

inline utf8_string& utf8_string::append(const utf8_string& text)
{
    const bool isQuick = isHeap() && !text.isHeap() && hasRoomAndTable(objectSize);
    if (isQuick && !text.requires_unicode_sso())
        appendShortAscii(text);
    else if (!isQuick || !appendShort(text))
        appendAny(text);
    return *this;
}

inline utf8_string& utf8_string::operator+=(char32_t codePoint)
{
    push_back(codePoint);
    return *this;
}

inline void utf8_string::push_back(char32_t codePoint)
{
    if (codePoint >= 0x80 || !appendAscii(static_cast<char>(codePoint)))
        appendCodePoint(codePoint);
}

#endif
