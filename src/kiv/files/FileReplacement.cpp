#include "kiv/files/FileReplacement.h"

#include <cstdio>
#include <vector>

#include <sys/stat.h>
#include <sys/xattr.h>

namespace Kiv
{

namespace
{

constexpr const char* nameOfNewFile = ".kiv-new";
constexpr std::string_view accessList = "system.posix_acl_access";

/// By this name an open file is linked.
std::string procPath(const CDescriptor& file) { return "/proc/self/fd/" + std::to_string(file.get()); }

/// A name that nobody else uses at the same time, for when there is no lock or the usual name is somebody else's.
std::string ownName() { return '.' + std::to_string(getpid()) + '.' + std::to_string(gettid()); }

/// A file without a name, of which nothing is left when the process ends; -1 where there are no such files.
CDescriptor openUnnamed(const std::string& folder)
{
    CDescriptor file(uninterrupted([&] { return ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600); }));
    if (file.isOpen() && access(procPath(file).c_str(), F_OK) != 0)
        return CDescriptor();
    return file;
}

std::vector<std::string> attributeNames(int file)
{
    std::string names(static_cast<std::size_t>(std::max<ssize_t>(flistxattr(file, nullptr, 0), 0)), '\0');
    const ssize_t length = names.empty() ? 0 : flistxattr(file, names.data(), names.size());
    std::vector<std::string> list;
    for (std::size_t at = 0; length > 0 && at < static_cast<std::size_t>(length); at += list.back().size() + 1)
        list.emplace_back(names.c_str() + at);
    return list;
}

/// Empty as well for an attribute that is not there or may not be read.
std::string attribute(int file, const std::string& name)
{
    std::string value(static_cast<std::size_t>(std::max<ssize_t>(fgetxattr(file, name.c_str(), nullptr, 0), 0)), '\0');
    const ssize_t length = value.empty() ? 0 : fgetxattr(file, name.c_str(), value.data(), value.size());
    value.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return value;
}

bool setAttribute(int file, const std::string& name, const std::string& value)
{
    if (attribute(file, name) == value)
        return true; // the system's policy gave it already
    return fsetxattr(file, name.c_str(), value.data(), value.size(), 0) == 0;
}

/// What the policy of the system labels a file with is its own affair: it labels the new file, too.
bool isOfPolicy(const std::string& name) { return name.compare(0, 9, "security.") == 0; }

int takeOverAttributes(int file, int old)
{
    bool hasAccessList = false;
    for (const std::string& name : attributeNames(old))
    {
        hasAccessList = hasAccessList || name == accessList;
        if (!setAttribute(file, name, attribute(old, name)) && !isOfPolicy(name))
            return errno;
    }
    if (!hasAccessList) // the folder may have given one
        fremovexattr(file, accessList.data());
    return 0;
}

/// The owner first, since a change of it takes mode bits away; the mode last, since it is also the list's mask.
int takeOver(int file, int old)
{
    struct stat theirs = {};
    struct stat own = {};
    if (fstat(old, &theirs) != 0 || fstat(file, &own) != 0)
        return errno;
    const bool isOtherOwner = theirs.st_uid != own.st_uid || theirs.st_gid != own.st_gid;
    if (isOtherOwner && fchown(file, theirs.st_uid, theirs.st_gid) != 0)
        return errno;
    if (const int error = takeOverAttributes(file, old))
        return error;
    return fchmod(file, theirs.st_mode & 07777) == 0 ? 0 : errno;
}

} // namespace

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

int writeAll(int descriptor, std::string_view content)
{
    while (!content.empty())
    {
        const ssize_t written = uninterrupted([&] { return ::write(descriptor, content.data(), content.size()); });
        if (written <= 0)
            return written < 0 ? errno : EIO;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

int flushToMedium(int descriptor)
{
    if (uninterrupted([&] { return fsync(descriptor); }) == 0 || errno == EINVAL || errno == EROFS)
        return 0;
    return errno;
}

// A name that stands there under the lock is one that a killed process left; without a lock it may be in use.
CFileReplacement::CFileReplacement(const std::string& target, bool isLocked)
    : path(target), newPath(folderOf(target) + nameOfNewFile + (isLocked ? "" : ownName()))
{}

CFileReplacement::~CFileReplacement()
{
    if (hasName)
        unlink(newPath.c_str());
}

int CFileReplacement::makeNamed(mode_t mode)
{
    file = CDescriptor(
        uninterrupted([&] { return ::open(newPath.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode); }));
    hasName = file.isOpen();
    return hasName ? 0 : errno;
}

/// Where there is no old file, the system gives a named one the mode that new files have here.
int CFileReplacement::makeFile(bool hasOld)
{
    unlink(newPath.c_str());
    if (hasOld)
        file = openUnnamed(folderOf(path));
    if (file.isOpen())
        return 0;
    const mode_t mode = hasOld ? 0600 : 0666;
    const int error = makeNamed(mode);
    if (error != EEXIST)
        return error;
    newPath += ownName();
    return makeNamed(mode);
}

int CFileReplacement::prepare(int old, std::string_view content)
{
    int error = makeFile(old >= 0);
    if (error == 0 && old >= 0)
        error = takeOver(file.get(), old);
    if (error == 0)
        error = writeAll(file.get(), content);
    return error == 0 ? flushToMedium(file.get()) : error;
}

// A link never replaces what is there; so the file gets a name of its own, for one moment.
int CFileReplacement::commit()
{
    if (!hasName && linkat(AT_FDCWD, procPath(file).c_str(), AT_FDCWD, newPath.c_str(), AT_SYMLINK_FOLLOW) != 0)
        return errno;
    hasName = true;
    if (std::rename(newPath.c_str(), path.c_str()) != 0)
        return errno;
    hasName = false;
    return 0;
}

} // namespace Kiv
