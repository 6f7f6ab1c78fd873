/// An INI file that is read strictly: whatever is missing, wrong or unknown in it is an error with its line.
#ifndef KIV_PUMPSTATION_SETTINGSFILE_H
#define KIV_PUMPSTATION_SETTINGSFILE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <kiv/IniFile.h>

#include "TextFile.h"

namespace PumpStation
{

/// Kiv::CIniFile reads what it can use and passes over the rest, which suits a file that programs write. A person who
/// misspells a key wants to hear of it: so this class looks at the lines, too, and leaves the values to Kiv::CIniFile.
///
/// Errors: every function that reads throws CInputError, with the line of the key, or of its section if it is missing.
class CSettingsFile
{
public:
    /// What a number in the file may be, ends included, and how many of our units it stands for.
    struct Range
    {
        double from;
        double to;
        double scale = 1;
    };

    explicit CSettingsFile(const std::string& path);

    /// Scaled and rounded; without a scale the file must have a whole number.
    int number(const std::string& section, const std::string& key, const Range& range);

    /// Seconds since midnight.
    int timeOfDay(const std::string& section, const std::string& key);

    /// With its references to environment variables replaced.
    std::string text(const std::string& section, const std::string& key);

    /// The keys of a section whose names are for the user to choose, in the order of the file.
    std::vector<std::string> keysOf(const std::string& section);

    /// To be called last: refuses sections and keys that nobody has asked for.
    void refuseUnknown() const;

    [[noreturn]] void fail(const std::string& section, const std::string& key, const std::string& reason) const;

private:
    using Name = std::pair<std::string, std::string>; // section and key

    void scan();
    std::string scanSection(const std::string& line, std::size_t number);
    void addPlace(const Name& name, std::size_t number);
    std::string value(const std::string& section, const std::string& key);

    CTextFile source;
    Kiv::CIniFile ini;
    std::map<Name, std::size_t> places; // a section stands here with an empty key
    std::set<Name> asked;
};

} // namespace PumpStation

#endif
