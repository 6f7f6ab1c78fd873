#include "Figures.h"

#include <charconv>
#include <cstdio>

#include <kiv/IniFile.h>

namespace PumpStation
{

namespace
{

constexpr const char* digits = "0123456789";

std::string trimmed(std::string text)
{
    Kiv::TrimLeft(text, Kiv::WhiteSpace);
    Kiv::TrimRight(text, Kiv::WhiteSpace);
    return text;
}

} // namespace

std::optional<double> toNumber(const std::string& text)
{
    const std::string number = trimmed(text);
    double value = 0;
    const char* const end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, value, std::chars_format::fixed);
    // The first digit keeps out "inf" and "nan", which count as numbers too.
    if (error != std::errc() || stop != end || number.find_first_of(digits) > 1)
        return std::nullopt;
    return value;
}

std::optional<int> toSeconds(const std::string& text)
{
    const std::string time = trimmed(text);
    if (time.size() != 5 || time[2] != ':' ||
        (time.substr(0, 2) + time.substr(3)).find_first_not_of(digits) != time.npos)
        return std::nullopt;
    const int hours = std::stoi(time.substr(0, 2));
    const int minutes = std::stoi(time.substr(3));
    if (minutes > 59)
        return std::nullopt;
    return (hours * 60 + minutes) * 60;
}

std::string clockText(int seconds)
{
    char text[24];
    std::snprintf(text, sizeof text, "%02d:%02d", seconds / 3600, seconds / 60 % 60);
    return text;
}

} // namespace PumpStation
