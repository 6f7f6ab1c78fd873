/// A description of settings, and what was read by it; private to the settings.
#ifndef KIV_SETTINGITEMS_H
#define KIV_SETTINGITEMS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <kiv/Settings.h>

#include "kiv/files/FileStamp.h"
#include "kiv/files/SettingRule.h"
#include "kiv/files/SettingsReader.h"

namespace Kiv
{

/// A setting with its variable; one that comes from a schema has none.
struct SettingItem
{
    SettingRule rule;
    const void* variable = nullptr;
    std::function<SettingValue()> get;
    std::function<void(const SettingValue&)> set;
    std::vector<SettingsEntry>* entries = nullptr; ///< of a free section
    SettingReading current;                        ///< what the file says, or the default

    /// What the variable holds now, in the file's unit.
    SettingReading now() const;
    void store(const SettingReading& reading) const;
};

struct SettingsSection
{
    std::string name;
    std::string about;
};

class CSettingsPrivate
{
public:
    SettingItem& addItem(const SettingRule& rule);
    void addSection(const std::string& name, const std::string& about);

    std::vector<const SettingRule*> rules() const;
    std::vector<std::string> sectionNames() const;

    std::string about;
    std::vector<SettingsSection> sections;
    std::string describedSection; ///< of what is added next
    std::vector<std::unique_ptr<SettingItem>> items;
    std::vector<std::function<void(CSettings&)>> checks;

    std::string path; ///< of the last read()
    CFileStamp onDisk;
    bool wasRead = false;
    CSettingsReader* reader = nullptr; ///< of the read() under way
    std::vector<SettingsFault> faults;
    std::vector<SettingsChange> changes;
};

/// The value, or all entries, as one text that tells whether two readings differ.
std::string readingText(const SettingRule& rule, const SettingReading& reading);

/// One line of text, as reading gives it back: whatever could end or hide it becomes a blank, outer blanks go.
std::string asOneLine(const std::string& text);

/// The description as a schema, and the other way round; faults are those of the schema.
std::string schemaOf(const CSettingsPrivate& settings);
void parseSchema(const std::string& text, const std::string& path, CSettingsPrivate& settings);

} // namespace Kiv

#endif
