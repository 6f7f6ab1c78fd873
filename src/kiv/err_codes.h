/// The error-code space of the library: one 32-bit number for every outcome, 0 for success.
///
/// A code is a plain number, never a set of bits: the range in which it lies names its group. Individual codes have no
/// symbolic names; their meaning is their text, which ErrorToString() gives. Functions that return an `int` return a
/// code negated (-2 stands for code 2), and whatever interprets a code takes the absolute value first.
///
/// This header compiles as C too.
#ifndef KIV_ERR_CODES_H
#define KIV_ERR_CODES_H

#include <stdint.h>

/// One outcome out of the library-wide code space; 0 is success.
typedef uint32_t ErrCode;

/// The first code of each group. A group ends where its last assigned code stands; numbers between are unassigned.
#ifdef __cplusplus
enum eErrGroup : int
#else
enum eErrGroup
#endif
{
    ErrGroupSystem = 1,             ///< 1 to 140: system errors; many equal the Linux errno, several do not
    ErrGroupGeneral = 200,          ///< 200 to 208: general outcomes such as "End of file reached"
    ErrGroupNetwork = 300,          ///< 300 to 365: devices, sockets and networks
    ErrGroupLibrary = 0x200,        ///< 0x200 to 0x20A: operation errors of any application
    ErrGroupRs232 = 0x240,          ///< 0x240 to 0x249: serial line
    ErrGroupCan = 0x300,            ///< 0x300 to 0x333: CAN data link layer
    ErrGroupCanApp = 0x340,         ///< 0x340 to 0x341: CAN application layer
    ErrGroupSdo = 0x400,            ///< 0x400 to 0x4FF: CANopen SDO transfer
    ErrGroupLss = 0x500,            ///< 0x500 to 0x504: CANopen LSS
    ErrGroupCanOpenProfile = 0x600, ///< 0x600 to 0x661: CANopen device profiles
    ErrGroupErrno = 0x4000,         ///< ERRC_ERRNO_FLAG | n: an errno value n without a number of its own
    ErrGroupApplication = 0x8000    ///< from here on: defined by the applications themselves
};

/// The flags of the two open groups, and the one code that stands for many.
#ifdef __cplusplus
enum eErrFlag : int
#else
enum eErrFlag
#endif
{
    ERRC_ERRNO_FLAG = 0x4000,      ///< the low bits are a raw errno value
    ERRC_ERRNO_OVERFLOW = 0x4095,  ///< every errno value above 149
    ERRC_APPLICATION_BASE = 0x8000 ///< the first code that an application may define
};

#ifdef __cplusplus
namespace Kiv
{
using ::ErrCode;

using ::eErrGroup;
using ::ErrGroupApplication;
using ::ErrGroupCan;
using ::ErrGroupCanApp;
using ::ErrGroupCanOpenProfile;
using ::ErrGroupErrno;
using ::ErrGroupGeneral;
using ::ErrGroupLibrary;
using ::ErrGroupLss;
using ::ErrGroupNetwork;
using ::ErrGroupRs232;
using ::ErrGroupSdo;
using ::ErrGroupSystem;

using ::eErrFlag;
using ::ERRC_APPLICATION_BASE;
using ::ERRC_ERRNO_FLAG;
using ::ERRC_ERRNO_OVERFLOW;
} // namespace Kiv
#endif

#endif
