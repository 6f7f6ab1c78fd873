#include <string_view>
#include <vector>

#include <kiv/IniFile.h>

#include "kiv/files/IniLinePlaces.h"

namespace Kiv
{

namespace
{

using Lines = std::vector<IniLine>;

struct IniSetting
{
    const std::string& section;
    const std::string& key;
    const std::string& value;
};

bool hasOuterBlanks(const std::string& text)
{
    const auto isBlank = [](char c) { return WhiteSpace.find(c) != std::string::npos; };
    return !text.empty() && (isBlank(text.front()) || isBlank(text.back()));
}

bool endsWithBreak(const std::string& text) { return !text.empty() && text.back() == '\n'; }

std::string lineBreakOf(const Lines& lines)
{
    const bool isWindows =
        !lines.empty() && lines[0].text.size() >= 2 && lines[0].text.compare(lines[0].text.size() - 2, 2, "\r\n") == 0;
    return isWindows ? "\r\n" : "\n";
}

/// What stands between name and value: "=" or, say, " = ", as in the key line before.
std::string separatorAfter(const IniLine& line)
{
    if (line.kind != IniLineKey || line.value.empty())
        return "=";
    const std::size_t name = line.text.find_first_not_of(WhiteSpace);
    return line.text.substr(name + line.name.size(), line.valueBegin - name - line.name.size());
}

/// The last section or key line of a range; its first line when there is none.
std::size_t lastOf(const Lines& lines, std::size_t begin, std::size_t end)
{
    std::size_t last = begin;
    for (std::size_t i = begin; i < end; ++i)
        if (lines[i].kind == IniLineKey || lines[i].kind == IniLineSection)
            last = i;
    return last;
}

std::string joined(const Lines& lines, std::size_t begin, std::size_t end)
{
    std::string text;
    for (std::size_t i = begin; i < end; ++i)
        text += lines[i].text;
    return text;
}

/// The text with `added` behind line `after`.
std::string inserted(const Lines& lines, std::size_t after, const std::string& added)
{
    std::string text = joined(lines, 0, after + 1);
    if (!endsWithBreak(text))
        text += lineBreakOf(lines);
    return text + added + joined(lines, after + 1, lines.size());
}

std::string withNewSection(const Lines& lines, const IniSetting& setting)
{
    const std::string lineBreak = lineBreakOf(lines);
    const std::string section = '[' + setting.section + ']' + lineBreak + setting.key + '=' + setting.value + lineBreak;
    const std::size_t last = lastOf(lines, 0, lines.size());
    const bool hasSections = !lines.empty() && (lines[last].kind == IniLineSection || lines[last].kind == IniLineKey);
    if (hasSections) // comments behind the last key stay the file's
        return inserted(lines, last, lineBreak + section);
    return lines.empty() ? section : inserted(lines, lines.size() - 1, lineBreak + section);
}

bool hasLineBreak(const std::string& text) { return text.find_first_of("\r\n") != std::string::npos; }

} // namespace

std::string iniSettingFault(const std::string& section, const std::string& key, const std::string& value)
{
    if (hasLineBreak(section))
        return "the section's name cannot hold a line break";
    if (hasLineBreak(key))
        return "the key cannot hold a line break";
    if (hasLineBreak(value))
        return "the value cannot hold a line break";
    if (key.empty() || key.find('=') != std::string::npos ||
        std::string_view("[;#").find(key[0]) != std::string_view::npos || hasOuterBlanks(key))
        return "no key can be named \"" + key +
               "\": it is empty, holds a =, begins with [ ; or #, or has blanks around it";
    return hasOuterBlanks(value) ? "a value cannot begin or end with a blank: reading drops it" : "";
}

std::string iniTextWith(const std::string& text, const std::string& section, const std::string& key,
                        const std::string& value)
{
    Lines lines = iniLines(text);
    const std::size_t header = findIniSection(lines, section);
    if (header == lines.size())
        return withNewSection(lines, {section, key, value});
    const std::size_t place = findIniKey(lines, section, key);
    if (place == lines.size())
    {
        const std::size_t last = lastOf(lines, header, endOfIniSection(lines, header + 1));
        return inserted(lines, last, key + separatorAfter(lines[last]) + value + lineBreakOf(lines));
    }
    lines[place].text.replace(lines[place].valueBegin, lines[place].value.size(), value);
    return joined(lines, 0, lines.size());
}

} // namespace Kiv
