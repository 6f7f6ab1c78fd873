/// An ordered list of owned, named items with a way to them by name; private to the INI files.
#ifndef KIV_NAMEDLIST_H
#define KIV_NAMEDLIST_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kiv
{

/// Owns items in the order of their insertion; of those with equal names, lookups reach the first.
///
/// What is taken out leaves a gap. Gaps at the ends go at once, the others when somebody looks at the list, so that
/// taking out one item after the other costs the same for each.
///
/// The way by name is a hash table with linear probing, made at the first lookup: a file that is only loaded and
/// written never pays for it. `nameOf(const Item&)` is found by the item's namespace.
///
/// Threads: one thread at a time, lookups too.
template<class Item>
class CNamedList
{
public:
    using Items = std::vector<std::unique_ptr<Item>>;

    std::size_t size() const { return list.size() - gaps; }

    /// Without gaps.
    const Items& items() const
    {
        closeGaps();
        return list;
    }

    /// The item at an index below size().
    Item& at(std::size_t index) const
    {
        if (gaps != front)
            closeGaps();
        return *list[front + index];
    }

    Item* find(std::string_view name);

    /// Appends an item; a name that is there already keeps reaching its earlier item.
    void append(std::unique_ptr<Item> item);

    /// Takes an item out of the list but leaves its name reaching it. Null when it is not in the list.
    std::unique_ptr<Item> detach(const Item* item);

    /// Takes an item that find() returned out of the list; its name then reaches the next item of that name, if any.
    std::unique_ptr<Item> remove(const Item* item);

    void clear();

private:
    struct Slot
    {
        Item* item = nullptr;
        std::uint32_t hash = 0;
        std::uint32_t place = 0; ///< in the list; that of a detached item means nothing
    };

    // No memory holds so many items that 32 bits were too few for their places.
    static std::uint32_t hashOf(std::string_view name)
    {
        return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
    }

    std::size_t wrapped(std::size_t position) const { return position & (slots.size() - 1); }
    Slot& slotFor(std::string_view name, std::uint32_t hash);
    void index(std::size_t place);
    void buildIndex();
    void grow(std::size_t count);
    void vacate(std::size_t hole);
    std::unique_ptr<Item> take(const Slot& slot);
    void closeGaps() const;

    // Mutable for closing gaps, which nobody sees.
    mutable Items list;
    mutable std::size_t gaps = 0;    ///< what was taken out since they were closed
    mutable std::size_t front = 0;   ///< so many of them come first
    mutable std::vector<Slot> slots; ///< a power of two of them, a quarter free; none before the first lookup
    std::size_t taken = 0;           ///< slots in use
    bool hasRepeats = false;         ///< a name was refused because an earlier item has it
};

template<class Item>
Item* CNamedList<Item>::find(std::string_view name)
{
    if (slots.empty())
    {
        if (list.empty())
            return nullptr;
        buildIndex();
    }
    return slotFor(name, hashOf(name)).item;
}

template<class Item>
void CNamedList<Item>::append(std::unique_ptr<Item> item)
{
    if (list.capacity() == list.size())
    {
        closeGaps();
        list.reserve(std::max<std::size_t>(16, 2 * list.size()));
    }
    list.push_back(std::move(item));
    if (!slots.empty())
        index(list.size() - 1);
}

template<class Item>
std::unique_ptr<Item> CNamedList<Item>::detach(const Item* item)
{
    const Slot& slot = slotFor(nameOf(*item), hashOf(nameOf(*item)));
    const bool isListed = slot.item == item && slot.place < list.size() && list[slot.place].get() == item;
    return isListed ? take(slot) : nullptr;
}

template<class Item>
std::unique_ptr<Item> CNamedList<Item>::remove(const Item* item)
{
    Slot& slot = slotFor(nameOf(*item), hashOf(nameOf(*item)));
    std::unique_ptr<Item> removed = take(slot);
    const auto next = hasRepeats
                          ? std::find_if(list.begin(), list.end(),
                                         [&](const auto& other) { return other && nameOf(*other) == nameOf(*removed); })
                          : list.end();
    if (next != list.end())
        slot = {next->get(), slot.hash, static_cast<std::uint32_t>(next - list.begin())};
    else
        vacate(static_cast<std::size_t>(&slot - slots.data()));
    return removed;
}

/// Takes the item out of the list.
template<class Item>
std::unique_ptr<Item> CNamedList<Item>::take(const Slot& slot)
{
    std::unique_ptr<Item> item = std::move(list[slot.place]);
    ++gaps;
    while (front < list.size() && !list[front])
        ++front;
    for (; list.size() > front && !list.back(); --gaps)
        list.pop_back();
    if (front == list.size())
    {
        list.clear();
        gaps = front = 0;
    }
    return item;
}

template<class Item>
void CNamedList<Item>::closeGaps() const
{
    if (gaps == 0)
        return;
    std::vector<std::uint32_t> moved(list.size(), UINT32_MAX);
    std::uint32_t next = 0;
    for (std::size_t place = 0; place < list.size(); ++place)
    {
        if (!list[place])
            continue;
        moved[place] = next;
        std::swap(list[next++], list[place]);
    }
    list.resize(next);
    gaps = front = 0;
    for (Slot& slot : slots)
        slot.place = slot.place < moved.size() ? moved[slot.place] : UINT32_MAX;
}

template<class Item>
void CNamedList<Item>::clear()
{
    list.clear();
    gaps = front = 0;
    slots.clear();
    taken = 0;
    hasRepeats = false;
}

/// The slot that holds the name, or the free one where it belongs.
template<class Item>
typename CNamedList<Item>::Slot& CNamedList<Item>::slotFor(std::string_view name, std::uint32_t hash)
{
    for (std::size_t position = wrapped(hash);; position = wrapped(position + 1))
    {
        Slot& slot = slots[position];
        if (!slot.item || (slot.hash == hash && nameOf(*slot.item) == name))
            return slot;
    }
}

template<class Item>
void CNamedList<Item>::index(std::size_t place)
{
    Item* const item = list[place].get();
    if ((taken + 1) * 4 > slots.size() * 3)
        grow(taken + 1);
    const std::uint32_t hash = hashOf(nameOf(*item));
    Slot& slot = slotFor(nameOf(*item), hash);
    if (slot.item)
    {
        hasRepeats = true;
        return;
    }
    slot = {item, hash, static_cast<std::uint32_t>(place)};
    ++taken;
}

template<class Item>
void CNamedList<Item>::buildIndex()
{
    grow(list.size()); // there are no gaps before
    for (std::size_t place = 0; place < list.size(); ++place)
        index(place);
}

/// Makes room for `count` items and moves the slots over; their names differ, so only the hashes matter.
template<class Item>
void CNamedList<Item>::grow(std::size_t count)
{
    std::size_t size = 8;
    while (count * 4 > size * 3)
        size *= 2;
    std::vector<Slot> old(size);
    old.swap(slots);
    for (const Slot& slot : old)
    {
        if (!slot.item)
            continue;
        std::size_t position = wrapped(slot.hash);
        while (slots[position].item)
            position = wrapped(position + 1);
        slots[position] = slot;
    }
}

/// Empties a slot and moves later ones of its run up, so that no lookup stops short of them.
template<class Item>
void CNamedList<Item>::vacate(std::size_t hole)
{
    for (std::size_t position = wrapped(hole + 1); slots[position].item; position = wrapped(position + 1))
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
