#include "IniValueCheck.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>

namespace Tool
{

namespace
{

using Fields = std::vector<std::string_view>;

bool isAllOf(std::string_view text, std::string_view characters)
{
    return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

bool isDigits(std::string_view text) { return isAllOf(text, "0123456789"); }

bool isHexDigits(std::string_view text) { return isAllOf(text, "0123456789abcdefABCDEF"); }

/// The runs of digits between separators; none when there is anything else.
Fields digitFields(std::string_view text, std::string_view separators)
{
    Fields fields;
    for (bool isLast = false; !isLast;)
    {
        const std::size_t end = text.find_first_of(separators);
        isLast = end == std::string_view::npos;
        fields.push_back(text.substr(0, end));
        if (!isDigits(fields.back()))
            return {};
        text.remove_prefix(isLast ? text.size() : end + 1);
    }
    return fields;
}

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Each of these returns its reason, or null.

const char* checkInteger(std::string_view value)
{
    const bool hasSign = !value.empty() && (value[0] == '+' || value[0] == '-');
    const std::string_view prefix = value.substr(hasSign ? 1 : 0, 2);
    if (hasSign && (prefix == "0x" || prefix == "0X") && isHexDigits(value.substr(3)))
        return "read as an integer it is 0: after a sign numbers are decimal";
    if (prefix == "0X" && isHexDigits(value.substr(2)))
        return "read as an integer it is 0: hexadecimal numbers begin with a lower-case 0x";
    if (!isDigits(value) || value[0] != '0' || value.size() == 1)
        return nullptr;
    if (value.find_first_of("89") != std::string_view::npos)
        return "read as an integer it is octal, because of the 0 in front, up to the 8 or 9";
    const std::size_t significant = value.find_first_not_of('0');
    if (significant == std::string_view::npos || significant + 1 == value.size())
        return nullptr; // 07 is 7 in either way
    return "read as an integer it is octal, because of the 0 in front";
}

/// Numbers with something behind them, or with more digits than a number can have.
const char* checkDigits(std::string_view value)
{
    if (!value.empty() && (value[0] == '+' || value[0] == '-'))
        value.remove_prefix(1);
    const bool isHex = value.substr(0, 2) == "0x";
    const std::string_view digits = value.substr(isHex ? 2 : 0);
    const std::size_t end =
        std::min(digits.find_first_not_of(isHex ? "0123456789abcdefABCDEF" : "0123456789."), digits.size());
    long long number = 0;
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + end, number, isHex ? 16 : 10);
    if (error == std::errc::result_out_of_range && end == digits.size() && (!isHex || digits.size() > 16))
        return "read as an integer it is the largest or smallest there is, or -1: it has too many digits";
    if (stop == digits.data() || end == digits.size())
        return nullptr;
    const std::string_view rest = digits.substr(end);
    constexpr std::size_t longestUnit = 5; // more than this is a text that begins with a number
    if (isHex)
        return "read as an integer it ends before the first character that is no hexadecimal digit";
    const std::string_view word = rest.substr(rest[0] == ' ' ? 1 : 0);
    if (word.empty() || word.size() > longestUnit ||
        !isAllOf(lowerCase(std::string(word)), "abcdefghijklmnopqrstuvwxyz%"))
        return nullptr;
    return "read as a number it ends before the letters: typed reads know no units";
}

const char* checkFloat(std::string_view value)
{
    if (!value.empty() && (value[0] == '+' || value[0] == '-'))
        value.remove_prefix(1);
    if (digitFields(value, ",").size() == 2)
        return "read as a number it ends at the comma: the decimal sign is a point";
    return nullptr;
}

const char* checkBool(std::string_view value)
{
    for (const char* word : {"true", "false", "yes", "no", "on", "off"})
        if (lowerCase(std::string(value)) == word)
            return "read as a truth value it is the default: write 1 or 0";
    return nullptr;
}

const char* checkDate(std::string_view value)
{
    const Fields fields = digitFields(value, "-./");
    if (fields.size() != 3 || fields[1].size() > 2 || (fields[0].size() != 4) == (fields[2].size() != 4))
        return nullptr;
    if (fields[0].size() == 4 || value.find('-') == std::string_view::npos)
        return "read as a date it is the default: dates are month-day-year, 03-15-2024";
    if (fields[0].size() == 2 && fields[0] > "12")
        return "read as a date the month is above 12: dates are month-day-year, 03-15-2024";
    return nullptr;
}

const char* checkTime(std::string_view value)
{
    const std::size_t end = std::min(value.find_first_not_of("0123456789:"), value.size());
    const Fields fields = digitFields(value.substr(0, end), ":");
    std::string half(value.substr(end));
    half.erase(0, half.find_first_not_of(' '));
    const bool isClock = (fields.size() == 2 || fields.size() == 3) && fields[0].size() <= 2 && fields[1].size() == 2;
    if (!isClock || (!half.empty() && lowerCase(half) != "am" && lowerCase(half) != "pm"))
        return nullptr;
    const bool isRead = fields.size() == 2 && end < value.size() && (value[end] == 'A' || value[end] == 'P');
    if (!isRead)
        return "read as a time it is the default: times are 07:30AM and 07:30PM";
    if (fields[0] == "12")
        return "read as a time the hour is 12 for AM and 24 for PM: midnight is 00:00AM, noon 00:00PM";
    return nullptr;
}

/// Quotation marks, or a ';' or '#' at the beginning of a word, as people end a line with a comment.
const char* checkText(std::string_view value)
{
    if (value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\''))
        return "the quotation marks belong to the value";
    for (std::size_t i = value.find_first_of(";#"); i != std::string_view::npos; i = value.find_first_of(";#", i + 1))
        if (i == 0 || value[i - 1] == ' ' || value[i - 1] == '\t')
            return "a comment needs a line of its own: this one belongs to the value";
    return nullptr;
}

} // namespace

std::vector<std::string> checkIniValue(const std::string& value)
{
    std::vector<std::string> reasons;
    for (const auto check : {checkInteger, checkDigits, checkFloat, checkBool, checkDate, checkTime, checkText})
        if (const char* reason = check(value))
            reasons.emplace_back(reason);
    return reasons;
}

} // namespace Tool
