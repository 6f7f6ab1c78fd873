#include "Input.h"

#include <cerrno>
#include <charconv>
#include <cstdio>

#include <CLI/CLI.hpp>

#include <kiv/string_utility.h>

#include "Command.h"

namespace Tool
{

std::optional<std::uint64_t> parseNumber(std::string_view text)
{
    const bool isHex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (isHex)
        text.remove_prefix(2);
    std::uint64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, fault] = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
    if (fault != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

CLI::Validator wholeNumber(std::uint64_t least, std::uint64_t most)
{
    return {[=](std::string& text) {
                const auto number = parseNumber(text);
                if (!number || *number < least || *number > most)
                    return "no whole number from " + std::to_string(least) + " to " + std::to_string(most) + ": " +
                           text;
                text = std::to_string(*number);
                return std::string();
            },
            ""};
}

CLI::Validator notEmpty()
{
    return {[](std::string& text) { return text.empty() ? std::string("the value is empty") : std::string(); }, ""};
}

std::string inputName(const std::string& path) { return path == "-" ? "standard input" : path; }

std::string readInput(const std::string& path)
{
    std::FILE* file = path == "-" ? stdin : std::fopen(path.c_str(), "rbe");
    if (file == nullptr)
        throw systemFailure(path);
    std::string bytes;
    char block[65536];
    while (const std::size_t got = std::fread(block, 1, sizeof block, file))
        bytes.append(block, got);
    const int reason = std::ferror(file) != 0 ? errno : 0;
    if (file != stdin)
        std::fclose(file);
    errno = reason;
    if (reason != 0)
        throw systemFailure(inputName(path));
    return bytes;
}

std::string bytesOfHex(const std::string& digits)
{
    std::string bytes;
    int high = -1;
    for (const char character : digits)
    {
        if (character == ' ' && high < 0)
            continue;
        const int digit = Kiv::String::HexToInt(character);
        if (digit < 0)
            throw badInput("not pairs of hexadecimal digits: " + digits);
        if (high >= 0)
            bytes += static_cast<char>(high * 16 + digit);
        high = high >= 0 ? -1 : digit;
    }
    if (high >= 0)
        throw badInput("an odd number of hexadecimal digits: " + digits);
    return bytes;
}

} // namespace Tool
