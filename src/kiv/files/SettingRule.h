/// What may stand in a file for a setting; private to the settings.
#ifndef KIV_SETTINGRULE_H
#define KIV_SETTINGRULE_H

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kiv/Settings.h>

namespace Kiv
{

/// One setting as a schema can tell it.
struct SettingRule
{
    eSettingKind kind = SettingText;
    std::string section;
    std::string key; ///< empty for a free section
    std::string about;
    std::string unit;
    bool isRequired = false;
    bool hasRange = false; ///< of integers and reals, in the file's unit
    double leastReal = 0;
    double mostReal = 0;
    double scale = 1;                                              ///< from the file's real number to the variable's
    bool isRounded = false;                                        ///< the variable of a real number holds integers
    std::int64_t least = std::numeric_limits<std::int64_t>::min(); ///< what the variable holds; the range of durations
    std::int64_t most = std::numeric_limits<std::int64_t>::max();
    std::int64_t tick = 1; ///< of durations, in nanoseconds: a value is a whole number of them
    std::vector<std::pair<std::string, std::int64_t>> choices;
    SettingValue standard; ///< the default
};

/// What a text means. The reason why it means nothing, or is not allowed; empty when `value` has it.
std::string parseSetting(const SettingRule& rule, std::string_view text, SettingValue& value);

/// The other way round: parseSetting() of it gives the value again.
std::string settingText(const SettingRule& rule, const SettingValue& value);

/// What is allowed, in a few words: "a number from 0 to 45 degC".
std::string allowedText(const SettingRule& rule);

/// The range alone, "0 to 45"; empty if there is none.
std::string rangeText(const SettingRule& rule);

/// A number as short as it can be written without loss.
std::string realText(double number);

/// The kind's name in a schema.
const char* kindText(eSettingKind kind);

} // namespace Kiv

#endif
