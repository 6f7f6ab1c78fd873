#include "kiv/files/SettingsReader.h"

#include <algorithm>

#include "kiv/files/NearestName.h"

namespace Kiv
{

namespace
{

std::string didYouMean(const std::string& name) { return name.empty() ? "" : "; did you mean " + name + '?'; }

std::string alreadyInLine(std::size_t line) { return "stands in line " + std::to_string(line) + " already"; }

/// The line as a person sees it.
std::string trimmed(std::string text)
{
    const std::size_t end = text.find_last_not_of(" \t\r\n");
    text.erase(end == std::string::npos ? 0 : end + 1);
    return text.erase(0, text.find_first_not_of(" \t"));
}

} // namespace

CSettingsReader::CSettingsReader(const std::vector<const SettingRule*>& settingRules,
                                 const std::vector<std::string>& sectionNames, const std::string& path)
    : rules(settingRules), sections(sectionNames), file(path), results(settingRules.size())
{
    for (std::size_t i = 0; i < rules.size(); ++i)
    {
        ruleOf.emplace(Name(rules[i]->section, rules[i]->key), i);
        results[i].value = rules[i]->standard;
    }
}

void CSettingsReader::add(std::size_t line, const std::string& key, const std::string& value, const std::string& reason)
{
    found.push_back({file, line, section, key, value, reason});
}

void CSettingsReader::fail(const std::string& failing, const std::string& key, const std::string& reason)
{
    auto place = places.find({failing, key});
    const bool isThere = place != places.end();
    if (!isThere)
        place = places.find({failing, ""});
    const std::size_t line = place != places.end() ? place->second.line : std::max<std::size_t>(number, 1);
    found.push_back({file, line, failing, key, isThere ? place->second.value : "", reason});
}

void CSettingsReader::read(const std::string& text)
{
    for (const IniLine& line : iniLines(text))
    {
        ++number;
        readLine(line);
        isBroken = isBroken || line.kind == IniLineBroken;
    }
    if (!isBroken)
        requireAll();
    sort();
}

void CSettingsReader::sort()
{
    std::stable_sort(found.begin(), found.end(),
                     [](const SettingsFault& a, const SettingsFault& b) { return a.line < b.line; });
}

void CSettingsReader::readLine(const IniLine& line)
{
    const bool isMarked = number == 1 && line.text.compare(0, 3, "\xEF\xBB\xBF") == 0;
    if (isMarked)
        add(number, "", "", "the file begins with a byte order mark: save it as UTF-8 without one");
    switch (line.kind)
    {
    case IniLineBlank:
    case IniLineComment:
        break;
    case IniLineBroken:
        add(number, "", trimmed(line.text), "is a section without ]");
        isKnown = false;
        break;
    case IniLineSection:
        readSection(line);
        break;
    case IniLineKey:
        readKey(line);
        break;
    case IniLineHomeless:
        if (!isBroken)
            add(number, line.name, line.value, "stands before the first section");
        break;
    case IniLineOther:
        if (!isMarked)
            add(number, "", trimmed(line.text), "is neither a comment, nor a [section], nor a key = value");
        break;
    }
}

void CSettingsReader::readSection(const IniLine& line)
{
    section = line.name;
    const auto [place, isNew] = places.emplace(Name(section, ""), Place{number, ""});
    isKnown = isNew && std::find(sections.begin(), sections.end(), section) != sections.end();
    if (trimmed(line.text).back() != ']')
        add(number, "", trimmed(line.text), "has something behind the ]");
    else if (!isNew)
        add(number, "", "", "the section " + alreadyInLine(place->second.line));
    else if (!isKnown)
        add(number, "", "", "there is no such section" + didYouMean(nearestName(section, sections)));
}

/// Keys of a section that nobody knows, or that stands here again, are not looked at: the section is the fault.
void CSettingsReader::readKey(const IniLine& line)
{
    if (!isKnown)
        return;
    const auto [place, isNew] = places.emplace(Name(section, line.name), Place{number, line.value});
    const auto rule = ruleOf.find({section, line.name});
    const auto freeRule = ruleOf.find({section, ""});
    if (line.name.empty())
        add(number, "", trimmed(line.text), "has no key before the =");
    else if (!isNew)
        add(number, line.name, line.value, alreadyInLine(place->second.line));
    else if (rule != ruleOf.end())
        readValue(rule->second, line);
    else if (freeRule != ruleOf.end())
        results[freeRule->second].entries.push_back({line.name, line.value});
    else
        add(number, line.name, line.value, "there is no such key" + didYouMean(nearestKey(line.name)));
}

void CSettingsReader::readValue(std::size_t rule, const IniLine& line)
{
    const std::string reason = parseSetting(*rules[rule], line.value, results[rule].value);
    if (!reason.empty())
        add(number, line.name, line.value, reason + "; allowed: " + allowedText(*rules[rule]));
}

void CSettingsReader::requireAll()
{
    for (const SettingRule* rule : rules)
        if (rule->isRequired && places.count({rule->section, rule->key}) == 0)
            fail(rule->section, rule->key, "is missing; allowed: " + allowedText(*rule));
}

std::string CSettingsReader::nearestKey(const std::string& name) const
{
    std::vector<std::string> keys;
    for (const SettingRule* rule : rules)
        if (rule->section == section)
            keys.push_back(rule->key);
    std::string nearest = nearestName(name, keys);
    if (!nearest.empty())
        return nearest;
    for (const SettingRule* rule : rules)
        if (rule->key == name)
            return name + " of [" + rule->section + ']';
    return "";
}

} // namespace Kiv
