// Values, ranges and kinds of settings as text.

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "kiv/files/DurationUnits.h"
#include "kiv/files/SettingRule.h"

namespace Kiv
{

namespace
{

constexpr std::int64_t secondsPerHour = 3600;
constexpr std::int64_t latestTimeOfDay = 100 * secondsPerHour - 1;

constexpr std::array<const char*, 9> kindTexts = {"integer",  "real",        "truth",     "text", "choice",
                                                  "duration", "time of day", "date-time", "free"};

std::string twoDigits(std::int64_t number)
{
    const std::string digits = std::to_string(number);
    return digits.size() < 2 ? '0' + digits : digits;
}

std::string timeOfDayText(std::int64_t seconds)
{
    const std::int64_t most = std::min(std::max<std::int64_t>(seconds, 0), latestTimeOfDay);
    const std::string clock = twoDigits(most / secondsPerHour) + ':' + twoDigits(most / 60 % 60);
    return most % 60 == 0 ? clock : clock + ':' + twoDigits(most % 60);
}

std::string dateTimeText(std::int64_t seconds)
{
    const std::tm fields = CDateTime(static_cast<std::time_t>(seconds)).c_timeinfo();
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", fields.tm_year + 1900, fields.tm_mon + 1,
                  fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
    return text;
}

/// In the largest unit of which it is a whole number.
std::string durationText(std::int64_t nanoseconds)
{
    if (nanoseconds == 0)
        return "0 s";
    for (const DurationUnit& unit : durationUnits)
        if (nanoseconds % unit.nanoseconds == 0)
            return std::to_string(nanoseconds / unit.nanoseconds) + ' ' + unit.name;
    return "";
}

std::string choiceText(const SettingRule& rule, std::int64_t number)
{
    for (const auto& [name, value] : rule.choices)
        if (value == number)
            return name;
    return "";
}

std::string choiceList(const SettingRule& rule)
{
    std::string list;
    for (const auto& choice : rule.choices)
        list += (list.empty() ? "" : ", ") + choice.first;
    return list;
}

std::string ofRange(const char* what, const SettingRule& rule)
{
    const std::string range = rangeText(rule);
    if (!range.empty())
        return what + (" from " + range);
    const std::string bare = what[std::strlen(what) - 1] == ',' ? std::string(what, std::strlen(what) - 1) : what;
    return bare + (rule.unit.empty() ? "" : " of " + rule.unit);
}

} // namespace

std::string realText(double number)
{
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, number);
    return {text, result.ptr};
}

const char* kindText(eSettingKind kind) { return kindTexts[static_cast<std::size_t>(kind)]; }

std::string settingText(const SettingRule& rule, const SettingValue& value)
{
    switch (rule.kind)
    {
    case SettingInteger:
        return std::to_string(value.number);
    case SettingReal:
        return realText(value.real);
    case SettingTruth:
        return value.number != 0 ? "on" : "off";
    case SettingChoice:
        return choiceText(rule, value.number);
    case SettingDuration:
        return durationText(value.number);
    case SettingTimeOfDay:
        return timeOfDayText(value.number);
    case SettingDateTime:
        return dateTimeText(value.number);
    default:
        return value.text;
    }
}

std::string rangeText(const SettingRule& rule)
{
    const std::string unit = rule.unit.empty() ? "" : ' ' + rule.unit;
    if (rule.hasRange)
        return realText(rule.leastReal) + " to " + realText(rule.mostReal) + unit;
    const bool hasLeast = rule.least != std::numeric_limits<std::int64_t>::min();
    const bool hasMost = rule.most != std::numeric_limits<std::int64_t>::max();
    if ((!hasLeast && !hasMost) || rule.kind == SettingReal || rule.kind == SettingText || rule.kind == SettingChoice)
        return "";
    const auto end = [&](std::int64_t number) {
        SettingValue value;
        value.number = number;
        return settingText(rule, value);
    };
    return (hasLeast ? end(rule.least) : "any") + " to " + (hasMost ? end(rule.most) : "any") + unit;
}

std::string allowedText(const SettingRule& rule)
{
    switch (rule.kind)
    {
    case SettingInteger:
        return ofRange("a whole number", rule);
    case SettingReal:
        return ofRange("a number", rule);
    case SettingTruth:
        return "on, yes, true, 1, or off, no, false, 0";
    case SettingChoice:
        return "one of " + choiceList(rule);
    case SettingDuration:
        return ofRange("a duration such as 250 ms, 5 min or 1.5 h,", rule);
    case SettingTimeOfDay:
        return ofRange("a time such as 03:30 or 03:30:15,", rule);
    case SettingDateTime:
        return "a date such as 2026-03-01, or one with a time such as 2026-03-01 17:04:05";
    case SettingText:
        return rule.isRequired ? "any text" : "any text, or none";
    case SettingFree:
        break;
    }
    return "any keys";
}

} // namespace Kiv
