/// The 32 bytes of a utf8_string: a short text inside them, or the fields of a buffer on the heap.
#ifndef KIV_TINYUTF8_STORAGE_H
#define KIV_TINYUTF8_STORAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include <kiv/kiv_export.h>
#include <kiv/tinyutf8_bytes.h>

namespace tiny_utf8_detail
{

class CFirstPositions;
class CLookupTable;
struct Tally;

/// Bytes, how many there are, and on the heap the number of their code points and the table of the multi-byte ones.
///
/// The last byte's lowest bit tells the two modes apart.
///
/// | bytes of the object | inside | on the heap |
/// |---|---|---|
/// | 0 to 7 | text | the buffer |
/// | 8 to 15 | text | its bytes in use, without the zero behind them |
/// | 16 to 23 | text | its capacity; the table's header stands there in the buffer |
/// | 24 to 30 | text, filled up with zeros | the number of code points, the lower seven bytes |
/// | 31 | twice (31 - the number of bytes); as 0 it ends a text of 31 | its top byte, always 0, shifted left by one;
/// plus 1 |
///
/// A string reads it and lets it take texts. The sources that edit write to the bytes and the table, too, and owe it
/// sizes, counts and entries that fit.
///
/// Threads: reentrant.
/// Errors: std::bad_alloc, and std::length_error beyond maxSize; nothing is changed then.
class CStorage
{
public:
    static constexpr std::size_t objectSize = 32;
    static constexpr std::size_t inlineCapacity = objectSize - 1;
    static constexpr std::size_t maxSize = (std::size_t{1} << 56) - 1;

    CStorage() noexcept { setInlineSize(0); }
    CStorage(const char* bytes, std::size_t count);
    CStorage(const CStorage& other);
    CStorage(CStorage&& other) noexcept : CStorage() { swap(other); }
    CStorage& operator=(const CStorage&) = delete;
    ~CStorage();
    void swap(CStorage& other) noexcept;

    // ---- what it holds

    bool isHeap() const noexcept { return (object[inlineCapacity] & 1) != 0; }
    std::size_t size() const noexcept { return isHeap() ? heapSize() : inlineSize(); }
    std::size_t capacity() const noexcept { return isHeap() ? heapCapacity() : inlineCapacity; }
    std::size_t length() const noexcept;
    const char* data() const noexcept { return isHeap() ? heapData() : object; }

    /// True when it is inside the object and has a byte that is not ASCII.
    bool isUnicodeInside() const noexcept;

    /// True when every code point is known to take one byte; counts and indexes are the same then.
    bool hasSingleBytesOnly() const noexcept { return isHeap() ? heapSize() == heapLength() : !isUnicodeInside(); }

    /// The byte at this index; 0 beyond the end.
    unsigned char byteAt(std::size_t index) const noexcept
    {
        return static_cast<unsigned char>(index < size() ? data()[index] : '\0');
    }

    /// True on the heap while the table is in use.
    bool isIndexed() const noexcept;

    /// The code points of several bytes in the whole text.
    Tally content() const noexcept;

    // ---- appending what needs neither room nor the table

    /// False when there is no room for the byte, or more to do.
    bool appendAscii(char c) noexcept;

    /// True on the heap when there is certainly room to write so many bytes at the end and the table is in use, which
    /// also says that a code point surely ends there.
    bool hasRoomAndTable(std::size_t added) const noexcept;

    /// False when not both texts, and their whole, stand inside an object.
    bool appendInside(const CStorage& text) noexcept;

    /// Appends single-byte code points that stand inside an object; there is room for all its bytes and a table in use.
    void appendShortAscii(const CStorage& text) noexcept;

    // ---- filling and emptying

    /// Where `newSize` bytes go in a storage that is empty and owns no buffer; the caller owes them an index().
    char* make(std::size_t newSize, std::size_t entries);

    /// Sets the length from what the bytes contain, and makes their table when it is worth its memory and fits. With
    /// the positions at hand the bytes are not scanned again.
    void index(const Tally& content, const CFirstPositions* positions = nullptr) noexcept;

    /// Empties it and keeps the buffer.
    void clear() noexcept;

    // ---- room

    /// Makes room for so many bytes beside the table.
    void reserve(std::size_t byteCount);

    /// Takes the smallest buffer that holds the text, none when the object itself does.
    void shrink();

    /// Enters heap mode, with room for the bytes beside the table; a new buffer has twice the room, or more for
    /// entries.
    void makeRoom(std::size_t newSize, std::size_t newEntries);

    /// Makes room on the heap for the table beside the bytes; false when there is no memory for that.
    bool makeTableRoom(std::size_t entries) noexcept;

    // ---- inside the object; bytes that are not in use are zero

    char* inlineData() noexcept { return object; }
    const char* inlineData() const noexcept { return object; }
    std::size_t inlineSize() const noexcept
    {
        return inlineCapacity - (static_cast<unsigned char>(object[inlineCapacity]) >> 1);
    }
    void setInlineSize(std::size_t newSize) noexcept
    {
        object[inlineCapacity] = static_cast<char>((inlineCapacity - newSize) << 1);
    }

    // ---- on the heap

    char* heapData() const noexcept { return load<char*>(object + fieldData); }
    std::size_t heapSize() const noexcept { return load<std::size_t>(object + fieldSize); }
    std::size_t heapCapacity() const noexcept { return load<std::size_t>(object + fieldCapacity); }
    std::size_t heapLength() const noexcept { return load<std::size_t>(object + fieldLength) & (heapMode - 1); }
    void setHeapSize(std::size_t newSize) noexcept { store(object + fieldSize, newSize); }
    void setHeapLength(std::size_t newLength) noexcept { store(object + fieldLength, newLength | heapMode); }
    void growHeapLength(std::size_t added) noexcept
    {
        store(object + fieldLength, load<std::size_t>(object + fieldLength) + added);
    }

    CLookupTable table() const noexcept;

    /// Whether the table, in use or resting, has the entries of the text. Without multi-byte code points it always
    /// does.
    bool hasTable() const noexcept;

    /// What begins in [begin, end).
    Tally contentOf(std::size_t begin, std::size_t end) const noexcept;

    /// Builds the table again when multi-byte code points have become so rare that it will not be dropped soon.
    void restoreTable() noexcept;

private:
    // As no string has 2^56 code points, the top byte of their number is free for the mode.
    static constexpr std::size_t fieldData = 0;
    static constexpr std::size_t fieldSize = 8;
    static constexpr std::size_t fieldCapacity = 16;
    static constexpr std::size_t fieldLength = 24;
    static constexpr std::size_t heapMode = std::size_t{1} << 56;

    KIV_API void takeOnHeap(const char* bytes, std::size_t count);
    KIV_API void copyHeap(const CStorage& other);
    KIV_API std::size_t countInside() const noexcept;
    void setHeap(char* buffer, std::size_t newSize, std::size_t newCapacity) noexcept;
    void moveTo(char* buffer, std::size_t newCapacity) noexcept;

    alignas(void*) char object[objectSize] = {};
};

inline CStorage::CStorage(const char* bytes, std::size_t count)
{
    if (count > inlineCapacity)
    {
        takeOnHeap(bytes, count);
        return;
    }
    if (count != 0)
        std::memcpy(object, bytes, count);
    setInlineSize(count);
}

inline CStorage::CStorage(const CStorage& other)
{
    if (other.isHeap())
        copyHeap(other);
    else
        std::memcpy(object, other.object, objectSize);
}

inline CStorage::~CStorage()
{
    if (isHeap())
        ::operator delete(heapData());
}

inline void CStorage::swap(CStorage& other) noexcept
{
    char kept[objectSize];
    std::memcpy(kept, object, objectSize);
    std::memcpy(object, other.object, objectSize);
    std::memcpy(other.object, kept, objectSize);
}

inline std::size_t CStorage::length() const noexcept
{
    if (isHeap())
        return heapLength();
    return isUnicodeInside() ? countInside() : inlineSize();
}

inline bool CStorage::isUnicodeInside() const noexcept
{
    // Unused bytes are zero, and so is the top bit of the last one, which holds the size.
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < objectSize; i += sizeof bits)
        bits |= load<std::uint64_t>(object + i);
    return !isHeap() && (bits & highBits) != 0;
}

inline bool CStorage::appendAscii(char c) noexcept
{
    const std::size_t end = size();
    if (!isHeap())
    {
        if (end == inlineCapacity)
            return false;
        object[end] = c;
        setInlineSize(end + 1);
        return true;
    }
    if (!hasRoomAndTable(sizeof(std::uint16_t)))
        return false;
    store<std::uint16_t>(heapData() + end, static_cast<unsigned char>(c)); // and the zero behind it
    setHeapSize(end + 1);
    growHeapLength(1);
    return true;
}

inline bool CStorage::hasRoomAndTable(std::size_t added) const noexcept
{
    const std::size_t room = heapCapacity();
    const auto header = load<std::size_t>(heapData() + room);
    const std::size_t tableBytes = room <= 0x10000 ? header : 4 * header; // at least: the header is twice the number
    return (header & 1) != 0 && heapSize() + added + tableBytes <= room;
}

inline bool CStorage::appendInside(const CStorage& text) noexcept
{
    const std::size_t end = inlineSize();
    const std::size_t count = text.inlineSize();
    if (isHeap() || text.isHeap() || end + count > inlineCapacity)
        return false;
    copyShort(object + end, text.object, count);
    setInlineSize(end + count);
    return true;
}

inline void CStorage::appendShortAscii(const CStorage& text) noexcept
{
    const std::size_t end = heapSize();
    const std::size_t count = text.inlineSize();
    std::memcpy(heapData() + end, text.object, objectSize); // zeros behind the text included
    setHeapSize(end + count);
    growHeapLength(count);
}

} // namespace tiny_utf8_detail

#endif
