/// The library's code for each errno value; private to the library, callers ask errnoToErrCode().
#ifndef KIV_ERRNOTABLE_H
#define KIV_ERRNOTABLE_H

#include <array>
#include <cerrno>
#include <cstddef>

#include <kiv/err_codes.h>

namespace Kiv
{

struct ErrnoTranslation
{
    std::size_t errnoValue;
    ErrCode code;
};

// By errno, in the generic Linux numbering. EPROTO shares the code of EPROTOTYPE, and EBADSLT keeps its number although
// no text goes with it: both are part of the contract.
inline constexpr ErrnoTranslation errnoTranslations[] = {
    {EPERM, 1},
    {ENOENT, 2},
    {ESRCH, 3},
    {EINTR, 4},
    {EIO, 5},
    {ENXIO, 300},
    {E2BIG, 6},
    {ENOEXEC, 7},
    {EBADF, 9},
    {ECHILD, 8},
    {EAGAIN, 11},
    {ENOMEM, 12},
    {EACCES, 13},
    {EFAULT, 14},
    {ENOTBLK, 123},
    {EBUSY, 16},
    {EEXIST, 302},
    {EXDEV, 18},
    {ENODEV, 19},
    {ENOTDIR, 20},
    {EISDIR, 21},
    {EINVAL, 22},
    {ENFILE, 23},
    {EMFILE, 24},
    {ENOTTY, 25},
    {ETXTBSY, 124},
    {EFBIG, 27},
    {ENOSPC, 28},
    {ESPIPE, 29},
    {EROFS, 30},
    {EMLINK, 10},
    {EPIPE, 32},
    {EDOM, 33},
    {ERANGE, 34},
    {EDEADLK, 35},
    {ENAMETOOLONG, 60},
    {ENOLCK, 15},
    {ENOSYS, 38},
    {ENOTEMPTY, 66},
    {ELOOP, 40},
    {ENOMSG, 125},
    {EIDRM, 126},
    {EL2NSYNC, 128},
    {EL3HLT, 129},
    {ELNRNG, 131},
    {EUNATCH, 132},
    {ENOCSI, 133},
    {EL2HLT, 134},
    {EBADE, 135},
    {EBADR, 136},
    {EXFULL, 137},
    {ENOANO, 138},
    {EBADRQC, 139},
    {EBADSLT, 57},
    {EPROTO, 323},
    {EOVERFLOW, 37},
    {EILSEQ, 31},
    {ENOTSOCK, 320},
    {EDESTADDRREQ, 321},
    {EMSGSIZE, 322},
    {EPROTOTYPE, 323},
    {ENOPROTOOPT, 92},
    {EPROTONOSUPPORT, 325},
    {ENOTSUP, 327},
    {EAFNOSUPPORT, 97},
    {EADDRINUSE, 330},
    {EADDRNOTAVAIL, 331},
    {ENETDOWN, 350},
    {ENETUNREACH, 351},
    {ENETRESET, 352},
    {ECONNABORTED, 353},
    {ECONNRESET, 354},
    {ENOBUFS, 105},
    {EISCONN, 356},
    {ENOTCONN, 357},
    {ETIMEDOUT, 360},
    {ECONNREFUSED, 361},
    {EHOSTUNREACH, 365},
    {EALREADY, 311},
    {EINPROGRESS, 310},
    {ECANCELED, 36},
    {EOWNERDEAD, 39},
};

/// errno values from 0 to one less than this have an entry of their own; all above share the last one.
inline constexpr std::size_t errnoTableSize = 150;

/// Codes by errno value; a value without a number in the library is carried as ERRC_ERRNO_FLAG | errno.
inline constexpr auto errnoTable = [] {
    std::array<ErrCode, errnoTableSize> table{};
    for (std::size_t value = 1; value < table.size(); ++value)
        table[value] = ERRC_ERRNO_FLAG | static_cast<ErrCode>(value);
    for (const ErrnoTranslation& translation : errnoTranslations)
        table[translation.errnoValue] = translation.code;
    return table;
}();

static_assert(errnoTable[errnoTableSize - 1] == ERRC_ERRNO_OVERFLOW, "the last entry stands for all larger values");

} // namespace Kiv

#endif
