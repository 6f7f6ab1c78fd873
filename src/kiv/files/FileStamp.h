/// By what a file is known again; private to what saves files.
#ifndef KIV_FILESTAMP_H
#define KIV_FILESTAMP_H

#include <cstddef>
#include <string>

#include <sys/stat.h>

namespace Kiv
{

/// Which file it is, how long, and when it and its attributes were changed. Equal stamps: nobody has touched it since,
/// or so quickly that the file system's clock, some milliseconds coarse, does not show it.
///
/// Threads: reentrant.
/// Errors: a file that cannot be asked is as one that is not there.
class CFileStamp
{
public:
    CFileStamp() = default;

    static CFileStamp of(int descriptor)
    {
        CFileStamp stamp;
        stamp.isThere = fstat(descriptor, &stamp.status) == 0;
        return stamp;
    }
    static CFileStamp of(const std::string& path)
    {
        CFileStamp stamp;
        stamp.isThere = stat(path.c_str(), &stamp.status) == 0;
        return stamp;
    }

    bool operator==(const CFileStamp& other) const
    {
        if (!isThere || !other.isThere)
            return isThere == other.isThere;
        return isSameFile(other.status) && status.st_size == other.status.st_size &&
               isSame(status.st_mtim, other.status.st_mtim) && isSame(status.st_ctim, other.status.st_ctim);
    }
    bool operator!=(const CFileStamp& other) const { return !(*this == other); }

    /// In bytes; 0 for what has none.
    std::size_t size() const { return status.st_size > 0 ? static_cast<std::size_t>(status.st_size) : 0; }

private:
    bool isSameFile(const struct stat& other) const
    {
        return status.st_dev == other.st_dev && status.st_ino == other.st_ino;
    }
    static bool isSame(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

    struct stat status = {};
    bool isThere = false;
};

} // namespace Kiv

#endif
