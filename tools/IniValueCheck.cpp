#include "IniValueCheck.h"

#include <regex>

namespace Tool
{

namespace
{

struct Trap
{
    std::regex pattern; ///< of the whole value
    const char* reason;
};

/// Longer values are texts, not numbers; and the expressions need not see them.
constexpr std::size_t longestNumber = 64;

const std::vector<Trap>& traps()
{
    constexpr auto anyCase = std::regex::ECMAScript | std::regex::icase;
    static const std::vector<Trap> list = {
        {std::regex("0+[1-7][0-7]+"), "read as an integer it is octal, because of the 0 in front"},
        {std::regex("0[0-9]*[89][0-9]*"),
         "read as an integer it is octal, because of the 0 in front, up to the 8 or 9"},
        {std::regex("0X[0-9A-Fa-f]+"), "read as an integer it is 0: hexadecimal numbers begin with a lower-case 0x"},
        {std::regex("[+-]0x[0-9a-f]+", anyCase), "read as an integer it is 0: after a sign numbers are decimal"},
        {std::regex("true|false|yes|no|on|off", anyCase), "read as a truth value it is the default: write 1 or 0"},
        {std::regex("[+-]?[0-9]+,[0-9]+"), "read as a number it ends at the comma: the decimal sign is a point"},
        {std::regex("[0-9]{4}-[0-9]{1,2}-[0-9]{1,2}|[0-9]{1,2}[./][0-9]{1,2}[./][0-9]{4}"),
         "read as a date it is the default: dates are month-day-year, 03-15-2024"},
        {std::regex("(1[3-9]|[2-9][0-9])-[0-9]{1,2}-[0-9]{4}"),
         "read as a date the month is above 12: dates are month-day-year, 03-15-2024"},
        {std::regex("[0-9]{1,2}:[0-9]{2}(:[0-9]{2})?( +[AaPp][Mm]|[ap][Mm])?"),
         "read as a time it is the default: times are 07:30AM and 07:30PM"},
        {std::regex("12:[0-9]{2}[AP]M"),
         "read as a time the hour is 12 for AM and 24 for PM: midnight is 00:00AM, noon 00:00PM"},
    };
    return list;
}

bool isQuoted(const std::string& value)
{
    return value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
}

/// A ';' or '#' at the beginning of a word, as people end a line with a comment.
bool looksCommented(const std::string& value)
{
    for (std::size_t i = value.find_first_of(";#"); i != std::string::npos; i = value.find_first_of(";#", i + 1))
        if (i == 0 || value[i - 1] == ' ' || value[i - 1] == '\t')
            return true;
    return false;
}

} // namespace

std::vector<std::string> checkIniValue(const std::string& value)
{
    std::vector<std::string> reasons;
    if (value.size() <= longestNumber)
        for (const Trap& trap : traps())
            if (std::regex_match(value, trap.pattern))
                reasons.emplace_back(trap.reason);
    if (isQuoted(value))
        reasons.emplace_back("the quotation marks belong to the value");
    else if (looksCommented(value))
        reasons.emplace_back("a comment needs a line of its own: this one belongs to the value");
    return reasons;
}

} // namespace Tool
