// A file system that forgets: power_cut FOLDER OPERATION COMMAND...
//
// Runs a command in a folder of its own that begins with the files of FOLDER, and cuts the power at the given operation
// that changes or flushes something, counted from 1; 0 never cuts it. The command is killed then. What the medium may
// have afterwards lies in FOLDER/after-NAME, a folder for each fate of what had been written and not flushed. Prints
// how many operations there were. Ends with 125 where there can be no FUSE, with the reason in one line.
//
// Flushing a file brings its bytes to the medium, not its name; flushing the folder brings the names. Until then a new
// name, a rename or a removal may be lost while the bytes are kept, and the other way round.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <fuse3/fuse.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

constexpr std::size_t blockSize = 512;

struct File
{
    std::string content;
    std::string flushed;
    mode_t mode = 0644;
    uid_t owner = 0;
    gid_t group = 0;
};

using Names = std::map<std::string, std::shared_ptr<File>>;

/// The medium, and what is on its way there. FUSE's loop is the only thread that uses it until that has ended.
struct Medium
{
    Names names;
    Names flushedNames;
    long operations = 0;
    long cutAt = 0;
    bool isDead = false;
    pid_t command = 0;

    /// Before each operation that changes or flushes something; false when there is no power.
    bool hasPower()
    {
        if (!isDead && ++operations == cutAt)
        {
            isDead = true;
            kill(command, SIGKILL);
        }
        return !isDead;
    }

    std::shared_ptr<File> find(const char* path) const
    {
        const auto found = names.find(path + 1);
        return found != names.end() ? found->second : nullptr;
    }
};

Medium medium;

File& opened(const fuse_file_info* info) { return **reinterpret_cast<std::shared_ptr<File>*>(info->fh); }

int hand(const std::shared_ptr<File>& file, fuse_file_info* info)
{
    info->fh = reinterpret_cast<std::uint64_t>(new std::shared_ptr<File>(file));
    return 0;
}

void describe(const File& file, struct stat* status)
{
    status->st_mode = S_IFREG | file.mode;
    status->st_nlink = 1;
    status->st_uid = file.owner;
    status->st_gid = file.group;
    status->st_size = static_cast<off_t>(file.content.size());
    status->st_blocks = static_cast<blkcnt_t>(file.content.size() / blockSize + 1);
}

int getAttributes(const char* path, struct stat* status, fuse_file_info* info)
{
    *status = {};
    if (info != nullptr && info->fh != 0)
        return describe(opened(info), status), 0;
    if (std::strcmp(path, "/") == 0)
    {
        status->st_mode = S_IFDIR | 0755;
        status->st_nlink = 2;
        return 0;
    }
    const auto file = medium.find(path);
    return file ? (describe(*file, status), 0) : -ENOENT;
}

int readFolder(const char*, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info*, fuse_readdir_flags)
{
    for (const auto& [name, file] : medium.names)
        fill(buffer, name.c_str(), nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
    return 0;
}

int openFile(const char* path, fuse_file_info* info)
{
    const auto file = medium.find(path);
    if (!file)
        return -ENOENT;
    if ((info->flags & O_TRUNC) != 0)
    {
        if (!medium.hasPower())
            return -EIO;
        file->content.clear();
    }
    return hand(file, info);
}

int createFile(const char* path, mode_t mode, fuse_file_info* info)
{
    if (!medium.hasPower())
        return -EIO;
    auto file = std::make_shared<File>();
    file->mode = mode & 07777;
    medium.names[path + 1] = file;
    return hand(file, info);
}

int readFile(const char*, char* buffer, std::size_t size, off_t offset, fuse_file_info* info)
{
    const std::string& content = opened(info).content;
    const auto from = std::min(static_cast<std::size_t>(offset), content.size());
    return static_cast<int>(content.copy(buffer, size, from));
}

int writeFile(const char*, const char* buffer, std::size_t size, off_t offset, fuse_file_info* info)
{
    if (!medium.hasPower())
        return -EIO;
    std::string& content = opened(info).content;
    const auto from = (info->flags & O_APPEND) != 0 ? content.size() : static_cast<std::size_t>(offset);
    content.resize(std::max(content.size(), from + size));
    content.replace(from, size, buffer, size);
    return static_cast<int>(size);
}

/// For what needs a file by its name or by its handle.
template<class Change>
int change(const char* path, const fuse_file_info* info, Change toDo)
{
    if (!medium.hasPower())
        return -EIO;
    if (info != nullptr)
        return toDo(opened(info)), 0;
    const auto file = medium.find(path);
    return file ? (toDo(*file), 0) : -ENOENT;
}

int truncateFile(const char* path, off_t size, fuse_file_info* info)
{
    return change(path, info, [size](File& file) { file.content.resize(static_cast<std::size_t>(size)); });
}

int changeMode(const char* path, mode_t mode, fuse_file_info* info)
{
    return change(path, info, [mode](File& file) { file.mode = mode & 07777; });
}

int changeOwner(const char* path, uid_t owner, gid_t group, fuse_file_info* info)
{
    return change(path, info, [=](File& file) {
        file.owner = owner != static_cast<uid_t>(-1) ? owner : file.owner;
        file.group = group != static_cast<gid_t>(-1) ? group : file.group;
    });
}

int setTimes(const char*, const timespec*, fuse_file_info*) { return 0; }

int flushFile(const char* path, int, fuse_file_info* info)
{
    return change(path, info, [](File& file) { file.flushed = file.content; });
}

int flushFolder(const char*, int, fuse_file_info*)
{
    if (!medium.hasPower())
        return -EIO;
    medium.flushedNames = medium.names;
    return 0;
}

int renameFile(const char* from, const char* to, unsigned flags)
{
    if ((flags & ~static_cast<unsigned>(RENAME_NOREPLACE)) != 0)
        return -EINVAL;
    const auto file = medium.find(from);
    if (!file)
        return -ENOENT;
    if ((flags & RENAME_NOREPLACE) != 0 && medium.find(to))
        return -EEXIST;
    if (!medium.hasPower())
        return -EIO;
    medium.names.erase(from + 1);
    medium.names[to + 1] = file;
    return 0;
}

int removeFile(const char* path)
{
    if (!medium.hasPower())
        return -EIO;
    return medium.names.erase(path + 1) > 0 ? 0 : -ENOENT;
}

int closeFile(const char*, fuse_file_info* info)
{
    delete reinterpret_cast<std::shared_ptr<File>*>(info->fh);
    return 0;
}

void* setUp(fuse_conn_info*, fuse_config* config)
{
    config->hard_remove = 1; // an open file that loses its name has no other
    config->nullpath_ok = 1;
    config->direct_io = 1;
    config->entry_timeout = config->attr_timeout = config->negative_timeout = 0;
    return nullptr;
}

fuse_operations operations()
{
    fuse_operations ops = {};
    ops.init = setUp;
    ops.getattr = getAttributes;
    ops.readdir = readFolder;
    ops.open = openFile;
    ops.create = createFile;
    ops.read = readFile;
    ops.write = writeFile;
    ops.truncate = truncateFile;
    ops.chmod = changeMode;
    ops.chown = changeOwner;
    ops.utimens = setTimes;
    ops.fsync = flushFile;
    ops.fsyncdir = flushFolder;
    ops.rename = renameFile;
    ops.unlink = removeFile;
    ops.release = closeFile;
    return ops;
}

// ---- what is found afterwards

std::string kept(const File& file) { return file.content; }
std::string lost(const File& file) { return file.flushed; }

/// Of the blocks that have not been flushed, every second one has been written.
template<std::size_t first>
std::string torn(const File& file)
{
    std::string found = file.content;
    for (std::size_t block = first * blockSize; block < found.size(); block += 2 * blockSize)
    {
        std::string before = block < file.flushed.size() ? file.flushed.substr(block, blockSize) : std::string();
        before.resize(std::min(blockSize, found.size() - block));
        found.replace(block, before.size(), before);
    }
    return found;
}

void store(const fs::path& folder, const Names& names, std::string (*fate)(const File&))
{
    fs::remove_all(folder);
    fs::create_directory(folder);
    for (const auto& [name, file] : names)
        std::ofstream(folder / name, std::ios::binary) << fate(*file);
}

void storeFates(const fs::path& folder)
{
    store(folder / "after-all-kept", medium.names, kept);
    store(folder / "after-all-lost", medium.flushedNames, lost);
    store(folder / "after-bytes-lost", medium.names, lost);
    store(folder / "after-names-lost", medium.flushedNames, kept);
    store(folder / "after-torn-even", medium.names, torn<0>);
    store(folder / "after-torn-odd", medium.names, torn<1>);
    store(folder / "after-torn-names-lost", medium.flushedNames, torn<1>);
}

void load(const fs::path& folder)
{
    for (const auto& entry : fs::directory_iterator(folder))
    {
        if (!entry.is_regular_file())
            continue;
        std::ostringstream content;
        content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        auto file = std::make_shared<File>();
        file->content = file->flushed = content.str();
        medium.names[entry.path().filename()] = file;
    }
    medium.flushedNames = medium.names;
}

// ---- running

[[noreturn]] void skip(const char* what)
{
    std::fprintf(stderr, "no file system in user space here: %s: %s\n", what, std::strerror(errno));
    std::exit(125);
}

void write(const char* path, const std::string& text)
{
    if (!(std::ofstream(path) << text << std::flush))
        skip(path);
}

/// As root directly; anybody else becomes root of a user namespace.
void leaveNamespaces()
{
    if (unshare(CLONE_NEWNS) != 0)
    {
        const std::string user = std::to_string(geteuid());
        const std::string group = std::to_string(getegid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            skip("namespaces");
        write("/proc/self/setgroups", "deny");
        write("/proc/self/uid_map", "0 " + user + " 1");
        write("/proc/self/gid_map", "0 " + group + " 1");
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        skip("private mounts");
}

fuse* mountOn(const std::string& place)
{
    leaveNamespaces();
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device < 0)
        skip("/dev/fuse");
    const std::string options = "fd=" + std::to_string(device) + ",rootmode=40755,user_id=0,group_id=0";
    if (mount("power_cut", place.c_str(), "fuse.power_cut", MS_NOSUID | MS_NODEV, options.c_str()) != 0)
        skip("mount");
    static const fuse_operations ops = operations();
    char name[] = "power_cut";
    char* arguments[] = {name, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    fuse* const server = fuse_new(&args, &ops, sizeof ops, nullptr);
    fuse_opt_free_args(&args);
    const std::string mounted = "/dev/fd/" + std::to_string(device);
    if (server == nullptr || fuse_mount(server, mounted.c_str()) != 0)
        skip("fuse_new");
    return server;
}

/// The command waits until the file system answers.
pid_t begin(const std::string& place, char** command)
{
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    if (chdir(place.c_str()) == 0)
        execv(command[0], command);
    std::perror(command[0]);
    _exit(127);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4)
        return std::fputs("power_cut FOLDER OPERATION COMMAND...\n", stderr), 2;
    const fs::path folder = argv[1];
    medium.cutAt = std::atol(argv[2]);
    load(folder);
    const fs::path place = folder / "mounted";
    fs::create_directory(place);
    fuse* const server = mountOn(place);
    medium.command = begin(place, argv + 3);
    int status = 0;
    std::thread end([&] {
        waitpid(medium.command, &status, 0);
        fuse_exit(server);
        umount2(place.c_str(), MNT_DETACH); // wakes the loop
    });
    fuse_loop(server);
    end.join();
    storeFates(folder);
    std::printf("%ld\n", medium.operations);
    std::fflush(stdout);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 0); // the medium's server is not taken down
}
