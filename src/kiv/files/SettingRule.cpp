#include "kiv/files/SettingRule.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>

#include "kiv/files/DurationUnits.h"

namespace Kiv
{

namespace
{

constexpr std::int64_t secondsPerHour = 3600;
constexpr double numberEnd = 9223372036854775808.0; ///< the first that is no int64 any more

bool isBlank(char character) { return character == ' ' || character == '\t'; }

bool isDigit(char character) { return character >= '0' && character <= '9'; }

std::string_view withoutEndBlanks(std::string_view text)
{
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// The number of "21.5 degC" if that is the unit, which nobody has to write.
std::string_view withoutUnit(std::string_view text, const std::string& unit)
{
    if (unit.empty() || text.size() <= unit.size() || text.substr(text.size() - unit.size()) != unit)
        return text;
    return withoutEndBlanks(text.substr(0, text.size() - unit.size()));
}

std::string lowerCase(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

/// Why a text is no number, as well as that can be guessed.
std::string notANumber(std::string_view text, const char* what)
{
    std::string is = std::string("is no ") + what;
    const std::size_t comma = text.find(',');
    const std::size_t digits = text.find_first_not_of("0123456789.", !text.empty() && text[0] == '-' ? 1 : 0);
    if (text.empty())
        return "is empty";
    if (comma != std::string_view::npos && comma > 0 && isDigit(text[comma - 1]))
        return is + ": the decimal sign is a point, and nothing stands between thousands";
    if (digits != std::string_view::npos && digits > 0 && isDigit(text[digits - 1]) && text.substr(0, 2) != "0x")
        return is + ": something stands behind the digits";
    return is;
}

/// The whole text as a number; false if it is none or has no end.
template<class Number, class... Base>
std::errc scanAll(std::string_view text, Number& number, Base... base)
{
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base...);
    return stop == end && !text.empty() ? error : std::errc::invalid_argument;
}

std::string parseInteger(std::string_view text, std::int64_t& number)
{
    const std::string_view digits = text.substr(!text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0);
    const bool isHex = digits.substr(0, 2) == "0x";
    if (digits.size() > 1 && digits[0] == '0' && !isHex && digits.find_first_not_of("0123456789") == digits.npos)
        return "begins with a 0: write decimal numbers without it, hexadecimal ones with 0x";
    const bool isSignedHex = isHex && digits.size() != text.size();
    const std::errc error = isSignedHex ? std::errc::invalid_argument
                            : isHex     ? scanAll(digits.substr(2), number, 16)
                                        : scanAll(text, number);
    if (error == std::errc::result_out_of_range)
        return "is too large for any number here";
    return error == std::errc() && !(isHex && digits[2] == '-') ? "" : notANumber(text, "whole number");
}

std::string parseReal(std::string_view text, double& number)
{
    const std::errc error = scanAll(text, number);
    if (error == std::errc::result_out_of_range)
        return "is too large or too small for any number here";
    return error == std::errc() && std::isfinite(number) ? "" : notANumber(text, "number");
}

std::string parseTruth(std::string_view text, std::int64_t& number)
{
    const std::string word = lowerCase(text);
    for (const char* yes : {"on", "yes", "true", "1"})
        if (word == yes)
            return number = 1, "";
    for (const char* no : {"off", "no", "false", "0"})
        if (word == no)
            return number = 0, "";
    return "is no truth value";
}

std::string parseChoice(const SettingRule& rule, std::string_view text, std::int64_t& number)
{
    for (const auto& [name, value] : rule.choices)
        if (name == text)
            return number = value, "";
    return "is none of the names";
}

/// The number of units as nanoseconds; false if there are too many of them. What is written as an integer stays exact.
bool toNanoseconds(std::string_view count, double number, std::int64_t unit, std::int64_t& nanoseconds)
{
    std::int64_t whole = 0;
    if (scanAll(count, whole) == std::errc())
        return !__builtin_mul_overflow(whole, unit, &nanoseconds);
    const double product = std::round(number * static_cast<double>(unit));
    if (!(std::fabs(product) < numberEnd))
        return false;
    nanoseconds = static_cast<std::int64_t>(product);
    return true;
}

std::string tickText(std::int64_t tick)
{
    for (const DurationUnit& unit : durationUnits)
        if (unit.nanoseconds == tick)
            return unit.name;
    return std::to_string(tick) + " ns";
}

std::string parseDuration(const SettingRule& rule, std::string_view text, std::int64_t& number)
{
    const std::size_t letter = std::min(text.find_first_not_of("0123456789.+-"), text.size());
    const std::string_view count = withoutEndBlanks(text.substr(0, letter));
    std::string_view name = text.substr(letter);
    while (!name.empty() && isBlank(name.front()))
        name.remove_prefix(1);
    double real = 0;
    if (const std::string reason = parseReal(count, real); !reason.empty())
        return text.find(',') != std::string_view::npos ? notANumber(text, "duration") : "is no duration";
    if (name.empty())
        return real == 0 ? (number = 0, "") : "has no unit";
    const auto* unit = std::find_if(durationUnits.begin(), durationUnits.end(),
                                    [&](const DurationUnit& one) { return one.name == name; });
    if (unit == durationUnits.end())
        return "has no unit that is known";
    if (!toNanoseconds(count, real, unit->nanoseconds, number))
        return "is too long for any duration here";
    return number % rule.tick == 0 ? "" : "is no whole number of " + tickText(rule.tick);
}

/// Two digits, at most `most`; they and the separator before them, if there is one, are taken from the text.
bool takeTwoDigits(std::string_view& text, char separator, int most, int& number)
{
    if (separator != 0)
    {
        if (text.empty() || text[0] != separator)
            return false;
        text.remove_prefix(1);
    }
    if (text.size() < 2 || !isDigit(text[0]) || !isDigit(text[1]))
        return false;
    number = (text[0] - '0') * 10 + (text[1] - '0');
    text.remove_prefix(2);
    return number <= most;
}

bool takeClock(std::string_view& text, int lastHour, int& hour, int& minute, int& second)
{
    second = 0;
    return takeTwoDigits(text, 0, lastHour, hour) && takeTwoDigits(text, ':', 59, minute) &&
           (text.empty() || takeTwoDigits(text, ':', 59, second));
}

std::string parseTimeOfDay(std::string_view text, std::int64_t& number)
{
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (!takeClock(text, 99, hour, minute, second) || !text.empty())
        return "is no time of day";
    number = hour * secondsPerHour + minute * std::int64_t{60} + second;
    return "";
}

std::string parseDateTime(std::string_view text, std::int64_t& number)
{
    std::string wrong = "is no date, or no date and time";
    int century = 0;
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    if (!takeTwoDigits(text, 0, 99, century) || !takeTwoDigits(text, 0, 99, year) ||
        !takeTwoDigits(text, '-', 12, month) || !takeTwoDigits(text, '-', 31, day))
        return wrong;
    if (!text.empty() && (text[0] == ' ' || text[0] == 'T'))
    {
        text.remove_prefix(1);
        if (!takeClock(text, 23, hour, minute, second))
            return wrong;
    }
    year += century * 100;
    const CDateTime moment(year, month, day, hour, minute, second, 0);
    const std::tm fields = moment.c_timeinfo();
    const bool isSame = fields.tm_year + 1900 == year && fields.tm_mon + 1 == month && fields.tm_mday == day &&
                        fields.tm_hour == hour && fields.tm_min == minute && fields.tm_sec == second;
    if (!text.empty() || !isSame)
        return text.empty() ? "is not in the calendar, or was skipped when the clocks changed" : wrong;
    number = static_cast<std::int64_t>(moment.c_time());
    return "";
}

bool isInRange(const SettingRule& rule, double number)
{
    return !rule.hasRange || (number >= rule.leastReal && number <= rule.mostReal);
}

std::string checkReal(const SettingRule& rule, double real, std::int64_t& number)
{
    if (!isInRange(rule, real))
        return "is out of range";
    if (!rule.isRounded)
        return "";
    const double product = std::round(real * rule.scale);
    if (!(std::fabs(product) < numberEnd))
        return "is out of range";
    number = static_cast<std::int64_t>(product);
    return number < rule.least || number > rule.most ? "is out of range" : "";
}

std::string parseKind(const SettingRule& rule, std::string_view text, SettingValue& value)
{
    switch (rule.kind)
    {
    case SettingInteger:
        return parseInteger(withoutUnit(text, rule.unit), value.number);
    case SettingReal:
        return parseReal(withoutUnit(text, rule.unit), value.real);
    case SettingTruth:
        return parseTruth(text, value.number);
    case SettingChoice:
        return parseChoice(rule, text, value.number);
    case SettingDuration:
        return parseDuration(rule, text, value.number);
    case SettingTimeOfDay:
        return parseTimeOfDay(text, value.number);
    case SettingDateTime:
        return parseDateTime(text, value.number);
    case SettingText:
    case SettingFree:
        break;
    }
    value.text = text;
    return text.empty() && rule.isRequired ? "is empty" : "";
}

} // namespace

std::string parseSetting(const SettingRule& rule, std::string_view text, SettingValue& value)
{
    std::string reason = parseKind(rule, text, value);
    if (!reason.empty() || rule.kind == SettingText)
        return reason;
    if (rule.kind == SettingReal)
        return checkReal(rule, value.real, value.number);
    if (value.number < rule.least || value.number > rule.most ||
        (rule.kind == SettingInteger && !isInRange(rule, static_cast<double>(value.number))))
        return "is out of range";
    return reason;
}

} // namespace Kiv
