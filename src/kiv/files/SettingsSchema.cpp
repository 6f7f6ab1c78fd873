// A description of settings as a file, there and back: an INI file that has a section for each setting.

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "kiv/files/SettingItems.h"

namespace Kiv
{

namespace
{

constexpr const char* formatVersion = "1";

std::string line(const char* key, const std::string& value) { return key + ('=' + value) + '\n'; }

std::string lineUnless(bool isStandard, const char* key, const std::string& value)
{
    return isStandard ? "" : line(key, value);
}

std::string rangeLines(const SettingRule& rule)
{
    std::string text;
    if (rule.hasRange)
        text += line("from", realText(rule.leastReal)) + line("to", realText(rule.mostReal));
    text += lineUnless(rule.least == SettingRule().least, "least", std::to_string(rule.least));
    text += lineUnless(rule.most == SettingRule().most, "most", std::to_string(rule.most));
    return text;
}

std::string settingBlock(const SettingRule& rule)
{
    std::string text = "\n[setting]\n" + line("section", rule.section) + line("key", rule.key);
    text += line("kind", kindText(rule.kind)) + lineUnless(rule.about.empty(), "about", rule.about);
    text += lineUnless(rule.unit.empty(), "unit", rule.unit) + lineUnless(!rule.isRequired, "required", "1");
    text += rangeLines(rule) + lineUnless(rule.scale == 1, "scale", realText(rule.scale));
    text += lineUnless(!rule.isRounded, "rounded", "1");
    text += lineUnless(rule.tick == 1, "tick", std::to_string(rule.tick));
    for (const auto& [name, number] : rule.choices)
        text += line("choice", name);
    return text + lineUnless(rule.kind == SettingFree, "default", settingText(rule, rule.standard));
}

std::optional<eSettingKind> kindOf(const std::string& text)
{
    for (int i = SettingInteger; i <= SettingFree; ++i)
        if (text == kindText(static_cast<eSettingKind>(i)))
            return static_cast<eSettingKind>(i);
    return std::nullopt;
}

template<class Number>
bool scanNumber(const std::string& text, Number& number)
{
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return stop == end && error == std::errc() && !text.empty();
}

bool scanReal(const std::string& text, double& number) { return scanNumber(text, number) && std::isfinite(number); }

/// Reads a schema block by block: each begins with its section line.
class CSchemaParser
{
public:
    CSchemaParser(const std::string& schemaPath, CSettingsPrivate& described) : path(schemaPath), settings(described) {}

    void parse(const std::string& text)
    {
        for (const IniLine& one : iniLines(text))
        {
            ++number;
            take(one);
        }
        endBlock();
        if (!hasVersion)
            fail("", "is no schema: a schema begins with [schema] and version=1");
    }

private:
    void fail(const std::string& found, const std::string& reason)
    {
        settings.faults.push_back({path, std::max<std::size_t>(number, 1), block, "", found, reason});
    }

    void take(const IniLine& one);
    void takeKey(const std::string& key, const std::string& value);
    bool takeText(const std::string& key, const std::string& value);
    bool takeNumber(const std::string& key, const std::string& value);
    void endBlock();
    void endSetting();

    const std::string path;
    CSettingsPrivate& settings;
    std::size_t number = 0;
    bool hasVersion = false;
    std::string block;
    std::string name; ///< of a section
    bool hasKind = false;
    std::string standard;
    SettingRule rule;
};

void CSchemaParser::take(const IniLine& one)
{
    if (one.kind == IniLineBlank || one.kind == IniLineComment)
        return;
    if (one.kind == IniLineKey)
        return takeKey(one.name, asOneLine(one.value));
    if (one.kind != IniLineSection)
        return fail("", "the line means nothing in a schema");
    endBlock();
    block = one.name;
    if (block != "schema" && block != "section" && block != "setting")
        fail("", "there is no such part of a schema");
}

void CSchemaParser::takeKey(const std::string& key, const std::string& value)
{
    if (block == "schema" && key == "version")
    {
        hasVersion = true;
        if (value != formatVersion)
            fail(value, "this version of the schema is not known");
        return;
    }
    if (block == "schema" && key == "about")
        settings.about = value;
    else if (block == "section" && key == "name")
        name = value;
    else if (block == "section" && key == "about")
        rule.about = value;
    else if (block != "setting" || (!takeText(key, value) && !takeNumber(key, value)))
        fail(key + '=' + value, "means nothing here in a schema");
}

bool CSchemaParser::takeText(const std::string& key, const std::string& value)
{
    if (key == "kind")
    {
        const std::optional<eSettingKind> kind = kindOf(value);
        hasKind = kind.has_value();
        rule.kind = kind.value_or(SettingText);
        return hasKind;
    }
    if (key == "choice")
        rule.choices.emplace_back(value, static_cast<std::int64_t>(rule.choices.size()));
    else if (key == "section")
        rule.section = value;
    else if (key == "key")
        rule.key = value;
    else if (key == "about")
        rule.about = value;
    else if (key == "unit")
        rule.unit = value;
    else if (key == "default")
        standard = value;
    else
        return false;
    return true;
}

bool CSchemaParser::takeNumber(const std::string& key, const std::string& value)
{
    rule.isRequired = rule.isRequired || (key == "required" && value == "1");
    rule.isRounded = rule.isRounded || (key == "rounded" && value == "1");
    rule.hasRange = rule.hasRange || key == "from" || key == "to";
    if (key == "required" || key == "rounded")
        return value == "1";
    if (key == "from")
        return scanReal(value, rule.leastReal);
    if (key == "to")
        return scanReal(value, rule.mostReal);
    if (key == "least")
        return scanNumber(value, rule.least);
    if (key == "most")
        return scanNumber(value, rule.most);
    if (key == "scale")
        return scanReal(value, rule.scale);
    std::int64_t tick = 0;
    if (key != "tick" || !scanNumber(value, tick) || tick <= 0)
        return false;
    rule.tick = tick;
    return true;
}

void CSchemaParser::endBlock()
{
    if (block == "section")
        settings.addSection(name, rule.about);
    if (block == "setting")
        endSetting();
    block.clear();
    name.clear();
    standard.clear();
    hasKind = false;
    rule = SettingRule();
}

void CSchemaParser::endSetting()
{
    if (!hasKind || rule.section.empty() || (rule.key.empty() != (rule.kind == SettingFree)))
        return fail("", "a setting has a section, a key and a kind; one of the kind free has no key");
    if (!rule.isRequired && rule.kind != SettingFree && rule.kind != SettingText)
        if (const std::string reason = parseSetting(rule, standard, rule.standard); !reason.empty())
            return fail("default=" + standard, reason + "; allowed: " + allowedText(rule));
    if (rule.kind == SettingText)
        rule.standard.text = standard;
    settings.addSection(rule.section, "");
    settings.addItem(rule);
}

} // namespace

std::string schemaOf(const CSettingsPrivate& settings)
{
    std::string text = "; What may stand in an INI file, for `kiv ini check --schema`.\n[schema]\n";
    text += line("version", formatVersion) + lineUnless(settings.about.empty(), "about", settings.about);
    for (const SettingsSection& section : settings.sections)
        text +=
            "\n[section]\n" + line("name", section.name) + lineUnless(section.about.empty(), "about", section.about);
    for (const auto& item : settings.items)
        text += settingBlock(item->rule);
    return text;
}

void parseSchema(const std::string& text, const std::string& path, CSettingsPrivate& settings)
{
    CSchemaParser(path, settings).parse(text);
}

} // namespace Kiv
