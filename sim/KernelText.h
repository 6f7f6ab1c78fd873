/// How the kernel reads what programs write to its attributes: numbers as kstrtol() and its kin, words as
/// sysfs_streq().
#ifndef KIV_SIM_KERNELTEXT_H
#define KIV_SIM_KERNELTEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace Sim
{

// All take the bytes of a write; what follows a NUL does not count. Numbers are decimal, "0x" hexadecimal or, after a
// leading 0, octal, with at most one line feed behind. The results are 0, -EINVAL, or -ERANGE for a number beyond the
// bounds; `value` is set by 0 only.

/// A sign may stand in front.
int parseSigned(std::string_view written, std::int64_t minimum, std::int64_t maximum, std::int64_t& value);
/// A '+' may stand in front.
int parseUnsigned(std::string_view written, std::uint64_t maximum, std::uint64_t& value);

/// True when the word was written, with or without a line feed behind.
bool isWord(std::string_view written, std::string_view word);

/// "1\n" or "0\n".
std::string bitText(bool bit);

} // namespace Sim

#endif
