/// Short ways to the application's own paths.
#ifndef KIV_UTIL_H
#define KIV_UTIL_H

#include <string>

#include <kiv/kiv_export.h>
#include <kiv/whereami_cpp.h>

namespace Kiv
{

/// The canonical path of the running executable; empty when it cannot be found out. Safe from any thread.
KIV_API std::string getApplicationFilePath();

/// The directory of the running executable, without a slash at its end; empty when it cannot be found out. Safe from
/// any thread.
KIV_API std::string getApplicationDirPath();

} // namespace Kiv

#endif
