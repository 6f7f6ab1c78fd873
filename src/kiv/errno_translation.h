/// From the C library's errno to the library's error codes. This header compiles as C too.
#ifndef KIV_ERRNO_TRANSLATION_H
#define KIV_ERRNO_TRANSLATION_H

#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /// The library's code for an errno value, given plain or negated: errnoToErrCode(EBUSY) is errnoToErrCode(-EBUSY).
    ///
    /// 0 gives 0. A value that has no number in the library comes back as ERRC_ERRNO_FLAG | errno, so that nothing is
    /// lost; every value above 149 comes back as ERRC_ERRNO_OVERFLOW. Any int is legal, INT_MIN too.
    ///
    /// Threads: safe from any thread, takes no lock.
    /// Errors: none.
    KIV_API ErrCode errnoToErrCode(int err);

#ifdef __cplusplus
}
#endif

#endif
