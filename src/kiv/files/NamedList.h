/// An ordered list of owned, named items with a way to them by name; private to the INI files.
#ifndef KIV_NAMEDLIST_H
#define KIV_NAMEDLIST_H

#include <algorithm>
#include <cstddef>
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
/// The way by name is a hash table with linear probing, made at the first lookup: a file that is only loaded and
/// written never pays for it. `nameOf(const Item&)` is found by the item's namespace.
///
/// Threads: one thread at a time, lookups too.
template<class Item>
class CNamedList
{
public:
    using Items = std::vector<std::unique_ptr<Item>>;

    const Items& items() const { return list; }

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
        std::size_t hash = 0;
    };

    static std::size_t hashOf(std::string_view name) { return std::hash<std::string_view>()(name); }

    std::size_t wrapped(std::size_t position) const { return position & (slots.size() - 1); }
    Slot& slotFor(std::string_view name, std::size_t hash);
    void index(Item* item);
    void buildIndex();
    void grow(std::size_t count);
    void vacate(std::size_t hole);

    Items list;
    std::vector<Slot> slots; ///< a power of two of them, a quarter free; none before the first lookup
    std::size_t taken = 0;   ///< slots in use
    bool hasRepeats = false; ///< a name was refused because an earlier item has it
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
        list.reserve(std::max<std::size_t>(16, 2 * list.size()));
    list.push_back(std::move(item));
    if (!slots.empty())
        index(list.back().get());
}

template<class Item>
std::unique_ptr<Item> CNamedList<Item>::detach(const Item* item)
{
    const auto place = std::find_if(list.begin(), list.end(), [&](const auto& other) { return other.get() == item; });
    if (place == list.end())
        return nullptr;
    std::unique_ptr<Item> detached = std::move(*place);
    list.erase(place);
    return detached;
}

template<class Item>
std::unique_ptr<Item> CNamedList<Item>::remove(const Item* item)
{
    std::unique_ptr<Item> removed = detach(item);
    Slot& slot = slotFor(nameOf(*removed), hashOf(nameOf(*removed)));
    const auto next = hasRepeats ? std::find_if(list.begin(), list.end(),
                                                [&](const auto& other) { return nameOf(*other) == nameOf(*removed); })
                                 : list.end();
    if (next != list.end())
        slot.item = next->get();
    else
        vacate(static_cast<std::size_t>(&slot - slots.data()));
    return removed;
}

template<class Item>
void CNamedList<Item>::clear()
{
    list.clear();
    slots.clear();
    taken = 0;
    hasRepeats = false;
}

/// The slot that holds the name, or the free one where it belongs.
template<class Item>
typename CNamedList<Item>::Slot& CNamedList<Item>::slotFor(std::string_view name, std::size_t hash)
{
    for (std::size_t position = wrapped(hash);; position = wrapped(position + 1))
    {
        Slot& slot = slots[position];
        if (!slot.item || (slot.hash == hash && nameOf(*slot.item) == name))
            return slot;
    }
}

template<class Item>
void CNamedList<Item>::index(Item* item)
{
    if ((taken + 1) * 4 > slots.size() * 3)
        grow(taken + 1);
    const std::size_t hash = hashOf(nameOf(*item));
    Slot& slot = slotFor(nameOf(*item), hash);
    if (slot.item)
    {
        hasRepeats = true;
        return;
    }
    slot = {item, hash};
    ++taken;
}

template<class Item>
void CNamedList<Item>::buildIndex()
{
    grow(list.size());
    for (const auto& item : list)
        index(item.get());
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
