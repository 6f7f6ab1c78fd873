#include "FileReplacement.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Command.h"

namespace Tool
{

namespace
{

/// Where symbolic links lead; the path itself when nothing is there.
std::string resolved(const std::string& path)
{
    char target[PATH_MAX];
    return realpath(path.c_str(), target) != nullptr ? target : path;
}

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

/// By this name an open file is read and linked.
std::string procPath(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

bool isLink(const std::string& path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool writeAll(int descriptor, const std::string& content)
{
    std::size_t done = 0;
    while (done < content.size())
    {
        const ssize_t written = ::write(descriptor, content.data() + done, content.size() - done);
        if (written < 0 && errno != EINTR)
            return false;
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return fsync(descriptor) == 0;
}

/// Only now a power failure keeps a new name; a file system that cannot do that still has the new file.
void keepNames(const std::string& folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor);
    ::close(descriptor);
}

/// A file without a name, of which nothing is left when the process ends; -1 where there are no such files.
int openUnnamed(const std::string& folder)
{
    const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file >= 0 && access(procPath(file).c_str(), F_OK) == 0)
        return file;
    if (file >= 0)
        ::close(file);
    return -1;
}

mode_t creationMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

CEditLock::CEditLock(const std::string& path, std::chrono::milliseconds patience)
    : target(resolved(path)), folder(::open(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (folder >= 0 && !isLocked)
    {
        isLocked = flock(folder, LOCK_EX | LOCK_NB) == 0;
        if (!isLocked && errno != EWOULDBLOCK && errno != EINTR)
            return;
        if (!isLocked && std::chrono::steady_clock::now() >= end)
        {
            ::close(folder);
            throw CToolError(ExitFailed, path + ": another program holds the lock of its folder");
        }
        if (!isLocked)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

CEditLock::~CEditLock()
{
    if (folder >= 0)
        ::close(folder);
}

CHeldSignals::CHeldSignals()
{
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &before);
}

CHeldSignals::~CHeldSignals() { sigprocmask(SIG_SETMASK, &before, nullptr); }

// A name that stands there under the lock is one that a killed process left; without a lock it may be in use.
CFileReplacement::CFileReplacement(const CEditLock& lock, const std::string& content, bool mayCreate)
    : oldPath(lock.path()),
      newPath(folderOf(oldPath) + ".kiv-ini-set" + (lock.isHeld() ? "" : '.' + std::to_string(getpid())))
{
    makeFile();
    try
    {
        fill(content, mayCreate);
    }
    catch (...)
    {
        discard();
        throw;
    }
}

CFileReplacement::~CFileReplacement() { discard(); }

void CFileReplacement::makeFile()
{
    unlink(newPath.c_str());
    file = openUnnamed(folderOf(oldPath));
    if (file >= 0)
        return;
    file = ::open(newPath.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
    if (file < 0)
        throw systemFailure(oldPath + ": no new file beside it");
    hasName = true;
}

void CFileReplacement::discard()
{
    if (hasName)
        unlink(newPath.c_str());
    ::close(file);
}

void CFileReplacement::fill(const std::string& content, bool mayCreate) const
{
    takeOverOwner(mayCreate);
    if (!writeAll(file, content))
        throw systemFailure(oldPath);
}

std::string CFileReplacement::path() const { return hasName ? newPath : procPath(file); }

void CFileReplacement::takeOverOwner(bool mayCreate) const
{
    struct stat old = {};
    struct stat own = {};
    if (stat(oldPath.c_str(), &old) != 0)
    {
        if (errno == ENOENT && isLink(oldPath))
            throw CToolError(ExitFailed, oldPath + ": the symbolic link leads nowhere");
        if (errno != ENOENT || !mayCreate || fchmod(file, creationMode()) != 0)
            throw systemFailure(oldPath);
        return;
    }
    if (access(oldPath.c_str(), W_OK) != 0 || fstat(file, &own) != 0)
        throw systemFailure(oldPath);
    const bool isOtherOwner = old.st_uid != own.st_uid || old.st_gid != own.st_gid;
    if ((isOtherOwner && fchown(file, old.st_uid, old.st_gid) != 0) || fchmod(file, old.st_mode & 07777) != 0)
        throw systemFailure(oldPath + ": owner and mode cannot be kept");
}

// A link never replaces what is there; so the file gets a name of its own, for one moment.
void CFileReplacement::commit()
{
    if (!hasName && linkat(AT_FDCWD, procPath(file).c_str(), AT_FDCWD, newPath.c_str(), AT_SYMLINK_FOLLOW) != 0)
        throw systemFailure(oldPath);
    hasName = true;
    if (rename(newPath.c_str(), oldPath.c_str()) != 0)
        throw systemFailure(oldPath);
    hasName = false;
    keepNames(folderOf(oldPath));
}

} // namespace Tool
