#include "kiv/files/FileUpdate.h"

#include <climits>
#include <cstdlib>
#include <thread>
#include <utility>

#include <sys/file.h>
#include <sys/resource.h>

#include "kiv/env/unix/helper/TerminationBlocker.h"
#include "kiv/files/FileReplacement.h"
#include "kiv/files/HeldSignals.h"

namespace Kiv
{

namespace
{

constexpr int linkLimit = 40; // as the kernel's
constexpr std::chrono::milliseconds lockPause(5);

ErrCode negatedCode(int error) { return error == 0 ? 0 : 0u - errnoToErrCode(error); }

/// Where a symbolic link leads that may lead to a file that is not there yet; ELOOP when it leads nowhere.
int followLinks(std::string& path)
{
    for (int i = 0; i < linkLimit; ++i)
    {
        char next[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), next, sizeof next);
        if (length < 0)
            return 0;
        std::string leadsTo(next, static_cast<std::size_t>(length));
        if (leadsTo[0] != '/' && path.find('/') != std::string::npos)
            leadsTo.insert(0, folderOf(path));
        path = std::move(leadsTo);
    }
    return ELOOP;
}

/// Takes an exclusive lock on an open file, waiting until `end`. 0, EBUSY, or another errno where locks do not work.
int lockUntil(int descriptor, std::chrono::steady_clock::time_point end)
{
    while (flock(descriptor, LOCK_EX | LOCK_NB) != 0)
    {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return errno;
        if (std::chrono::steady_clock::now() >= end)
            return EBUSY;
        std::this_thread::sleep_for(lockPause);
    }
    return 0;
}

/// Failures of a replacement that forbid only the new file: the old one may be written all the same.
bool forbidsNewFile(int error)
{
    for (const int one : {EACCES, EPERM, EBUSY, EXDEV, EROFS, EINVAL, EOPNOTSUPP})
        if (error == one)
            return true;
    return false;
}

int readAll(int descriptor, std::string& content)
{
    content.clear();
    char block[16384];
    for (;;)
    {
        const auto place = static_cast<off_t>(content.size());
        const ssize_t got = uninterrupted([&] { return pread(descriptor, block, sizeof block, place); });
        if (got <= 0)
            return got < 0 ? errno : 0;
        content.append(block, static_cast<std::size_t>(got));
    }
}

/// Fails while nothing is touched yet, if the new content has no room.
int reserve(int descriptor, std::size_t size)
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && size > limit.rlim_cur)
        return EFBIG;
    const auto length = static_cast<off_t>(size);
    if (size == 0 || uninterrupted([&] { return fallocate(descriptor, FALLOC_FL_KEEP_SIZE, 0, length); }) == 0)
        return 0;
    return errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? errno : 0; // not every file system can do this
}

/// Over what is there, from its beginning; what is left of a longer file goes last.
int overwrite(int descriptor, std::string_view content)
{
    if (lseek(descriptor, 0, SEEK_SET) < 0)
        return errno;
    if (const int error = writeAll(descriptor, content))
        return error;
    return ftruncate(descriptor, static_cast<off_t>(content.size())) == 0 ? 0 : errno;
}

} // namespace

ErrCode CFileUpdate::begin(std::chrono::milliseconds patience)
{
    patienceEnd = std::chrono::steady_clock::now() + patience;
    int error = findTarget();
    if (error == 0 && isRegular)
        error = lock(patienceEnd);
    return negatedCode(error == 0 ? openTarget() : error);
}

/// A path of /proc/self/fd leads to a file that may have no name: then the path itself is the target.
int CFileUpdate::findTarget()
{
    target = givenPath;
    struct stat status = {};
    if (stat(givenPath.c_str(), &status) != 0)
        return errno == ENOENT && !givenPath.empty() ? followLinks(target) : errno;
    isRegular = S_ISREG(status.st_mode);
    char resolved[PATH_MAX];
    if (isRegular && realpath(givenPath.c_str(), resolved) != nullptr)
        target = resolved;
    return 0;
}

/// Where locks do not work, or the folder may not be read, there is none.
int CFileUpdate::lock(std::chrono::steady_clock::time_point end)
{
    folder = CDescriptor::open(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY);
    if (!folder.isOpen())
        return 0;
    const int error = lockUntil(folder.get(), end);
    isLocked = error == 0;
    return error == EBUSY ? error : 0;
}

/// A child that was forked meanwhile has the descriptor, too: closing it would not be enough.
void CFileUpdate::unlock()
{
    if (isLocked)
        flock(folder.get(), LOCK_UN);
}

/// Opened for writing even if it will be replaced: who may not write the old file may not replace it either.
int CFileUpdate::openTarget()
{
    if (isRegular)
        file = CDescriptor::open(target.c_str(), O_RDWR);
    if (!file.isOpen() && (!isRegular || errno == EACCES))
        file = CDescriptor::open(target.c_str(), O_WRONLY);
    if (file.isOpen())
        return 0;
    if (errno != ENOENT || target.back() == '/')
        return errno;
    return faccessat(AT_FDCWD, folderOf(target).c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

ErrCode CFileUpdate::read(std::string& content) const
{
    content.clear();
    return file.isOpen() ? negatedCode(readAll(file.get(), content)) : 0;
}

ErrCode CFileUpdate::replace(std::string_view content)
{
    const CHeldSignals signals(isRegular);
    int error = canBeReplaced() ? replaceWhole(content) : EPERM;
    if (file.isOpen() && forbidsNewFile(error))
        error = replaceInPlace(content);
    return negatedCode(error);
}

/// False for what is more than one name of one file.
bool CFileUpdate::canBeReplaced() const
{
    if (!file.isOpen())
        return true;
    struct stat opened = {};
    struct stat named = {};
    return isRegular && fstat(file.get(), &opened) == 0 && opened.st_nlink == 1 && stat(target.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

int CFileUpdate::replaceWhole(std::string_view content)
{
    const CTerminationBlocker blocker;
    CFileReplacement replacement(target, isLocked);
    int error = replacement.prepare(file.get(), content);
    if (error == 0)
        error = replacement.commit();
    if (error != 0)
        return error;
    file = replacement.release();
    return folder.isOpen() ? flushToMedium(folder.get()) : 0; // only now a power failure keeps the new name
}

/// The names of a file with several may stand in several folders, so here the file itself is locked.
int CFileUpdate::replaceInPlace(std::string_view content)
{
    if (!isRegular)
        return writeAll(file.get(), content);
    if (lockUntil(file.get(), patienceEnd) == EBUSY)
        return EBUSY;
    std::string before;
    const bool isKnown = readAll(file.get(), before) == 0;
    int error = reserve(file.get(), content.size());
    if (error == 0)
    {
        error = overwrite(file.get(), content);
        if (error != 0 && isKnown)
            overwrite(file.get(), before);
        const int flushed = flushToMedium(file.get());
        error = error == 0 ? flushed : error;
    }
    flock(file.get(), LOCK_UN);
    return error;
}

} // namespace Kiv
