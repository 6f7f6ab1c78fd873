/// The lookup table at the end of a utf8_string's heap buffer: the byte positions of its multi-byte code points.
#ifndef KIV_TEXT_TINYUTF8_TABLE_H
#define KIV_TEXT_TINYUTF8_TABLE_H

#include <cstddef>
#include <cstdint>

#include <kiv/tinyutf8_bytes.h>

namespace tiny_utf8_detail
{

/// The width of the table's entries in a heap buffer of this capacity, in bytes and as a shift: 1, 2, 4 or 8.
constexpr unsigned entryShift(std::size_t capacity) noexcept
{
    return unsigned{capacity > 0x100} + unsigned{capacity > 0x10000} + unsigned{capacity > 0x100000000};
}
constexpr std::size_t entryWidth(std::size_t capacity) noexcept { return std::size_t{1} << entryShift(capacity); }

/// From one milestone to the next, in entries.
inline constexpr std::size_t milestoneDistance = 16;

/// Behind the header of a buffer whose capacity is an odd multiple of four stand milestones.
constexpr bool hasMilestones(std::size_t capacity) noexcept { return (capacity & 4) != 0; }

/// Few entries do without, and all that a buffer holds whose entries are bytes.
constexpr bool needsMilestones(std::size_t entries, std::size_t capacity) noexcept
{
    return entries > milestoneDistance && capacity > 0x100;
}

/// The capacity with the mark for milestones if so many entries need them.
constexpr std::size_t withMilestones(std::size_t capacity, std::size_t entries) noexcept
{
    return needsMilestones(entries, capacity) ? capacity | 4 : capacity;
}

/// Keeps what a scan finds, as far as it has the room, until there is a table for it.
class CFirstPositions
{
public:
    void keep(std::size_t i, std::size_t byteIndex, std::size_t codePointIndex) noexcept
    {
        if (i >= room)
            return;
        positions[i] = static_cast<std::uint32_t>(byteIndex);
        if (i % milestoneDistance == 0)
            milestones[i / milestoneDistance] = static_cast<std::uint32_t>(codePointIndex);
    }

    /// True when so many entries of a text of this size have been kept.
    static bool hasAll(std::size_t entries, std::size_t size) noexcept { return entries <= room && size <= UINT32_MAX; }

private:
    friend class CLookupTable;
    static constexpr std::size_t room = 1024;

    std::uint32_t positions[room];
    std::uint32_t milestones[room / milestoneDistance];
};

/// A view of the table in the buffer at `data`.
///
/// Behind the buffer's capacity stands an 8-byte header: twice the number of entries, plus 1 while the table is in use.
/// The entries lie below it towards lower addresses, ascending by position, each as wide as the capacity makes
/// necessary.
///
/// Behind the header of a buffer that has ever held more than a few entries stand the milestones: for every 16th entry,
/// beginning with the first, the number of code points before it. They are as wide as entries. A look-up by code point
/// halves its way through them and steps over the few entries that are left.
///
/// A table is used only while the text ends where a code point surely does. When it ends in what may be the beginning
/// of a sequence, the table rests: its entries are right, and the edit that brings the missing bytes uses it again.
class CLookupTable
{
public:
    CLookupTable(char* buffer, std::size_t capacity) noexcept : data(buffer), header(buffer + capacity) {}

    /// True while so few of `size` bytes begin a multi-byte code point that the table is worth its memory: two fifths
    /// of the text's at two bytes an entry. Denser text is scanned nearly as fast.
    static bool isWorthwhile(std::size_t entries, std::size_t size) noexcept { return 5 * entries <= size; }

    /// True when the bytes behind first ones are so few that a table will not be dropped again soon.
    static bool isSparse(std::size_t extraBytes, std::size_t size) noexcept { return extraBytes <= size / 7; }

    /// The smallest capacity, at least `atLeast`, for `size` bytes, their terminating zero and a table.
    static std::size_t capacityFor(std::size_t size, std::size_t entries, std::size_t atLeast = 0) noexcept;

    /// What a buffer of this capacity takes with header and milestones.
    static std::size_t allocationFor(std::size_t capacity) noexcept;

    /// True when so many entries do without milestones, or have them.
    bool mayHold(std::size_t entries) const noexcept
    {
        return hasMilestones(capacity()) || !needsMilestones(entries, capacity());
    }

    bool isInUse() const noexcept { return (load<std::uint64_t>(header) & 1) != 0; }
    std::size_t count() const noexcept { return load<std::uint64_t>(header) >> 1; }
    std::size_t bytes() const noexcept { return bytesFor(count()); }
    std::size_t bytesFor(std::size_t entries) const noexcept { return entries << entryShift(capacity()); }

    /// Returns f(value) with a value of the entries' type.
    template<class F>
    auto withEntryType(F f) const noexcept;

    /// Sets the number of entries and uses the table, or lets it rest.
    void set(std::size_t entries, bool isUsed) noexcept { store<std::uint64_t>(header, entries << 1 | isUsed); }
    void drop() noexcept { set(0, false); }

    /// The position of the last entry; there is one.
    std::size_t last() const noexcept;

    /// The first entry whose position is not below `byteIndex`.
    std::size_t lowerBound(std::size_t byteIndex) const noexcept;

    /// What stands at the entries [first, last).
    std::size_t extraBytes(std::size_t first, std::size_t last) const noexcept;

    /// The byte index `count` code points behind `byteIndex`, unbounded.
    std::size_t walk(std::size_t byteIndex, std::size_t count) const noexcept;

    /// Bytes behind the first ones of the multi-byte code points that begin in [begin, end).
    std::size_t extraBytesBetween(std::size_t begin, std::size_t end) const noexcept;

    /// Makes `added` entries, yet to be written, of the `removed` ones at `first`, and moves the positions behind by
    /// `distance`, which wraps for a move downwards. There must be room; the header stays as it is.
    void replace(std::size_t first, std::size_t removed, std::size_t added, std::size_t distance) noexcept;

    /// Writes the entry `i`, of a type that is known, without its milestone.
    template<class Entry>
    void setPosition(std::size_t i, std::size_t byteIndex) noexcept;

    /// Writes entries from `first` on, with their milestones: what begins in [begin, end) of the data.
    void record(std::size_t first, std::size_t begin, std::size_t end, std::size_t size) noexcept;

    /// Writes all entries, with their milestones.
    void record(const CFirstPositions& kept) noexcept;

    /// Makes the milestones right from the entry `first` on, after all entries and bytes are; `extra` are the bytes
    /// behind the first ones of the code points before it.
    void setMilestones(std::size_t first, std::size_t extra) noexcept;
    void setMilestones(std::size_t first) noexcept { setMilestones(first, extraBytesBefore(first)); }

    /// Becomes the same as another table. There must be room.
    void copyAll(const CLookupTable& other) noexcept;

    /// Writes entries from `first` on: all of another table's, moved by `distance`.
    void copy(std::size_t first, const CLookupTable& other, std::size_t distance) noexcept;

private:
    std::size_t capacity() const noexcept { return static_cast<std::size_t>(header - data); }
    template<class Entry>
    std::size_t position(std::size_t i) const noexcept;
    template<class Entry>
    void record(std::size_t i, std::size_t byteIndex, std::size_t codePointIndex) noexcept;
    template<class Entry>
    std::size_t milestone(std::size_t i) const noexcept;
    template<class Entry>
    void setMilestone(std::size_t i, std::size_t codePointIndex) noexcept;
    std::size_t extraBytesBefore(std::size_t i) const noexcept;
    std::size_t lastMilestoneBefore(std::size_t codePointIndex, std::size_t first) const noexcept;
    void moveBy(std::size_t distance, std::size_t first, std::size_t last) noexcept;

    const char* data;
    char* header;
};

template<class F>
auto CLookupTable::withEntryType(F f) const noexcept
{
    const std::size_t highest = capacity() - 1;
    if (highest <= UINT8_MAX)
        return f(std::uint8_t());
    if (highest <= UINT16_MAX)
        return f(std::uint16_t());
    if (highest <= UINT32_MAX)
        return f(std::uint32_t());
    return f(std::uint64_t());
}

template<class Entry>
std::size_t CLookupTable::position(std::size_t i) const noexcept
{
    return load<Entry>(header - (i + 1) * sizeof(Entry));
}

inline std::size_t CLookupTable::last() const noexcept
{
    return withEntryType([this](auto entry) { return position<decltype(entry)>(count() - 1); });
}

template<class Entry>
void CLookupTable::setPosition(std::size_t i, std::size_t byteIndex) noexcept
{
    store(header - (i + 1) * sizeof(Entry), static_cast<Entry>(byteIndex));
}

template<class Entry>
void CLookupTable::setMilestone(std::size_t i, std::size_t codePointIndex) noexcept
{
    store(header + sizeof(std::uint64_t) + i / milestoneDistance * sizeof(Entry), static_cast<Entry>(codePointIndex));
}

template<class Entry>
void CLookupTable::record(std::size_t i, std::size_t byteIndex, std::size_t codePointIndex) noexcept
{
    setPosition<Entry>(i, byteIndex);
    if (i % milestoneDistance == 0 && hasMilestones(capacity()))
        setMilestone<Entry>(i, codePointIndex);
}

} // namespace tiny_utf8_detail

#endif
