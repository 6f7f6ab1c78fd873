#include <kiv/FileEdit.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using Kiv::CFileEdit;
using namespace std::string_literals;

namespace
{

/// What the system calls of this thread do otherwise than usual, and which files it brought to the disk.
struct CSystemCalls
{
    std::string failing; ///< this one fails ...
    int error = EIO;     ///< ... with this
    std::string deadly;  ///< this one does not come back
    bool hasUnnamedFiles = true;
    std::size_t writtenBefore = 0; ///< what a write that fails has written before
    std::vector<ino_t> synced;
};
thread_local CSystemCalls systemCalls;

/// True when the call fails.
bool stopsAt(const char* call)
{
    if (systemCalls.deadly == call)
        raise(SIGKILL);
    errno = systemCalls.error;
    return systemCalls.failing == call;
}

template<class Function>
Function* original(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if ((flags & O_TMPFILE) == O_TMPFILE && !systemCalls.hasUnnamedFiles)
        return errno = EOPNOTSUPP, -1;
    if (((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) && stopsAt("create"))
        return -1;
    return original<int(const char*, int, ...)>("open")(path, flags, mode);
}

extern "C" ssize_t write(int file, const void* bytes, std::size_t size)
{
    const auto write = original<ssize_t(int, const void*, std::size_t)>("write");
    if (systemCalls.failing != "write" || size <= systemCalls.writtenBefore)
        return write(file, bytes, size);
    if (systemCalls.writtenBefore == 0)
        return errno = systemCalls.error, -1;
    const ssize_t written = write(file, bytes, systemCalls.writtenBefore);
    systemCalls.writtenBefore = 0;
    return written;
}

extern "C" int fsync(int file)
{
    struct stat status = {};
    fstat(file, &status);
    systemCalls.synced.push_back(status.st_ino);
    return stopsAt("fsync") ? -1 : original<int(int)>("fsync")(file);
}

extern "C" int fchmod(int file, mode_t mode) noexcept
{
    return stopsAt("fchmod") ? -1 : original<int(int, mode_t)>("fchmod")(file, mode);
}

extern "C" int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept
{
    const auto link = original<int(int, const char*, int, const char*, int)>("linkat");
    return stopsAt("linkat") ? -1 : link(fromFolder, from, toFolder, to, flags);
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    return stopsAt("rename") ? -1 : original<int(const char*, const char*)>("rename")(from, to);
}

namespace
{

constexpr ErrCode refused(int code) { return 0u - static_cast<ErrCode>(code); }

class FileEdit : public testing::Test
{
protected:
    FileEdit()
    {
        systemCalls = CSystemCalls();
        std::ofstream(path) << "old content";
    }

    static std::string read(const std::string& file)
    {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }
    std::string read() const { return read(path); }

    static struct stat statusOf(const std::string& file)
    {
        struct stat status = {};
        stat(file.c_str(), &status);
        return status;
    }
    ino_t inode() const { return statusOf(path).st_ino; }

    static ErrCode replace(const std::string& file, const std::string& content)
    {
        CFileEdit edit(file);
        const ErrCode code = edit.begin();
        return code != 0 ? code : edit.replace(content);
    }
    ErrCode replace(const std::string& content) const { return replace(path, content); }

    std::size_t filesInFolder() const
    {
        const std::filesystem::directory_iterator entries(directory.path());
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    const TemporaryDirectory directory;
    const std::string path = directory.path() / "file";
};

} // namespace

TEST_F(FileEdit, BringsTheFileToTheDiskBeforeItsNameAndThenTheName)
{
    const ino_t before = inode();
    systemCalls.failing = "rename";
    EXPECT_EQ(replace("new"), refused(5));
    EXPECT_EQ(systemCalls.synced.size(), 1U); // nothing gets the old one's name before this
    EXPECT_EQ(inode(), before);
    systemCalls = CSystemCalls();
    EXPECT_EQ(replace("new"), 0U);
    EXPECT_NE(inode(), before);
    EXPECT_EQ(read(), "new");
    EXPECT_THAT(systemCalls.synced, testing::ElementsAre(inode(), statusOf(directory.path()).st_ino));
}

TEST_F(FileEdit, WhateverIsRefusedTheOldFileStaysAndNothingIsLeftBehind)
{
    const ino_t before = inode();
    for (const bool hasUnnamedFiles : {true, false})
    {
        for (const char* call : {"create", "write", "fchmod", "fsync", "linkat", "rename"})
        {
            if (!hasUnnamedFiles && call == "linkat"s)
                continue;
            SCOPED_TRACE(call);
            systemCalls = CSystemCalls();
            systemCalls.hasUnnamedFiles = hasUnnamedFiles;
            systemCalls.failing = call;
            systemCalls.error = ENOSPC;
            EXPECT_EQ(replace("new content"), refused(28));
            EXPECT_EQ(read(), "old content");
            EXPECT_EQ(filesInFolder(), 1U);
        }
    }
    EXPECT_EQ(inode(), before);
}

TEST_F(FileEdit, WhatAKilledProcessLeavesTheNextOneTakesAway)
{
    const struct
    {
        const char* deadly;
        bool hasUnnamedFiles;
        std::size_t left;
    } rows[] = {
        {"fsync", true, 0}, {"linkat", true, 0}, {"rename", true, 1}, {"fsync", false, 1}, {"rename", false, 1}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.deadly);
        CChildProcess killed([&] {
            systemCalls.deadly = row.deadly;
            systemCalls.hasUnnamedFiles = row.hasUnnamedFiles;
            return replace("new") == 0 ? 0 : 1;
        });
        EXPECT_EQ(killed.wait(), 128 + SIGKILL);
        EXPECT_EQ(read(), "old content");
        EXPECT_EQ(filesInFolder(), 1 + row.left);
        EXPECT_EQ(replace("old content"), 0U);
        EXPECT_EQ(filesInFolder(), 1U);
    }
}

TEST_F(FileEdit, SignalsThatEndAProcessWaitAndThoseOfWritesAreErrors)
{
    const std::string link = directory.path() / "link";
    const std::string large(100000, 'x');
    CChildProcess limited([&] {
        const rlimit limit = {4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        if (replace(large) != refused(27))
            return 1;
        std::filesystem::create_hard_link(path, link); // now it is written in place
        return replace(large) == refused(27) ? 0 : 2;
    });
    EXPECT_EQ(limited.wait(), 0);
    EXPECT_EQ(read(), "old content");
    std::filesystem::remove(link);

    const ino_t before = inode();
    CChildProcess stopped([&] {
        for (;;)
            replace("new");
        return 0;
    });
    EXPECT_TRUE(waitUntil([&] { return inode() != before; }));
    stopped.kill(SIGTERM);
    EXPECT_EQ(stopped.wait(), 128 + SIGTERM);
    EXPECT_EQ(filesInFolder(), 1U);

    ASSERT_EQ(mkfifo(link.c_str(), 0600), 0);
    CFileEdit pipe(link);
    const int reader = open(link.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_EQ(pipe.begin(), 0U);
    close(reader);
    EXPECT_EQ(pipe.replace("nobody reads this"), refused(32));
}

TEST_F(FileEdit, KeepsOwnerModeAttributesAndSymbolicLinks)
{
    const bool isRoot = geteuid() == 0; // only root can have somebody else's
    chmod(path.c_str(), 0640);
    ASSERT_EQ(chown(path.c_str(), isRoot ? 12345 : geteuid(), static_cast<gid_t>(-1)), 0);
    const bool hasAttributes = setxattr(path.c_str(), "user.kiv", "kept", 4, 0) == 0;
    // Version 2: the owner reads and writes, user 54321 reads, the group, the mask and others as below.
    const unsigned char list[] = {2, 0,    0,    0,    1,    0,    6,    0, 0xFF, 0xFF, 0xFF, 0xFF, 2,    0,    4,
                                  0, 0x31, 0xD4, 0,    0,    4,    0,    4, 0,    0xFF, 0xFF, 0xFF, 0xFF, 0x10, 0,
                                  4, 0,    0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 0,    0,    0xFF, 0xFF, 0xFF, 0xFF};
    const bool hasList = setxattr(path.c_str(), "system.posix_acl_access", list, sizeof list, 0) == 0;
    const struct stat before = statusOf(path);
    const std::string link = directory.path() / "link";
    std::filesystem::create_symlink("file", link);
    EXPECT_EQ(replace(link, "new"), 0U);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    const struct stat after = statusOf(path);
    EXPECT_NE(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    char value[128] = {};
    EXPECT_TRUE(!hasAttributes || getxattr(path.c_str(), "user.kiv", value, sizeof value) == 4);
    EXPECT_TRUE(!hasList || getxattr(path.c_str(), "system.posix_acl_access", value, sizeof value) == sizeof list);

    // A link to a file that is not there yet makes it where it leads, with the mode that new files have.
    std::filesystem::remove(path);
    umask(027);
    EXPECT_EQ(replace(link, "made"), 0U);
    EXPECT_EQ(read(), "made");
    EXPECT_EQ(statusOf(path).st_mode & 07777, 0640U);
    EXPECT_EQ(filesInFolder(), 2U);
    std::filesystem::create_symlink("ring", directory.path() / "ring");
    EXPECT_EQ(replace(directory.path() / "ring", ""), refused(40));
    EXPECT_EQ(replace(directory.path(), ""), refused(21));
    EXPECT_EQ(replace(directory.path() / "no" / "file", ""), refused(2));
    EXPECT_EQ(replace("", ""), refused(2));
}

TEST_F(FileEdit, WritesInPlaceWhatCannotBeReplacedAndPutsTheOldContentBack)
{
    const ino_t before = inode();
    const std::string link = directory.path() / "link";
    std::filesystem::create_hard_link(path, link);
    EXPECT_EQ(replace("through a hard link, longer"), 0U);
    EXPECT_EQ(read(link), "through a hard link, longer");
    EXPECT_EQ(replace("shorter"), 0U);
    EXPECT_EQ(read(link), "shorter");
    systemCalls.failing = "write";
    systemCalls.error = ENOSPC;
    systemCalls.writtenBefore = 8;
    EXPECT_EQ(replace("does not fit"), refused(28));
    systemCalls = CSystemCalls();
    std::filesystem::remove(link);
    const struct
    {
        const char* refused;
        int error;
    } rows[] = {{"create", EACCES}, {"fchmod", EPERM}, {"linkat", EPERM}, {"rename", EBUSY}};
    for (const auto& row : rows)
    {
        systemCalls = CSystemCalls();
        systemCalls.failing = row.refused;
        systemCalls.error = row.error;
        EXPECT_EQ(replace(row.refused), 0U);
        EXPECT_EQ(read(), row.refused);
        EXPECT_EQ(filesInFolder(), 1U);
    }
    EXPECT_EQ(inode(), before);
    EXPECT_EQ(replace("/dev/full", "x"), refused(28));
    EXPECT_EQ(replace("/dev/null", "x"), 0U);
}

TEST_F(FileEdit, WritersTakeTurnsAndWaitOnlyAWhile)
{
    std::ofstream(path) << 0;
    const auto countUp = [this] {
        for (int i = 0; i < 50; ++i)
        {
            CFileEdit edit(path);
            std::string text;
            ASSERT_EQ(edit.begin(60000), 0U);
            ASSERT_EQ(edit.read(text), 0U);
            ASSERT_EQ(edit.replace(std::to_string(std::stoi(text) + 1)), 0U);
        }
    };
    CChildProcess other([&] {
        countUp();
        return 0;
    });
    std::thread third(countUp);
    countUp();
    third.join();
    other.wait();
    EXPECT_EQ(read(), "150");

    CFileEdit first(path);
    ASSERT_EQ(first.begin(), 0U);
    EXPECT_EQ(CFileEdit(directory.path() / "another").begin(1), refused(16));
    EXPECT_EQ(first.replace("first"), 0U);
    EXPECT_EQ(read(), "first");
}
