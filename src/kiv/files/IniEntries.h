/// What a model of an INI file keeps of each key and section; private to the INI files.
///
/// A file that was loaded stays in memory as one block of text, and sections and keys are places in it. The objects
/// that callers see are made when one of them is asked for: a program that loads a thousand keys and reads ten pays for
/// ten.
#ifndef KIV_INIENTRIES_H
#define KIV_INIENTRIES_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kiv/IniFile.h>

namespace Kiv
{

/// Appends a key as it is written.
void append(std::string& output, const CIniFileKey& key);

/// A key: its place in the loaded text, or the object, once there is one. Default-constructed it is empty.
///
/// The place holds comment, name, '=', value and a line feed without anything between, as they are written.
class CIniKeyEntry
{
public:
    CIniKeyEntry() = default;
    CIniKeyEntry(const char* place, std::size_t comment, std::size_t name, std::size_t value);
    explicit CIniKeyEntry(std::unique_ptr<CIniFileKey> madeKey) : key(std::move(madeKey)) {}

    bool isEmpty() const { return !text && !key; }
    std::string_view name() const;
    std::string_view value() const;
    /// As it is written.
    void appendTo(std::string& output) const;
    /// Makes the object, if there is none yet; it lasts as long as this entry and those that it is moved to.
    CIniFileKey& object();

private:
    const char* text = nullptr; ///< tells nothing once there is the object
    std::unique_ptr<CIniFileKey> key;
    std::uint32_t commentSize = 0;
    std::uint32_t nameSize = 0;
    std::uint32_t valueSize = 0;
};

/// A section with its keys, likewise. The place holds the comment, the name in brackets and a line feed.
class CIniSectionEntry
{
public:
    CIniSectionEntry() = default;
    CIniSectionEntry(const char* place, std::size_t comment, std::size_t name);
    explicit CIniSectionEntry(std::unique_ptr<CIniFileSection> madeSection) : section(std::move(madeSection)) {}

    bool isEmpty() const { return !text && !section; }
    std::string_view name() const;
    void appendTo(std::string& output) const;
    CIniFileSection& object();
    /// Takes keys over behind those that there are.
    void append(std::vector<CIniKeyEntry>& more);

private:
    const char* text = nullptr;
    std::unique_ptr<CIniFileSection> section;
    std::vector<CIniKeyEntry> keys; ///< until there is the object
    std::uint32_t commentSize = 0;
    std::uint32_t nameSize = 0;
};

} // namespace Kiv

#endif
