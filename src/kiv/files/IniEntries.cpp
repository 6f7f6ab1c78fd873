#include "kiv/files/IniEntries.h"

#include <algorithm>
#include <iterator>

#include "kiv/files/IniModel.h"

namespace Kiv
{

namespace
{

/// What is longer gets an object at once.
constexpr std::size_t longestPiece = UINT32_MAX;

} // namespace

void append(std::string& output, const CIniFileKey& key)
{
    output += key.comment();
    output += key.getKeyName();
    output += '=';
    output += key.value();
    output += '\n';
}

// ---- key

CIniKeyEntry::CIniKeyEntry(const char* place, std::size_t comment, std::size_t name, std::size_t value)
    : text(place), commentSize(static_cast<std::uint32_t>(comment)), nameSize(static_cast<std::uint32_t>(name)),
      valueSize(static_cast<std::uint32_t>(value))
{
    if (std::max({comment, name, value}) > longestPiece)
        key =
            std::make_unique<CIniFileKey>(std::string(place + comment, name),
                                          std::string(place + comment + name + 1, value), std::string(place, comment));
}

std::string_view CIniKeyEntry::name() const
{
    return key ? std::string_view(key->getKeyName()) : std::string_view(text + commentSize, nameSize);
}

std::string_view CIniKeyEntry::value() const
{
    return key ? std::string_view(key->value()) : std::string_view(text + commentSize + nameSize + 1, valueSize);
}

void CIniKeyEntry::appendTo(std::string& output) const
{
    if (key)
        append(output, *key);
    else
        output.append(text, std::size_t{commentSize} + nameSize + valueSize + 2);
}

CIniFileKey& CIniKeyEntry::object()
{
    if (!key)
        key = std::make_unique<CIniFileKey>(std::string(name()), std::string(value()), std::string(text, commentSize));
    return *key;
}

// ---- section

CIniSectionEntry::CIniSectionEntry(const char* place, std::size_t comment, std::size_t name)
    : text(place), commentSize(static_cast<std::uint32_t>(comment)), nameSize(static_cast<std::uint32_t>(name))
{
    if (std::max(comment, name) > longestPiece)
        section =
            std::make_unique<CIniFileSection>(std::string(place + comment + 1, name), std::string(place, comment));
}

std::string_view CIniSectionEntry::name() const
{
    return section ? std::string_view(section->sectionName()) : std::string_view(text + commentSize + 1, nameSize);
}

void CIniSectionEntry::appendTo(std::string& output) const
{
    if (section)
        return section->d->appendTo(output);
    output.append(text, std::size_t{commentSize} + nameSize + 3);
    for (const CIniKeyEntry& key : keys)
        key.appendTo(output);
    output += '\n';
}

CIniFileSection& CIniSectionEntry::object()
{
    if (!section)
    {
        section = std::make_unique<CIniFileSection>(std::string(name()), std::string(text, commentSize));
        section->d->keys.assign(std::move(keys));
    }
    return *section;
}

void CIniSectionEntry::append(std::vector<CIniKeyEntry>& more)
{
    if (section)
    {
        for (CIniKeyEntry& key : more)
            section->d->keys.append(std::move(key));
    }
    else
    {
        keys.insert(keys.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    }
    more.clear();
}

} // namespace Kiv
