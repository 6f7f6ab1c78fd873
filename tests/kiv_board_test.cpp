// kiv-board as a program: statuses, signals, what stays behind, and the panel.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{

std::string fileText(const std::string& path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// Gone, or dead and only not asked for by its parent.
bool isGone(const std::string& pid)
{
    const std::string status = fileText("/proc/" + pid + "/stat");
    return status.empty() || status.find(") Z ") != std::string::npos;
}

/// A test that runs commands on a board.
class BoardProgram : public testing::Test
{
protected:
    void SetUp() override
    {
        CChildProcess probe({KIV_BOARD, "run", "--", "true"});
        if (probe.wait() == 125)
            GTEST_SKIP() << probe.err();
    }

    /// Starts a shell script on a board; the script finds the directory of the test as $1.
    std::vector<std::string> onBoard(const std::string& script) const
    {
        return {KIV_BOARD, "run", "--", "sh", "-c", script, "sh", directory.path()};
    }

    std::string path(const char* name) const { return directory.path() / name; }

    TemporaryDirectory directory;
};

} // namespace

TEST_F(BoardProgram, EndsWithTheCommandsStatus)
{
    struct Case
    {
        std::vector<std::string> command;
        int status;
    };
    for (const Case& expected : {Case{{"sh", "-c", "exit 7"}, 7}, Case{{"sh", "-c", "kill -KILL $$"}, 137},
                                 Case{{"/no/such/command"}, 127}, Case{{"/"}, 126}, Case{{"true"}, 0}})
    {
        std::vector<std::string> arguments = {KIV_BOARD, "run", "--"};
        arguments.insert(arguments.end(), expected.command.begin(), expected.command.end());
        EXPECT_EQ(CChildProcess(arguments).wait(), expected.status) << expected.command[0];
    }
}

TEST_F(BoardProgram, PassesStreamsAndArgumentsThrough)
{
    CChildProcess board({KIV_BOARD, "run", "--", "sh", "-c", "echo \"$@\"; echo err >&2", "sh", "--", "a b", "-x"});
    EXPECT_EQ(board.wait(), 0);
    EXPECT_EQ(board.out(), "-- a b -x\n");
    EXPECT_EQ(board.err(), "err\n");
}

TEST_F(BoardProgram, SignalsReachTheCommandAndNothingStays)
{
    const std::string mounts = fileText("/proc/self/mounts");
    for (const int signal : {SIGTERM, SIGINT, SIGKILL})
    {
        const std::string pidFile = path(std::to_string(signal).c_str());
        const std::string started = pidFile + ".started";
        // Without a command of its own at the end: bash goes on when SIGINT comes while it waits for one.
        CChildProcess board(onBoard("echo $$ > " + pidFile + "; : > " + started + "; exec sleep 100"));
        ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(started); }));
        std::string pid = fileText(pidFile);
        pid.pop_back();
        board.kill(signal);
        EXPECT_EQ(board.wait(), 128 + signal);
        EXPECT_TRUE(waitUntil([&] { return isGone(pid); })) << signal;
    }
    EXPECT_EQ(fileText("/proc/self/mounts"), mounts);
}

TEST_F(BoardProgram, CommandsMayEndOrderlyOnASignal)
{
    CChildProcess board(onBoard("trap 'exit 5' TERM; echo x > $1/started; while true; do sleep 0.1; done"));
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(path("started")); }));
    board.kill(SIGTERM);
    EXPECT_EQ(board.wait(), 5);
}

TEST_F(BoardProgram, ServerThatCannotWaitAnyLongerEndsItsCommand)
{
    // poll(2) takes no more descriptors than the process may open.
    CChildProcess board(onBoard("echo $$ > $1/pid; prlimit --pid $PPID --nofile=1:1 && cat /sys/class/sim/state; "
                                "exec sleep 100"));
    const int status = board.wait();
#ifndef __SANITIZE_ADDRESS__ // whose checks would need descriptors while the board goes
    EXPECT_EQ(status, 128 + SIGKILL);
#endif
    EXPECT_NE(status, 0);
    EXPECT_THAT(board.err(), HasSubstr("kiv-board: cannot wait for requests: Invalid argument\n"));
    std::string pid = fileText(path("pid"));
    pid.pop_back();
    EXPECT_TRUE(waitUntil([&] { return isGone(pid); }));
}

TEST_F(BoardProgram, WhatOutlivesTheCommandLosesTheBoard)
{
    CChildProcess board(onBoard("(until test -e $1/ended; do sleep 0.1; done; ls -d /sys/class/sim; "
                                "ls -d /sys/devices/platform) > $1/out 2>&1 & exit 0"));
    EXPECT_EQ(board.wait(), 0);
    std::ofstream(path("ended")) << "x";
    EXPECT_TRUE(
        waitUntil([&] { return fileText(path("out")).find("\n/sys/devices/platform\n") != std::string::npos; }));
    EXPECT_THAT(fileText(path("out")), HasSubstr("No such file or directory"));
}

TEST_F(BoardProgram, OrdinaryUsersGetABoardByUserNamespaces)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "all the other tests show it when they are run by an ordinary user";
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    // The program is copied: the folder that it was built in need not be open to others.
    const std::string script = "mount -t tmpfs -o dev none \"$1\" && mknod -m 666 \"$1/fuse\" c 10 229 && "
                               "mount --bind \"$1/fuse\" /dev/fuse && cp \"$2\" \"$3\" \"$1\" && cd / && "
                               "export LD_LIBRARY_PATH=\"$1\" && "
                               "exec setpriv --reuid=65534 --regid=65534 --clear-groups \"$1/kiv-board\" run -- "
                               "sh -c 'echo 504 > /sys/class/gpio/export && cat /sys/class/gpio/gpio504/value'";
    CChildProcess board({"unshare", "-m", "sh", "-c", script, "sh", directory.path(), KIV_BOARD, KIV_LIBRARY});
    const int status = board.wait();
    if (status == 125 && board.err().find("user namespace") != std::string::npos)
        GTEST_SKIP() << board.err();
    EXPECT_EQ(status, 0) << board.err();
    EXPECT_EQ(board.out(), "0\n");
}

TEST_F(BoardProgram, WithoutFuseOneLineSaysSo)
{
    CChildProcess board({"unshare", geteuid() == 0 ? "-m" : "-Urm", "sh", "-c",
                         "mount --bind /dev/null /dev/fuse && exec \"$1\" run -- echo ran", "sh", KIV_BOARD});
    EXPECT_EQ(board.wait(), 125);
    EXPECT_EQ(board.out(), "");
    EXPECT_THAT(board.err(), AllOf(StartsWith("kiv-board: no simulated board here: "), EndsWith("\n")));
    EXPECT_EQ(board.err().find('\n'), board.err().size() - 1);
}

TEST_F(BoardProgram, PanelDrawsTheBoard)
{
    std::ofstream(path("board.ini")) << "[gpio]\nlines=2\nnames=float_switch,lamp\n[adc]\nlevel=2048\n";
    const std::string script = "cd /sys/class; echo 511 > gpio/export; echo high > gpio/gpio511/direction; "
                               "echo 0 > pwm/pwmchip0/export; cd pwm/pwmchip0/pwm0; echo 20000 > period; "
                               "echo 5000 > duty_cycle; echo 1 > enable; \"$1\" panel";
    CChildProcess board({KIV_BOARD, "run", "--config", path("board.ini"), "--", "sh", "-c", script, "sh", KIV_BOARD});
    EXPECT_EQ(board.wait(), 0) << board.err();
    EXPECT_EQ(board.out(), "kiv-board, answers of kernel 6.1\n"
                           "\n"
                           "GPIO gpio\n"
                           "  510  float_switch      -> in   [ ] 0  (free)\n"
                           "  511  lamp              <- out  [#] 1\n"
                           "\n"
                           "PWM fe20c000.pwm (pwmchip0)\n"
                           "  pwm0   [########......................]  25.0 %  on   50000 Hz\n"
                           "  pwm1   [..............................]   0.0 %  off  no period\n"
                           "\n"
                           "ADC\n"
                           "  level                  2048\n");
}

TEST_F(BoardProgram, PanelLooksIntoARunningBoard)
{
    // The command, and the program itself, which is the parent of the command's parent.
    CChildProcess board(
        onBoard("while read name value; do [ $name != PPid: ] || program=$value; done < /proc/$PPID/status;"
                "echo $$ $program > $1/new; mv $1/new $1/pids; exec sleep 100"));
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(path("pids")); }));
    std::ifstream pids(path("pids"));
    for (std::string pid; pids >> pid;)
    {
        CChildProcess panel({KIV_BOARD, "panel", "--pid", pid});
        EXPECT_EQ(panel.wait(), 0) << panel.err();
        EXPECT_THAT(panel.out(), HasSubstr("PWM fe20c000.pwm"));
    }
}

TEST(BoardCommandLine, HelpIsThereBehindTheSubcommandsToo)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{KIV_BOARD, "--help"}, {KIV_BOARD, "run", "--help"}, {KIV_BOARD, "panel", "--help"}})
    {
        CChildProcess board(arguments);
        EXPECT_EQ(board.wait(), 0) << board.err();
        EXPECT_THAT(board.out(), StartsWith("Usage: kiv-board run"));
    }
}

TEST(BoardCommandLine, WrongCallsAndFilesEndWithTwo)
{
    const TemporaryDirectory directory;
    const std::string ini = directory.path() / "board.ini";
    std::ofstream(ini) << "[gpio]\nlines=x\n";
    struct Case
    {
        std::vector<std::string> arguments;
        std::string error;
    };
    for (const Case& wrong :
         {Case{{}, "run, panel or --help is needed"}, Case{{"run"}, "run: a command is missing; see kiv-board --help"},
          Case{{"run", "true"}, "run: unknown argument true; see kiv-board --help"},
          Case{{"panel", "--pid", "x"}, "panel: wrong arguments; see kiv-board --help"},
          Case{{"run", "--config", ini, "--", "true"}, ini + ": [gpio] lines=x: a number from 1 to 1024 is needed"},
          Case{{"run", "--config", ini + "x", "--", "true"}, ini + "x: No such file or directory"}})
    {
        std::vector<std::string> arguments = {KIV_BOARD};
        arguments.insert(arguments.end(), wrong.arguments.begin(), wrong.arguments.end());
        CChildProcess board(arguments);
        EXPECT_EQ(board.wait(), 2);
        EXPECT_EQ(board.err(), "kiv-board: " + wrong.error + "\n");
    }
    CChildProcess lost({KIV_BOARD, "panel"});
    EXPECT_EQ(lost.wait(), 1);
    EXPECT_THAT(lost.err(), HasSubstr("no simulated board here"));
}
