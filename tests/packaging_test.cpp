// What is installed beside the library: logging for the journal, the udev rule's helper, the unit.

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace
{

namespace fs = std::filesystem;

const fs::path packaging = PACKAGING;
const std::string helper = packaging / "udev/kiv-sysfs-access";

std::string contentOf(const fs::path& path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/// A folder of sysfs as the kernel makes it: the files of the class, of chips, a line and a channel, closed to the
/// group.
class SysfsAccess : public testing::Test
{
protected:
    SysfsAccess()
    {
        for (const char* file : {"gpio/export", "gpio/unexport", "pwmchip0/export", "pwmchip0/unexport"})
            make(file, 0200);
        for (const char* file : {"gpio512/direction", "gpio512/value", "gpio512/edge", "gpio512/active_low",
                                 "gpio513/value", "pwmchip0/pwm1/period", "pwmchip0/pwm1/duty_cycle",
                                 "pwmchip0/pwm1/polarity", "pwmchip0/pwm1/enable", "gpio512/uevent"})
            make(file, 0644);
        make("gpiochip512/base", 0444);
        make("pwmchip0/pwm1/capture", 0444);
        fs::create_directory_symlink("../gpio", root / "gpiochip512/subsystem");
    }

    void make(const fs::path& file, mode_t mode) const
    {
        fs::create_directories((root / file).parent_path());
        std::ofstream(root / file) << "";
        chmod((root / file).c_str(), mode);
    }

    /// The files that the group may write, after the helper has seen a device.
    std::set<std::string> writableAfter(const std::string& device) const
    {
        CChildProcess child({helper, std::to_string(group), root / device});
        EXPECT_EQ(child.wait(), 0) << child.err();
        EXPECT_EQ(child.out() + child.err(), "");
        std::set<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(root))
        {
            struct stat status
            {};
            lstat(entry.path().c_str(), &status);
            if (S_ISREG(status.st_mode) && (status.st_mode & S_IWGRP) && status.st_gid == group)
                files.insert(fs::relative(entry.path(), root));
        }
        return files;
    }

    const TemporaryDirectory directory;
    const fs::path root = directory.path() / "with blank";
    const gid_t group = getuid() == 0 ? 4242 : getgid();
};

} // namespace

TEST(Packaging, JournalLinesHaveTheirPriorityAndNoTime)
{
    CChildProcess byDefault({APPLICATION_CHILD, "log-levels", packaging / "journald.properties"});
    EXPECT_EQ(byDefault.wait(), 0);
    EXPECT_EQ(byDefault.out(), "");
    EXPECT_EQ(byDefault.err(),
              "<2>DiagLogger: FATAL\n<3>DiagLogger: ERROR\n<4>DiagLogger: WARN\n<6>DiagLogger: INFO\n");

    const TemporaryDirectory directory;
    const std::string everything = directory.path() / "all.properties";
    std::ofstream(everything) << contentOf(packaging / "journald.properties") << "log4cplus.logger.DiagLogger=TRACE\n";
    CChildProcess all({APPLICATION_CHILD, "log-levels", everything});
    EXPECT_EQ(all.wait(), 0);
    EXPECT_EQ(all.err(), byDefault.err() + "<7>DiagLogger: DEBUG\n<7>DiagLogger: TRACE\n");
}

TEST_F(SysfsAccess, GroupGetsWhatProgramsWriteAndNothingElse)
{
    std::set<std::string> expected = {"gpio/export", "gpio/unexport"};
    EXPECT_EQ(writableAfter("gpiochip512"), expected);
    expected.insert({"gpio512/active_low", "gpio512/direction", "gpio512/edge", "gpio512/value"});
    EXPECT_EQ(writableAfter("gpio512"), expected);
    expected.insert("gpio513/value"); // a line without direction and interrupt
    EXPECT_EQ(writableAfter("gpio513"), expected);
    expected.insert({"pwmchip0/export", "pwmchip0/unexport", "pwmchip0/pwm1/duty_cycle", "pwmchip0/pwm1/enable",
                     "pwmchip0/pwm1/period", "pwmchip0/pwm1/polarity"});
    EXPECT_EQ(writableAfter("pwmchip0"), expected);
}

TEST_F(SysfsAccess, BadCallsAreRefused)
{
    CChildProcess missing({helper, "gpio", root / "gpio99"});
    EXPECT_EQ(missing.wait(), 2);
    CChildProcess stranger({helper, "no such group", root / "gpio512"});
    EXPECT_EQ(stranger.wait(), 1);
    struct stat status
    {};
    stat((root / "gpio512/value").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777U, 0644U) << "the old group was let in";
}

TEST(Packaging, UnitIsAccepted)
{
    const TemporaryDirectory directory;
    std::string unit = contentOf(packaging / "kiv-controller.service");
    const std::string program = "/opt/kiv-controller/pump_station";
    ASSERT_NE(unit.find(program), unit.npos);
    unit.replace(unit.find(program), program.size(), "/bin/true");
    const std::string path = directory.path() / "kiv-controller.service";
    std::ofstream(path) << unit;
    CChildProcess child({"sh", "-c",
                         "command -v systemd-analyze > /dev/null || exit 125; "
                         "exec systemd-analyze verify --man=no --recursive-errors=no \"$0\"",
                         path});
    if (child.wait() == 125)
        GTEST_SKIP() << "no systemd-analyze here";
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.err(), "");
}
