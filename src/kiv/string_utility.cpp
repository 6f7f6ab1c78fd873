#include <kiv/string_utility.h>

namespace Kiv
{
namespace String
{

int HexToInt(char c)
{
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

char LNibbleToHex(char c)
{
    static constexpr char lnibble_to_hex_table[] = "0123456789ABCDEF";
    return lnibble_to_hex_table[static_cast<unsigned char>(c) & 15U];
}

} // namespace String
} // namespace Kiv
