/// Numbers from the command line, and whole files.
#ifndef KIV_TOOLS_INPUT_H
#define KIV_TOOLS_INPUT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Tool
{

/// All of the text as a decimal number or, after 0x or 0X, a hexadecimal one; without sign.
std::optional<std::uint64_t> parseNumber(std::string_view text);

/// The bytes of a file, or of standard input for "-". Failures end the program.
std::string readInput(const std::string& path);

/// The name under which messages speak of an input.
std::string inputName(const std::string& path);

/// The bytes that pairs of hexadecimal digits stand for; blanks between pairs do not count. Ends the program otherwise.
std::string bytesOfHex(const std::string& digits);

} // namespace Tool

#endif
