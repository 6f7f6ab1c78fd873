/// An ordered list of named entries with a way to them by name; private to the INI files.
#ifndef KIV_NAMEDLIST_H
#define KIV_NAMEDLIST_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace Kiv
{

/// Holds entries in the order of their insertion; of those with equal names, lookups reach the first.
///
/// What is taken out leaves a gap, an empty entry. Gaps at the ends go at once, the others when somebody looks at the
/// list, so that taking out one entry after the other costs the same for each.
///
/// The way by name is a hash table with linear probing, made at the first lookup: a file that is only loaded and
/// written never pays for it. An entry has name() and isEmpty(), and is empty when it is default-constructed. It moves
/// when others come or go; what it stands for does not.
///
/// Threads: one thread at a time, lookups too.
template<class Entry>
class CNamedList
{
public:
    using Entries = std::vector<Entry>;

    std::size_t size() const { return list.size() - gaps; }

    /// Without gaps.
    const Entries& entries() const
    {
        closeGaps();
        return list;
    }

    /// The entry at an index below size().
    Entry& at(std::size_t index) const
    {
        if (gaps != front)
            closeGaps();
        return list[front + index];
    }

    /// Null when there is none. Good until the next change of the list.
    Entry* find(std::string_view name);

    /// Fills an empty list.
    void assign(Entries entries) { list = std::move(entries); }

    /// Appends an entry; a name that is there already keeps reaching its earlier entry.
    void append(Entry entry);

    /// Takes the entry that find() reaches out of the list but leaves its name reaching it: `keep` takes it over and
    /// returns where it stands from now on. Nothing for an entry that is out already, or if there is none.
    template<class Keep>
    void detach(std::string_view name, const Keep& keep);

    /// Takes the entry that find() reaches out of the list; its name then reaches the next entry of that name, if any.
    /// An empty one if there is none.
    Entry remove(std::string_view name);

    void clear();

private:
    struct Slot
    {
        std::uint32_t hash = 0;
        std::uint32_t place = nowhere; ///< in the list, or among those that are out
    };

    // No memory holds so many entries that 31 bits were too few for their places.
    static constexpr std::uint32_t nowhere = UINT32_MAX;
    static constexpr std::uint32_t isOut = std::uint32_t{1} << 31;

    static std::uint32_t hashOf(std::string_view name)
    {
        return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
    }

    Entry& entryOf(const Slot& slot) { return slot.place & isOut ? *out[slot.place & ~isOut] : list[slot.place]; }
    std::size_t wrapped(std::size_t position) const { return position & (slots.size() - 1); }
    Slot& slotFor(std::string_view name, std::uint32_t hash);
    Slot* slotOf(std::string_view name);
    void index(std::size_t place);
    void buildIndex();
    void grow(std::size_t count);
    void vacate(std::size_t hole);
    Entry take(const Slot& slot);
    void closeGaps() const;

    // Mutable for closing gaps, which nobody sees.
    mutable Entries list;
    mutable std::size_t gaps = 0;    ///< what was taken out since they were closed
    mutable std::size_t front = 0;   ///< so many of them come first
    mutable std::vector<Slot> slots; ///< a power of two of them, a quarter free; none before the first lookup
    std::size_t taken = 0;           ///< slots in use
    std::vector<Entry*> out;         ///< not in the list any more, but still found
    bool hasRepeats = false;         ///< a name was refused because an earlier entry has it
};

template<class Entry>
Entry* CNamedList<Entry>::find(std::string_view name)
{
    const Slot* const slot = slotOf(name);
    return slot ? &entryOf(*slot) : nullptr;
}

template<class Entry>
void CNamedList<Entry>::append(Entry entry)
{
    if (list.capacity() == list.size())
    {
        closeGaps();
        list.reserve(std::max<std::size_t>(4, 2 * list.size()));
    }
    list.push_back(std::move(entry));
    if (!slots.empty())
        index(list.size() - 1);
}

template<class Entry>
template<class Keep>
void CNamedList<Entry>::detach(std::string_view name, const Keep& keep)
{
    Slot* const slot = slotOf(name);
    if (!slot || slot->place & isOut)
        return;
    out.push_back(nullptr);
    out.back() = &keep(take(*slot));
    slot->place = static_cast<std::uint32_t>(out.size() - 1) | isOut;
}

template<class Entry>
Entry CNamedList<Entry>::remove(std::string_view name)
{
    Slot* const slot = slotOf(name);
    if (!slot)
        return Entry();
    Entry removed = take(*slot);
    const auto next = hasRepeats
                          ? std::find_if(list.begin(), list.end(),
                                         [&](const Entry& other) { return !other.isEmpty() && other.name() == name; })
                          : list.end();
    if (next != list.end())
        slot->place = static_cast<std::uint32_t>(next - list.begin());
    else
        vacate(static_cast<std::size_t>(slot - slots.data()));
    return removed;
}

/// Takes the entry out of the list.
template<class Entry>
Entry CNamedList<Entry>::take(const Slot& slot)
{
    Entry entry = std::exchange(list[slot.place], Entry());
    ++gaps;
    while (front < list.size() && list[front].isEmpty())
        ++front;
    for (; list.size() > front && list.back().isEmpty(); --gaps)
        list.pop_back();
    if (front == list.size())
    {
        list.clear();
        gaps = front = 0;
    }
    return entry;
}

template<class Entry>
void CNamedList<Entry>::closeGaps() const
{
    if (gaps == 0)
        return;
    std::vector<std::uint32_t> moved(list.size(), nowhere);
    std::uint32_t next = 0;
    for (std::size_t place = 0; place < list.size(); ++place)
    {
        if (list[place].isEmpty())
            continue;
        moved[place] = next;
        std::swap(list[next++], list[place]);
    }
    list.resize(next);
    gaps = front = 0;
    for (Slot& slot : slots)
        if (!(slot.place & isOut))
            slot.place = moved[slot.place];
}

template<class Entry>
void CNamedList<Entry>::clear()
{
    *this = CNamedList();
}

/// Null when nothing has the name.
template<class Entry>
typename CNamedList<Entry>::Slot* CNamedList<Entry>::slotOf(std::string_view name)
{
    if (slots.empty())
    {
        if (list.empty())
            return nullptr;
        buildIndex();
    }
    Slot& slot = slotFor(name, hashOf(name));
    return slot.place == nowhere ? nullptr : &slot;
}

/// The slot that holds the name, or the free one where it belongs.
template<class Entry>
typename CNamedList<Entry>::Slot& CNamedList<Entry>::slotFor(std::string_view name, std::uint32_t hash)
{
    for (std::size_t position = wrapped(hash);; position = wrapped(position + 1))
    {
        Slot& slot = slots[position];
        if (slot.place == nowhere || (slot.hash == hash && entryOf(slot).name() == name))
            return slot;
    }
}

template<class Entry>
void CNamedList<Entry>::index(std::size_t place)
{
    if ((taken + 1) * 4 > slots.size() * 3)
        grow(taken + 1);
    const std::string_view name = list[place].name();
    Slot& slot = slotFor(name, hashOf(name));
    if (slot.place != nowhere)
    {
        hasRepeats = true;
        return;
    }
    slot = {hashOf(name), static_cast<std::uint32_t>(place)};
    ++taken;
}

template<class Entry>
void CNamedList<Entry>::buildIndex()
{
    grow(list.size()); // there are no gaps before
    for (std::size_t place = 0; place < list.size(); ++place)
        index(place);
}

/// Makes room for `count` entries and moves the slots over; their names differ, so only the hashes matter.
template<class Entry>
void CNamedList<Entry>::grow(std::size_t count)
{
    std::size_t size = 8;
    while (count * 4 > size * 3)
        size *= 2;
    std::vector<Slot> old(size);
    old.swap(slots);
    for (const Slot& slot : old)
    {
        if (slot.place == nowhere)
            continue;
        std::size_t position = wrapped(slot.hash);
        while (slots[position].place != nowhere)
            position = wrapped(position + 1);
        slots[position] = slot;
    }
}

/// Empties a slot and moves later ones of its run up, so that no lookup stops short of them.
template<class Entry>
void CNamedList<Entry>::vacate(std::size_t hole)
{
    for (std::size_t position = wrapped(hole + 1); slots[position].place != nowhere; position = wrapped(position + 1))
    {
        if (wrapped(position - slots[position].hash) < wrapped(position - hole))
            continue;
        slots[hole] = slots[position];
        hole = position;
    }
    slots[hole] = {};
    --taken;
}

} // namespace Kiv

#endif
