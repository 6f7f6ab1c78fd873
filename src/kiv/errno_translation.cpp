#include <kiv/errno_translation.h>

#include <algorithm>

#include "kiv/errors/ErrnoTable.h"

ErrCode errnoToErrCode(int err)
{
    // Negated as unsigned: INT_MIN has no positive counterpart.
    const unsigned value = err < 0 ? 0U - static_cast<unsigned>(err) : static_cast<unsigned>(err);
    return Kiv::errnoTable[std::min<std::size_t>(value, Kiv::errnoTableSize - 1)];
}
