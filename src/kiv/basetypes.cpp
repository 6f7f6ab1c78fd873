#include <kiv/basetypes.h>

namespace Kiv
{

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ || __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__);

int endianness() { return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 1234 : 4321; }

int bitCount(unsigned int v)
{
    v = v - (v >> 1 & 0x55555555U);
    v = (v & 0x33333333U) + (v >> 2 & 0x33333333U);
    v = (v + (v >> 4)) & 0x0F0F0F0FU;
    v += v >> 8;
    v += v >> 16;
    return static_cast<int>(v & 63U);
}

} // namespace Kiv
