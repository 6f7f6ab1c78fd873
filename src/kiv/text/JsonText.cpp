#include "kiv/text/JsonText.h"

#include <cstdio>

namespace Kiv
{

namespace
{

/// Length of the UTF-8 sequence at `at`, 0 if there is none (RFC 3629, section 4).
std::size_t utf8Length(const std::string& text, std::size_t at)
{
    const auto byte = [&](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const unsigned lead = byte(at);
    const unsigned second = byte(at + 1);
    const auto follows = [&](std::size_t index) { return (byte(index) & 0xc0) == 0x80; };
    if (lead < 0x80)
        return 1;
    if (0xc2 <= lead && lead <= 0xdf)
        return follows(at + 1) ? 2 : 0;
    if (0xe0 <= lead && lead <= 0xef)
    {
        const bool isValid = !(lead == 0xe0 && second < 0xa0) && !(lead == 0xed && second > 0x9f);
        return isValid && follows(at + 1) && follows(at + 2) ? 3 : 0;
    }
    if (0xf0 <= lead && lead <= 0xf4)
    {
        const bool isValid = !(lead == 0xf0 && second < 0x90) && !(lead == 0xf4 && second > 0x8f);
        return isValid && follows(at + 1) && follows(at + 2) && follows(at + 3) ? 4 : 0;
    }
    return 0;
}

} // namespace

std::string jsonString(const std::string& text)
{
    std::string result = "\"";
    for (std::size_t at = 0; at < text.size();)
    {
        const std::size_t length = utf8Length(text, at);
        const auto code = static_cast<unsigned char>(text[at]);
        if (length == 0)
            result += "\\ufffd";
        else if (code < 0x20)
        {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", code);
            result += escaped;
        }
        else
            result.append(code == '"' || code == '\\' ? "\\" : "").append(text, at, length);
        at += length == 0 ? 1 : length;
    }
    return result + "\"";
}

std::string jsonArray(const std::vector<std::string>& items)
{
    std::string text = "[";
    for (const std::string& item : items)
        text.append(text.size() > 1 ? "," : "").append(item);
    return text + ']';
}

CJsonObject& CJsonObject::add(const char* name, const std::string& value)
{
    members.append(members.empty() ? "" : ",").append(jsonString(name)).append(":").append(value);
    return *this;
}

} // namespace Kiv
