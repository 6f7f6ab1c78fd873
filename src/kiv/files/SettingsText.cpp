// How a description of settings prints itself for people.

#include <algorithm>

#include "kiv/files/SettingItems.h"

namespace Kiv
{

namespace
{

std::string commentLine(const std::string& text) { return text.empty() ? "" : "; " + text + '\n'; }

std::string standardText(const SettingRule& rule) { return rule.isRequired ? "" : settingText(rule, rule.standard); }

/// A '|' would end a cell.
std::string cell(const std::string& text)
{
    std::string escaped;
    for (const char character : text)
        escaped += character == '|' ? "\\|" : std::string(1, character);
    return "| " + escaped + ' ';
}

std::string code(const std::string& text) { return text.empty() ? "" : '`' + text + '`'; }

std::string tableRow(const SettingRule& rule)
{
    return cell(code(rule.key)) + cell(allowedText(rule)) +
           cell(rule.isRequired ? "required" : code(standardText(rule))) + cell(rule.about) + "|\n";
}

} // namespace

std::string asOneLine(const std::string& text)
{
    std::string line = text;
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    const std::size_t end = line.find_last_not_of(' ');
    line.erase(end == std::string::npos ? 0 : end + 1);
    return line.erase(0, line.find_first_not_of(' '));
}

std::string CSettings::iniText() const
{
    std::string text = commentLine(d->about);
    for (const SettingsSection& section : d->sections)
    {
        text += (text.empty() ? "" : "\n") + commentLine(section.about) + '[' + section.name + "]\n";
        for (const auto& item : d->items)
        {
            const SettingRule& rule = item->rule;
            if (rule.section != section.name || rule.kind == SettingFree)
                continue;
            text += commentLine(rule.about) + commentLine((rule.isRequired ? "required: " : "") + allowedText(rule)) +
                    rule.key + '=' + standardText(rule) + '\n';
        }
    }
    return text;
}

std::string CSettings::tableText() const
{
    std::string text = d->about.empty() ? "" : d->about + '\n';
    for (const SettingsSection& section : d->sections)
    {
        text += (text.empty() ? "" : "\n") + ("### [" + section.name + "]\n\n");
        text += section.about.empty() ? "" : section.about + "\n\n";
        text += "| key | value | default | meaning |\n|---|---|---|---|\n";
        for (const auto& item : d->items)
            if (item->rule.section == section.name)
                text += item->rule.kind == SettingFree ? "| any | any | | |\n" : tableRow(item->rule);
    }
    return text;
}

} // namespace Kiv
