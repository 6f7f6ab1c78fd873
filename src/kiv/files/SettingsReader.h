/// A file against a description, in one pass; private to the settings.
#ifndef KIV_SETTINGSREADER_H
#define KIV_SETTINGSREADER_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <kiv/IniText.h>
#include <kiv/Settings.h>

#include "kiv/files/SettingRule.h"

namespace Kiv
{

/// What a file says for a rule.
struct SettingReading
{
    SettingValue value;                 ///< the default if the key is not there
    std::vector<SettingsEntry> entries; ///< of a free section
};

/// Reads a text by rules. Afterwards it still knows where everything stands, for faults that others find.
///
/// Threads: reentrant.
/// Errors: faults().
class CSettingsReader
{
public:
    /// The rules must outlive it.
    CSettingsReader(const std::vector<const SettingRule*>& settingRules, const std::vector<std::string>& sectionNames,
                    const std::string& path);

    void read(const std::string& text);
    /// One for each rule, in their order.
    const std::vector<SettingReading>& readings() const { return results; }
    /// In the order of the lines, once read() is through and after sort().
    const std::vector<SettingsFault>& faults() const { return found; }
    void sort();

    /// A fault of a key, or of what is missing when there is no such key.
    void fail(const std::string& section, const std::string& key, const std::string& reason);

private:
    using Name = std::pair<std::string, std::string>;
    struct Place
    {
        std::size_t line;
        std::string value;
    };

    void add(std::size_t line, const std::string& key, const std::string& value, const std::string& reason);
    void readLine(const IniLine& line);
    void readSection(const IniLine& line);
    void readKey(const IniLine& line);
    void readValue(std::size_t rule, const IniLine& line);
    void requireAll();
    std::string nearestKey(const std::string& name) const;

    const std::vector<const SettingRule*>& rules;
    const std::vector<std::string>& sections;
    const std::string file;
    std::map<Name, std::size_t> ruleOf;
    std::map<Name, Place> places; ///< a section stands here with an empty key
    std::vector<SettingReading> results;
    std::vector<SettingsFault> found;
    std::string section; ///< under way
    bool isKnown = true; ///< the section under way is described and stands here for the first time
    bool isBroken = false;
    std::size_t number = 0;
};

} // namespace Kiv

#endif
