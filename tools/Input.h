/// Numbers from the command line, and whole files.
#ifndef KIV_TOOLS_INPUT_H
#define KIV_TOOLS_INPUT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace CLI
{
class Validator;
}

namespace Tool
{

/// All of the text as a decimal number or, after 0x or 0X, a hexadecimal one; without sign.
std::optional<std::uint64_t> parseNumber(std::string_view text);

/// To transform an option's value with: the parser itself takes 010 for octal and nothing for 0.
CLI::Validator wholeNumber(std::uint64_t least, std::uint64_t most);

/// To check an option's value with; a variable that a script has not set shall not count as no option.
CLI::Validator notEmpty();

/// The bytes of a file, or of standard input for "-". Failures end the program.
std::string readInput(const std::string& path);

/// The name under which messages speak of an input.
std::string inputName(const std::string& path);

/// The bytes that pairs of hexadecimal digits stand for; blanks between pairs do not count. Ends the program otherwise.
std::string bytesOfHex(const std::string& digits);

} // namespace Tool

#endif
