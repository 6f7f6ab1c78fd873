#include "kiv/files/IniParser.h"

#include <cstring>
#include <string_view>

namespace Kiv
{

namespace
{

/// Of `WhiteSpace`, which is slower to search.
bool isBlank(char character) { return character == ' ' || character == '\t' || character == '\n' || character == '\r'; }

std::size_t sizeOf(TextRange range) { return static_cast<std::size_t>(range.end - range.begin); }

/// Moves a piece of text to a place before it; returns where it ends there.
char* moved(char* to, TextRange piece)
{
    const std::size_t size = sizeOf(piece);
    if (to != piece.begin)
        std::memmove(to, piece.begin, size);
    return to + size;
}

char* lastOf(TextRange range, char character)
{
    return static_cast<char*>(memrchr(range.begin, character, sizeOf(range)));
}

} // namespace

void CIniParser::parse(TextRange line)
{
    while (line.begin < line.end && isBlank(*line.begin))
        ++line.begin;
    if (line.begin == line.end)
        return;
    if (*line.begin == ';' || *line.begin == '#')
        return addComment(line);
    while (isBlank(line.end[-1]))
        --line.end;
    if (*line.begin == '[')
        parseSection(line);
    else
        parseKey(line);
}

void CIniParser::finish()
{
    closeSection();
    pendingComment = std::string_view(comment.begin, sizeOf(comment));
}

void CIniParser::addComment(TextRange line)
{
    if (comment.begin == comment.end)
        comment = line;
    else
        comment.end = moved(comment.end, line);
}

void CIniParser::parseSection(TextRange line)
{
    char* const bracket = lastOf(line, ']');
    if (!bracket)
    {
        finish();
        std::string(line.begin + 1, line.end).erase(std::string::npos, 1); // throws
        return;
    }
    closeSection();
    moved(bracket, {bracket + 1, line.end}); // text behind the bracket belongs to the name
    line.end[-1] = ']';
    if (sizeOf(comment) == 0)
        comment = {line.begin, line.begin};
    *moved(comment.end, line) = '\n';
    sections.append(CIniSectionEntry(comment.begin, sizeOf(comment), sizeOf(line) - 2));
    comment = {nullptr, nullptr};
}

void CIniParser::parseKey(TextRange line)
{
    auto* const equals = static_cast<char*>(std::memchr(line.begin, '=', sizeOf(line)));
    if (!equals || sections.size() == 0)
        return;
    TextRange name = {line.begin, equals};
    while (name.end > name.begin && isBlank(name.end[-1]))
        --name.end;
    TextRange value = {equals + 1, line.end};
    while (value.begin < value.end && isBlank(*value.begin))
        ++value.begin;

    if (sizeOf(comment) == 0)
        comment = {line.begin, line.begin};
    char* end = moved(comment.end, name);
    *end++ = '=';
    *moved(end, value) = '\n';
    keys.emplace_back(comment.begin, sizeOf(comment), sizeOf(name), sizeOf(value));
    comment = {nullptr, nullptr};
}

void CIniParser::closeSection()
{
    if (!keys.empty())
        sections.at(sections.size() - 1).append(keys);
}

} // namespace Kiv
