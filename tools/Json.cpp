#include "Json.h"

#include <cstdio>

namespace Tool
{

namespace
{

/// The bytes of the UTF-8 character at the beginning of `text` (Unicode, table 3-7), 0 if there is none.
std::size_t characterSize(std::string_view text)
{
    const auto byte = [text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    const unsigned first = byte(0);
    if (first < 0x80)
        return 1;
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4)
        return 0;
    const unsigned least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < least || byte(1) > most)
        return 0;
    for (std::size_t i = 2; i < size; ++i)
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    return size;
}

void appendCharacter(std::string& output, std::string_view character)
{
    const char first = character[0];
    if (first == '"' || first == '\\')
        output += '\\';
    if (static_cast<unsigned char>(first) >= ' ')
    {
        output += character;
        return;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(first));
    output += escaped;
}

std::string joined(const std::vector<std::string>& items, const char* separator)
{
    std::string text;
    for (const std::string& item : items)
        text += (text.empty() ? "" : separator) + item;
    return text;
}

} // namespace

std::string jsonString(std::string_view text)
{
    std::string output = "\"";
    while (!text.empty())
    {
        const std::size_t size = characterSize(text);
        appendCharacter(output, size != 0 ? text.substr(0, size) : "\xEF\xBF\xBD");
        text.remove_prefix(size != 0 ? size : 1);
    }
    return output + '"';
}

std::string jsonArray(const std::vector<std::string>& items) { return '[' + joined(items, ",") + ']'; }

std::string jsonLines(const std::vector<std::string>& items)
{
    return items.empty() ? "[]" : "[\n" + joined(items, ",\n") + "\n]";
}

CJsonObject& CJsonObject::add(std::string_view name, const std::string& value)
{
    members += (members.empty() ? "" : ",") + jsonString(name) + ':' + value;
    return *this;
}

} // namespace Tool
