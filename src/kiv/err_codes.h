/// The error-code space of the library: one 32-bit number for every outcome, 0 for success.
#ifndef KIV_ERR_CODES_H
#define KIV_ERR_CODES_H

#include <stdint.h>

/// One outcome out of the library-wide code space; 0 is success.
typedef uint32_t ErrCode;

#ifdef __cplusplus
namespace Kiv
{
using ::ErrCode;
}
#endif

#endif
