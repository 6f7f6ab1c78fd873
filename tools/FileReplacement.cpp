#include "FileReplacement.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Command.h"

namespace Tool
{

namespace
{

class CDescriptor
{
public:
    explicit CDescriptor(int value) : descriptor(value) {}
    ~CDescriptor()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    int get() const { return descriptor; }

private:
    int descriptor;
};

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

mode_t creationMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

CEditLock::CEditLock(const std::string& path)
    : folder(::open(folderOf(resolved(path)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    while (folder >= 0 && flock(folder, LOCK_EX) != 0 && errno == EINTR)
    {}
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

CFileReplacement::CFileReplacement(const std::string& path, const std::string& content, bool mayCreate)
    : oldPath(resolved(path))
{
    std::string name = oldPath + ".XXXXXX";
    const CDescriptor file(mkostemp(name.data(), O_CLOEXEC));
    if (file.get() < 0)
        throw systemFailure(path + ": no new file beside it");
    newPath = name;
    try
    {
        takeOverOwner(file.get(), mayCreate);
        if (!writeAll(file.get(), content))
            throw systemFailure(path);
    }
    catch (...)
    {
        unlink(newPath.c_str());
        throw;
    }
}

CFileReplacement::~CFileReplacement()
{
    if (!newPath.empty())
        unlink(newPath.c_str());
}

void CFileReplacement::takeOverOwner(int descriptor, bool mayCreate) const
{
    struct stat old = {};
    struct stat own = {};
    if (stat(oldPath.c_str(), &old) != 0)
    {
        if (errno == ENOENT && isLink(oldPath))
            throw CToolError(ExitFailed, oldPath + ": the symbolic link leads nowhere");
        if (errno != ENOENT || !mayCreate || fchmod(descriptor, creationMode()) != 0)
            throw systemFailure(oldPath);
        return;
    }
    if (access(oldPath.c_str(), W_OK) != 0 || fstat(descriptor, &own) != 0)
        throw systemFailure(oldPath);
    const bool isOtherOwner = old.st_uid != own.st_uid || old.st_gid != own.st_gid;
    if ((isOtherOwner && fchown(descriptor, old.st_uid, old.st_gid) != 0) ||
        fchmod(descriptor, old.st_mode & 07777) != 0)
        throw systemFailure(oldPath + ": owner and mode cannot be kept");
}

void CFileReplacement::commit()
{
    if (rename(newPath.c_str(), oldPath.c_str()) != 0)
        throw systemFailure(oldPath);
    newPath.clear();
    // Only now a power failure keeps the new name; a file system that cannot do that still has the new file.
    const CDescriptor folder(::open(folderOf(oldPath).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() >= 0)
        fsync(folder.get());
}

} // namespace Tool
