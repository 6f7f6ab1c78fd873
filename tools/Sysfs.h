/// What the hardware commands need of /sys/class beside the library's functions.
#ifndef KIV_TOOLS_SYSFS_H
#define KIV_TOOLS_SYSFS_H

#include <optional>
#include <string>
#include <vector>

#include "Command.h"

namespace Tool
{

/// The text of an attribute without its line break; nothing when it cannot be read, with the reason in errno.
std::optional<std::string> readAttribute(const std::string& path);

bool exists(const std::string& path);

/// The numbers N of the entries `prefix`N of a folder, ascending.
std::vector<unsigned> numberedEntries(const std::string& folder, const std::string& prefix);

/// Calls the library without the reports that it makes on standard error itself.
template<class Call>
auto quietly(Call call)
{
    const CQuietErrors quiet;
    return call();
}

} // namespace Tool

#endif
