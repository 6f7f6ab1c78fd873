/// The English text of every error code. This header compiles as C too.
#ifndef KIV_ERRORTOSTRING_H
#define KIV_ERRORTOSTRING_H

#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /// The text of a code, given plain or negated; "Unknown error or invalid error code" for a number without a text.
    ///
    /// A raw errno code (ERRC_ERRNO_FLAG | errno) gives the system's own text of that errno, as it was in the language
    /// of the first call for it. The pointer never becomes invalid, not even in handlers that run while the process
    /// exits, and is the same in every call; the caller does not free it. Any 32-bit number is legal.
    ///
    /// Threads: safe from any thread, takes no lock.
    /// Errors: the first call for a raw errno code allocates; std::bad_alloc passes through. No other call allocates.
    KIV_API const char* ErrorToString(ErrCode code);

    /// A binary search in the bare catalogue, for places that must neither allocate nor ask the system.
    ///
    /// It differs from ErrorToString() on purpose: negated codes, raw errno codes and 93 are among the numbers without
    /// a text, and 11 is "Try again later". Any int is legal; the pointer never becomes invalid.
    ///
    /// Threads: safe from any thread and from signal handlers.
    /// Errors: none.
    KIV_API const char* ErrorToStringPriv(int code);

#ifdef __cplusplus
}
#endif

#endif
