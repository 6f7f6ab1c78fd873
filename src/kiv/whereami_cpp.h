/// The path of the running executable and its two parts.
#ifndef KIV_WHEREAMI_CPP_H
#define KIV_WHEREAMI_CPP_H

#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// Where the running program lies, found out anew by each object.
///
/// Threads: reentrant; one object belongs to one thread at a time.
/// Errors: all three strings are empty when the path cannot be found out or memory is out.
class KIV_API CApplicationPath
{
public:
    CApplicationPath();

    std::string filePath; ///< the canonical absolute path, symbolic links resolved: "/usr/bin/app"
    std::string dirPath;  ///< the part before the last slash: "/usr/bin"
    std::string fileName; ///< the part after the last slash: "app"
};

} // namespace Kiv

#endif
