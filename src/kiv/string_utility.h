/// Hexadecimal digits.
#ifndef KIV_STRING_UTILITY_H
#define KIV_STRING_UTILITY_H

#include <kiv/kiv_export.h>

namespace Kiv
{
namespace String
{

/// The value of a hexadecimal digit of either case, 0 to 15; -1 for any other character. Safe from any thread.
KIV_API int HexToInt(char c);

/// The upper-case hexadecimal digit of the low four bits of `c`; the high four bits do not matter. Safe from any
/// thread.
KIV_API char LNibbleToHex(char c);

} // namespace String
} // namespace Kiv

#endif
