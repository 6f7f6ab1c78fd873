#include <kiv/whereami.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kiv/env/unix/helper/SystemCall.h"

namespace
{

// proc(5): each line of maps is a mapping "from-to perms offset dev inode path"; the columns end at blanks.
constexpr int mapsLineSize = 4096;
constexpr int mapsAttempts = 5;

/// Where the result of a query goes; see the header.
struct PathReceiver
{
    char* out;
    int capacity;
    int* dirnameLength;

    int receive(const char* path) const
    {
        const auto length = static_cast<int>(std::strlen(path));
        if (out == nullptr || length > capacity)
            return length;
        std::memcpy(out, path, static_cast<std::size_t>(length));
        const char* const lastSlash = std::strrchr(path, '/');
        if (dirnameLength != nullptr && lastSlash != nullptr)
            *dirnameLength = static_cast<int>(lastSlash - path);
        return length;
    }

    int receiveResolved(const char* path) const
    {
        char resolved[PATH_MAX];
        return realpath(path, resolved) != nullptr ? receive(resolved) : -1;
    }
};

/// Finds the file that is mapped at `address`; `path` has mapsLineSize bytes.
bool findMapping(std::FILE* maps, std::uintptr_t address, char* path)
{
    char line[mapsLineSize];
    while (std::fgets(line, sizeof line, maps) != nullptr)
    {
        unsigned long low = 0;
        unsigned long high = 0;
        unsigned long offset = 0;
        unsigned major = 0;
        unsigned minor = 0;
        unsigned inode = 0;
        char permissions[8];
        const int fields = std::sscanf(line, "%lx-%lx %7s %lx %x:%x %u %4095s\n", &low, &high, permissions, &offset,
                                       &major, &minor, &inode, path);
        if (fields == 8 && low <= address && address <= high)
            return true;
    }
    return false;
}

} // namespace

int wai_getExecutablePath(char* out, int capacity, int* dirnameLength)
{
    return PathReceiver{out, capacity, dirnameLength}.receiveResolved("/proc/self/exe");
}

__attribute__((noinline)) int wai_getModulePath(char* out, int capacity, int* dirnameLength)
{
    const auto address = reinterpret_cast<std::uintptr_t>(__builtin_extract_return_addr(__builtin_return_address(0)));
    const PathReceiver receiver{out, capacity, dirnameLength};
    for (int attempt = 0; attempt < mapsAttempts; ++attempt)
    {
        const Kiv::FileHandle maps(std::fopen("/proc/self/maps", "re"));
        if (maps == nullptr)
            return -1;
        char path[mapsLineSize];
        if (!findMapping(maps.get(), address, path))
            continue;
        const int length = receiver.receiveResolved(path);
        if (length >= 0)
            return length;
    }
    return -1;
}
