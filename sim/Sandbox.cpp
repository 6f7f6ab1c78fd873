#include "Sandbox.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace Sim
{

namespace
{

constexpr const char* classPath = "/sys/class";
constexpr const char* busPath = "/sys/bus";
constexpr const char* debugPath = "/sys/kernel/debug";
constexpr const char* devicePath = "/sys/devices/platform";

[[noreturn]] void fail(const std::string& what) { throw CNoSandbox(what + ": " + std::strerror(errno)); }

void writeMap(const char* path, const std::string& text)
{
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool isWritten = file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    if (file >= 0)
        close(file);
    errno = error;
    if (!isWritten)
        fail(std::string("cannot set up a user namespace, ") + path);
}

/// As root directly; anybody else becomes root of a user namespace.
void leaveNamespaces()
{
    if (unshare(CLONE_NEWNS) == 0)
        return;
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        fail("neither root's rights nor a user namespace are to be had");
    writeMap("/proc/self/setgroups", "deny");
    writeMap("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeMap("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

std::string namespaceOf(pid_t pid)
{
    char target[64] = {};
    const std::string link = "/proc/" + std::to_string(pid) + "/ns/mnt";
    return ::readlink(link.c_str(), target, sizeof target - 1) > 0 ? target : std::string();
}

std::string childrenPath(pid_t pid)
{
    const std::string number = std::to_string(pid);
    std::string path = "/proc/";
    return path.append(number).append("/task/").append(number).append("/children");
}

/// `kiv-board run` itself stays outside; its child, the server, is inside.
pid_t firstInside(pid_t pid)
{
    const std::string outside = namespaceOf(getpid());
    for (pid_t candidate = pid, child = 0; namespaceOf(candidate) == outside; candidate = child)
    {
        std::ifstream children(childrenPath(candidate));
        if (!(children >> child))
            return pid;
        pid = child;
    }
    return pid;
}

} // namespace

CSandbox::CSandbox()
{
    leaveNamespaces();
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        fail("cannot make the mounts private");
    classes = lookInto(classPath);
    buses = lookInto(busPath);
    devices = lookInto(devicePath);
    fuse = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (fuse < 0)
        fail("cannot open /dev/fuse");
    const std::string options =
        "fd=" + std::to_string(fuse) + ",rootmode=40755,user_id=0,group_id=0,default_permissions,allow_other";
    if (mount("kiv-board", classPath, "fuse.kiv-board", MS_NOSUID | MS_NODEV | MS_NOEXEC, options.c_str()) != 0)
        fail(std::string("cannot mount a FUSE file system on ") + classPath);
}

CSandbox::~CSandbox()
{
    close(classes.folder);
    close(buses.folder);
    close(devices.folder);
}

CSandbox::Covered CSandbox::lookInto(const char* path)
{
    Covered covered;
    covered.folder = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    DIR* folder = covered.folder < 0 ? nullptr : opendir(path);
    if (folder == nullptr)
        fail(std::string("cannot open ") + path);
    while (const dirent* entry = ::readdir(folder))
        if (entry->d_type == DT_DIR && entry->d_name[0] != '.')
            covered.names.emplace_back(entry->d_name);
    closedir(folder);
    return covered;
}

void CSandbox::putBack(const Covered& covered, const std::string& path, const std::vector<std::string>& hidden)
{
    for (const std::string& name : covered.names)
    {
        if (std::find(hidden.begin(), hidden.end(), name) != hidden.end())
            continue;
        const std::string source = "/proc/self/fd/" + std::to_string(covered.folder) + "/" + name;
        std::string target = path;
        target.append("/").append(name);
        if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
            fail("cannot put " + target + " back");
    }
}

void CSandbox::arrange(const std::vector<std::string>& hidden) const
{
    if (mount("/sys/class/.devices", devicePath, nullptr, MS_BIND, nullptr) != 0)
        fail(std::string("cannot mount the board's devices on ") + devicePath);
    if (mount("/sys/class/.bus", busPath, nullptr, MS_BIND, nullptr) != 0)
        fail(std::string("cannot mount the board's buses on ") + busPath);
    putBack(classes, classPath, hidden);
    putBack(buses, busPath, {"iio"});
    // What drivers of the machine hold is not on the board; where there is no such folder, nothing is to be covered.
    mount("kiv-board", debugPath, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
    putBack(devices, devicePath, hidden);
}

void CSandbox::dismantle()
{
    umount2(debugPath, MNT_DETACH | UMOUNT_NOFOLLOW);
    umount2(busPath, MNT_DETACH | UMOUNT_NOFOLLOW);
    umount2(devicePath, MNT_DETACH | UMOUNT_NOFOLLOW);
    umount2(classPath, MNT_DETACH | UMOUNT_NOFOLLOW);
}

void enterNamespaces(pid_t pid)
{
    pid = firstInside(pid);
    const std::string process = "/proc/" + std::to_string(pid);
    const int user = open((process + "/ns/user").c_str(), O_RDONLY | O_CLOEXEC);
    const int mounts = open((process + "/ns/mnt").c_str(), O_RDONLY | O_CLOEXEC);
    const int root = open((process + "/root").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (user < 0 || mounts < 0 || root < 0)
        fail("cannot look into process " + std::to_string(pid));
    setns(user, CLONE_NEWUSER); // fails where it is our own already
    // The namespace begins at its own root; that of the process may be another one, in a container.
    if (setns(mounts, CLONE_NEWNS) != 0 || fchdir(root) != 0 || chroot(".") != 0)
        fail("cannot enter the namespace of process " + std::to_string(pid));
    close(user);
    close(mounts);
    close(root);
}

} // namespace Sim
