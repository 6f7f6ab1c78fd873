/// A file that has a path and lies in memory.
#ifndef KIV_FUZZ_MEMORYFILE_H
#define KIV_FUZZ_MEMORYFILE_H

#include <string>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "require.h"

class CMemoryFile
{
public:
    explicit CMemoryFile(const std::string& bytes) : descriptor(memfd_create("fuzz", MFD_CLOEXEC))
    {
        require(descriptor >= 0);
        require(pwrite(descriptor, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    }
    CMemoryFile(const CMemoryFile&) = delete;
    CMemoryFile& operator=(const CMemoryFile&) = delete;
    ~CMemoryFile() { close(descriptor); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

    std::string bytes() const
    {
        struct stat status = {};
        require(fstat(descriptor, &status) == 0);
        std::string all(static_cast<std::size_t>(status.st_size), '\0');
        require(pread(descriptor, all.data(), all.size(), 0) == status.st_size);
        return all;
    }

private:
    int descriptor;
};

#endif
