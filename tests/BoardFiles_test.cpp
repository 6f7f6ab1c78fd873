// The simulated board through real system calls: what the file system adds to the model.
#include "support/OnBoard.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <future>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;

int main(int argc, char** argv)
{
    moveOntoBoard(KIV_BOARD, {}, argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}

namespace
{

using BoardFiles = COnBoard;

const std::string gpio = "/sys/class/gpio/";
const std::string line = gpio + "gpio504/";
const std::string world = "/sys/class/sim/gpio/gpio504";

/// A descriptor that is closed in time.
class CFile
{
public:
    CFile(const std::string& path, int flags) : descriptor(::open(path.c_str(), flags | O_CLOEXEC, 0644)), error(errno)
    {}
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;
    ~CFile()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }

    /// The number of bytes or the negated errno value.
    int write(const std::string& bytes) const
    {
        if (descriptor < 0)
            return -error;
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        return count < 0 ? -errno : static_cast<int>(count);
    }

    int read(std::string& bytes, std::size_t size = 100) const
    {
        bytes.assign(size, '\0');
        const ssize_t count = descriptor < 0 ? -1 : ::read(descriptor, bytes.data(), size);
        const int result = count >= 0 ? static_cast<int>(count) : descriptor < 0 ? -error : -errno;
        bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return result;
    }

    /// The events that are there within some milliseconds, -1 for as long as it takes.
    int poll(int events, int msecs) const
    {
        pollfd file = {descriptor, static_cast<short>(events), 0};
        return ::poll(&file, 1, msecs) > 0 ? file.revents : 0;
    }

    int descriptor;
    int error;
};

int write(const std::string& path, const std::string& bytes, int flags = O_WRONLY)
{
    return CFile(path, flags).write(bytes);
}

std::string read(const std::string& path)
{
    std::string text;
    return CFile(path, O_RDONLY).read(text, 8192) < 0 ? "error" : text;
}

void exportLine() { ASSERT_EQ(write(gpio + "export", "504"), 3); }

mode_t modeOf(const std::string& path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

/// Runs `check` as an ordinary user, in a process of its own. False when that cannot be: within a user namespace.
bool passesAsNobody(const std::function<bool()>& check, bool& isPassed)
{
    constexpr uid_t nobody = 65534;
    const pid_t child = fork();
    if (child == 0)
        _exit(setgid(nobody) != 0 || setuid(nobody) != 0 ? 2 : check() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    isPassed = status == 0;
    return !WIFEXITED(status) || WEXITSTATUS(status) != 2;
}

} // namespace

TEST_F(BoardFiles, ExportedLinesAreLinksToFoldersThatAreThereAtOnce)
{
    for (int i = 0; i < 50; ++i)
    {
        ASSERT_EQ(write(gpio + "export", "504\n"), 4);
        ASSERT_EQ(read(line + "value"), "0\n") << i;
        ASSERT_EQ(write(gpio + "unexport", "504\n"), 4);
        ASSERT_EQ(write(line + "value", "0"), -ENOENT) << i;
    }
    exportLine();
    EXPECT_TRUE(S_ISLNK(modeOf(gpio + "gpio504")));
    char resolved[PATH_MAX] = {};
    EXPECT_STREQ(realpath((gpio + "gpio504").c_str(), resolved), "/sys/devices/platform/9030000.pl061/gpio/gpio504");
    EXPECT_STREQ(realpath((line + "device").c_str(), resolved), "/sys/devices/platform/9030000.pl061");
    EXPECT_STREQ(realpath((line + "subsystem").c_str(), resolved), "/sys/class/gpio");
    EXPECT_EQ(modeOf(gpio + "export"), static_cast<mode_t>(S_IFREG | 0200));
    EXPECT_EQ(modeOf(line + "value"), static_cast<mode_t>(S_IFREG | 0644));
    EXPECT_EQ(modeOf(gpio + "gpiochip504/ngpio"), static_cast<mode_t>(S_IFREG | 0444));
    struct stat status = {};
    EXPECT_EQ(stat((line + "value").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 4096);
}

TEST_F(BoardFiles, WritesArriveByteByByteAndNeverMakeFiles)
{
    exportLine();
    EXPECT_EQ(write(line + "direction", "high\0"s), 5);
    EXPECT_EQ(write(line + "value", "0", O_WRONLY | O_CREAT | O_TRUNC), 1);
    EXPECT_EQ(read(line + "value"), "0\n");
    {
        const CFile value(line + "value", O_RDWR | O_APPEND);
        EXPECT_EQ(value.write("1"), 1);
        struct stat status = {};
        EXPECT_EQ(fstat(value.descriptor, &status), 0);
        EXPECT_EQ(status.st_size, 4096);
        EXPECT_EQ(value.write("true"), -EINVAL);
        EXPECT_EQ(value.write(""), 0);
        std::string text;
        EXPECT_EQ(lseek(value.descriptor, 0, SEEK_SET), 0);
        EXPECT_EQ(value.read(text), 2);
        EXPECT_EQ(text, "1\n");
        EXPECT_EQ(value.read(text), 0);
    }
    EXPECT_EQ(write(line + "value", std::string(5000, '0')), 4096);
    EXPECT_EQ(write(gpio + "export", "505", O_RDWR), -EACCES);
    EXPECT_EQ(write(gpio + "gpio9", "1", O_WRONLY | O_CREAT), -EACCES);
    EXPECT_EQ(write(gpio + "gpio9", "1"), -ENOENT);
    EXPECT_EQ(write(gpio, "1"), -EISDIR);
    EXPECT_EQ(unlink((line + "value").c_str()), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(mkdir((gpio + "x").c_str(), 0755), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(rename((line + "value").c_str(), (line + "x").c_str()), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST_F(BoardFiles, PollWaitsForTheOuterWorld)
{
    exportLine();
    ASSERT_EQ(write(line + "edge", "rising"), 6);
    const CFile value(line + "value", O_RDONLY | O_NONBLOCK);
    std::string text;
    EXPECT_EQ(value.poll(POLLPRI, 0), POLLPRI | POLLERR);
    EXPECT_EQ(value.poll(POLLIN, 0) & POLLIN, POLLIN);
    for (int i = 0; i < 20; ++i)
    {
        ASSERT_EQ(pread(value.descriptor, text.data(), 1, 0), 1);
        auto waiting = std::async(std::launch::async, [&] { return value.poll(POLLPRI, -1); });
        if (i % 2 == 0)
            std::this_thread::yield();
        EXPECT_EQ(write(world, "1"), 1);
        EXPECT_EQ(waiting.get(), POLLPRI | POLLERR);
        EXPECT_EQ(write(world, "0"), 1);
    }
    ASSERT_EQ(pread(value.descriptor, text.data(), 1, 0), 1);
    EXPECT_EQ(write(world, "0"), 1);
    EXPECT_EQ(value.poll(POLLPRI, 0), 0);
}

TEST_F(BoardFiles, UnexportEndsDescriptorsForGood)
{
    exportLine();
    const CFile value(line + "value", O_RDWR);
    std::string text;
    EXPECT_EQ(value.read(text), 2);
    EXPECT_EQ(write(gpio + "unexport", "504"), 3);
    EXPECT_EQ(value.poll(POLLPRI, 0), POLLPRI | POLLERR);
    EXPECT_EQ(value.write("1"), -ENODEV);
    exportLine();
    EXPECT_EQ(value.read(text), -ENODEV) << "the line exported anew is another one";
    EXPECT_EQ(read(line + "value"), "0\n");
}

TEST_F(BoardFiles, OrdinaryUsersReadAndUdevMayLetThemWrite)
{
    exportLine();
    ASSERT_EQ(write(line + "direction", "out"), 3);
    bool isPassed = false;
    if (!passesAsNobody(
            [] {
                return write(gpio + "export", "505") == -EACCES && write(line + "value", "1") == -EACCES &&
                       read(line + "value") == "0\n";
            },
            isPassed))
        GTEST_SKIP() << "there is no other user in a user namespace";
    EXPECT_TRUE(isPassed);
    EXPECT_EQ(chmod((line + "value").c_str(), 0666), 0);
    EXPECT_TRUE(passesAsNobody([] { return write(line + "value", "1") == 1; }, isPassed) && isPassed);
    EXPECT_EQ(write(gpio + "unexport", "504"), 3);
    exportLine();
    EXPECT_TRUE(passesAsNobody([] { return write(line + "value", "1") == -EACCES; }, isPassed) && isPassed);
}

TEST_F(BoardFiles, JournalAndFaultsSeeSystemCalls)
{
    EXPECT_EQ(write("/sys/class/sim/faults", "write /sys/class/pwm/pwmchip0/export 2 EIO\n"), 43);
    EXPECT_EQ(write("/sys/class/pwm/pwmchip0/export", "1\0"s), 2);
    EXPECT_EQ(write("/sys/devices/platform/fe20c000.pwm/pwm/pwmchip0/export", "0"), -EIO);
    EXPECT_EQ(read("/sys/class/pwm/pwmchip0/pwm1/period"), "0\n");
    EXPECT_EQ(read("/sys/class/sim/journal"), "open /sys/class/pwm/pwmchip0/export w 0\n"
                                              "write /sys/class/pwm/pwmchip0/export 3100 2\n"
                                              "close /sys/class/pwm/pwmchip0/export - 0\n"
                                              "open /sys/class/pwm/pwmchip0/export w 0\n"
                                              "write /sys/class/pwm/pwmchip0/export 30 -EIO\n"
                                              "close /sys/class/pwm/pwmchip0/export - 0\n"
                                              "open /sys/class/pwm/pwmchip0/pwm1/period r 0\n"
                                              "read /sys/class/pwm/pwmchip0/pwm1/period 300a 2\n"
                                              "close /sys/class/pwm/pwmchip0/pwm1/period - 0\n");
    EXPECT_EQ(write("/sys/class/sim/journal", "", O_WRONLY | O_TRUNC), 0);
    EXPECT_EQ(read("/sys/class/sim/journal"), "");
    EXPECT_EQ(read("/sys/class/net/lo/ifindex"), "1\n") << "the machine's other classes are there as before";
}
