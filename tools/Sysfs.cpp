#include "Sysfs.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace Tool
{

namespace
{

struct CloseFolder
{
    void operator()(DIR* folder) const { closedir(folder); }
};

} // namespace

std::optional<std::string> readAttribute(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return std::nullopt;
    char text[256];
    const ssize_t size = read(descriptor, text, sizeof text);
    const int reason = errno;
    close(descriptor);
    errno = reason;
    if (size < 0)
        return std::nullopt;
    const std::string whole(text, static_cast<std::size_t>(size));
    return whole.substr(0, whole.find('\n'));
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

std::vector<unsigned> numberedEntries(const std::string& folder, const std::string& prefix)
{
    std::vector<unsigned> numbers;
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder.c_str()));
    while (const dirent* entry = entries ? readdir(entries.get()) : nullptr)
    {
        const std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) == 0 && name.size() > prefix.size())
            numbers.push_back(static_cast<unsigned>(std::strtoul(name.c_str() + prefix.size(), nullptr, 10)));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace Tool
