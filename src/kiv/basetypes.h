/// The byte order of the build target and a population count.
#ifndef KIV_BASETYPES_H
#define KIV_BASETYPES_H

#include <kiv/kiv_export.h>

namespace Kiv
{

/// 1234 in a library built for a little-endian target, 4321 for a big-endian one. Safe from any thread.
KIV_API int endianness();

/// The number of bits that are set in `v`, 0 to 32. Safe from any thread.
KIV_API int bitCount(unsigned int v);

} // namespace Kiv

#endif
