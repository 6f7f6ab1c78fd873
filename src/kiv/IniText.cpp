#include <kiv/IniText.h>

#include <algorithm>
#include <string_view>

#include <kiv/IniFile.h>

#include "kiv/files/IniLinePlaces.h"

namespace Kiv
{

namespace
{

std::string_view trimmedRight(std::string_view text)
{
    const std::size_t last = text.find_last_not_of(WhiteSpace);
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

std::size_t skipBlanks(std::string_view text, std::size_t from)
{
    while (from < text.size() && WhiteSpace.find(text[from]) != std::string::npos)
        ++from;
    return from;
}

/// An empty value stands behind the blanks that follow the '=', before the line break.
std::size_t placeOfEmptyValue(const std::string& text, std::size_t equals)
{
    const std::size_t place = text.find_first_not_of(" \t", equals + 1);
    return place == std::string::npos ? text.size() : place;
}

void parseSection(IniLine& line, std::string_view content)
{
    const std::size_t bracket = content.rfind(']');
    line.kind = bracket == std::string_view::npos ? IniLineBroken : IniLineSection;
    line.name = content.substr(1);
    if (line.kind == IniLineSection)
        line.name.erase(bracket - 1, 1);
}

void parseKey(IniLine& line, std::string_view content, std::size_t indentation, bool hasSection)
{
    const std::size_t equals = content.find('=');
    if (equals == std::string_view::npos)
        return;
    line.kind = hasSection ? IniLineKey : IniLineHomeless;
    line.name = trimmedRight(content.substr(0, equals));
    const std::size_t begin = skipBlanks(content, equals + 1);
    line.value = content.substr(begin);
    line.valueBegin = line.value.empty() ? placeOfEmptyValue(line.text, indentation + equals) : indentation + begin;
}

/// As CIniFile::load() takes a line.
IniLine parsed(std::string text, bool hasSection)
{
    IniLine line{IniLineOther, std::move(text), "", "", 0};
    const std::size_t indentation = skipBlanks(line.text, 0);
    const std::string_view content =
        trimmedRight(line.text).substr(std::min(indentation, trimmedRight(line.text).size()));
    if (content.empty())
        line.kind = IniLineBlank;
    else if (content[0] == ';' || content[0] == '#')
        line.kind = IniLineComment;
    else if (content[0] == '[')
        parseSection(line, content);
    else
        parseKey(line, content, indentation, hasSection);
    return line;
}

} // namespace

std::vector<IniLine> iniLines(const std::string& text)
{
    std::vector<IniLine> lines;
    bool hasSection = false;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t feed = text.find('\n', begin);
        const std::size_t end = feed == std::string::npos ? text.size() : feed + 1;
        lines.push_back(parsed(text.substr(begin, end - begin), hasSection));
        hasSection = hasSection || lines.back().kind == IniLineSection;
        begin = end;
    }
    return lines;
}

std::size_t findIniSection(const std::vector<IniLine>& lines, const std::string& section)
{
    std::size_t i = 0;
    while (i < lines.size() && !(lines[i].kind == IniLineSection && lines[i].name == section))
        ++i;
    return i;
}

std::size_t endOfIniSection(const std::vector<IniLine>& lines, std::size_t begin)
{
    while (begin < lines.size() && lines[begin].kind != IniLineSection)
        ++begin;
    return begin;
}

std::size_t findIniKey(const std::vector<IniLine>& lines, const std::string& section, const std::string& key)
{
    const std::size_t header = findIniSection(lines, section);
    if (header == lines.size())
        return header;
    const std::size_t end = endOfIniSection(lines, header + 1);
    for (std::size_t i = header + 1; i < end; ++i)
        if (lines[i].kind == IniLineKey && lines[i].name == key)
            return i;
    return lines.size();
}

} // namespace Kiv
