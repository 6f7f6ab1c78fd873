/// Where the running program and a piece of its code lie in the file system. This header compiles as C too.
///
/// Both functions copy the canonical path (symbolic links resolved) into `out` and return its length in bytes, or -1
/// when it cannot be found out, for example because the file was deleted or replaced while it runs.
///
/// The path is copied only when it fits into `capacity` bytes, and without a terminating NUL; the length comes back in
/// any case, so a result above `capacity` tells that nothing was copied. With `out` null the call only measures:
/// measure, allocate, call again, terminate. When the path was copied and `dirnameLength` is not null, it receives the
/// index of the path's last slash, the length of the directory part; otherwise it is left as it is.
///
/// Threads: safe from any thread.
/// Errors: -1.
/// Units: bytes.
#ifndef KIV_WHEREAMI_H
#define KIV_WHEREAMI_H

#include <kiv/kiv_export.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /// The path of the running executable.
    KIV_API int wai_getExecutablePath(char* out, int capacity, int* dirnameLength);

    /// The path of the shared object, or of the executable, that contains the calling code. A path with a blank in it
    /// is cut there, as the columns of the kernel's list of mappings are read.
    KIV_API int wai_getModulePath(char* out, int capacity, int* dirnameLength);

#ifdef __cplusplus
}
#endif

#endif
