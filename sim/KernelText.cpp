#include "KernelText.h"

#include <cctype>
#include <cerrno>
#include <limits>

namespace Sim
{

namespace
{

std::string_view upToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

bool isHexDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

unsigned digitValue(char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    return isHexDigit(c) ? static_cast<unsigned>((c | 0x20) - 'a' + 10) : 16;
}

unsigned takeBase(std::string_view& text)
{
    if (text.empty() || text[0] != '0')
        return 10;
    if (text.size() < 3 || (text[1] | 0x20) != 'x' || !isHexDigit(text[2]))
        return 8;
    text.remove_prefix(2);
    return 16;
}

/// Overflow is noticed before what follows the digits is looked at, as the kernel does it.
int parseDigits(std::string_view text, std::uint64_t& value)
{
    const unsigned base = takeBase(text);
    std::uint64_t number = 0;
    std::size_t count = 0;
    bool isTooLong = false;
    for (; count < text.size() && digitValue(text[count]) < base; ++count)
    {
        const unsigned digit = digitValue(text[count]);
        isTooLong = isTooLong || number > (std::numeric_limits<std::uint64_t>::max() - digit) / base;
        number = number * base + digit;
    }
    if (isTooLong)
        return -ERANGE;
    text.remove_prefix(count);
    if (count == 0 || !(text.empty() || text == "\n"))
        return -EINVAL;
    value = number;
    return 0;
}

} // namespace

int parseUnsigned(std::string_view written, std::uint64_t maximum, std::uint64_t& value)
{
    std::string_view text = upToNul(written);
    if (!text.empty() && text[0] == '+')
        text.remove_prefix(1);
    std::uint64_t number = 0;
    if (const int refusal = parseDigits(text, number))
        return refusal;
    if (number > maximum)
        return -ERANGE;
    value = number;
    return 0;
}

int parseSigned(std::string_view written, std::int64_t minimum, std::int64_t maximum, std::int64_t& value)
{
    std::string_view text = upToNul(written);
    const bool isNegative = !text.empty() && text[0] == '-';
    if (!text.empty() && (isNegative || text[0] == '+'))
        text.remove_prefix(1);
    std::uint64_t magnitude = 0;
    if (const int refusal = parseDigits(text, magnitude))
        return refusal;
    const std::uint64_t limit =
        isNegative ? 0 - static_cast<std::uint64_t>(minimum) : static_cast<std::uint64_t>(maximum);
    if (magnitude > limit)
        return -ERANGE;
    value = static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude);
    return 0;
}

bool isWord(std::string_view written, std::string_view word)
{
    std::string_view text = upToNul(written);
    if (text.size() == word.size() + 1 && text.back() == '\n')
        text.remove_suffix(1);
    return text == word;
}

std::string bitText(bool bit) { return bit ? "1\n" : "0\n"; }

} // namespace Sim
