// What programs need around sysfs, on the simulated board with the answers of either kernel.
#include <kiv/linux_pwm.h>
#include <kiv/sysfs_tools.h>

#include <chrono>
#include <csignal>
#include <future>

#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/BoardAccess.h"
#include "support/WaitUntil.h"

using namespace Kiv;
using testing::ElementsAre;
using testing::StartsWith;

namespace
{

constexpr int generous = 20000; // milliseconds

bool isOldKernel() { return attribute("sim/state").find("kernel\t6.1\n") == 0; }

/// A test with an exported input that is low.
class SysfsTools : public COnBoard
{
protected:
    void SetUp() override
    {
        COnBoard::SetUp();
        if (IsSkipped())
            return;
        line = static_cast<unsigned int>(gpio_chip_base("9030000.pl061"));
        name = "gpio/gpio" + std::to_string(line);
        ASSERT_EQ(gpio_export(line), 0);
    }

    void drive(const char* level) const { setWorld("sim/" + name, level); }

    unsigned int line = 0;
    std::string name;
};

/// A wait without end in a thread of its own.
class CWaiting
{
public:
    explicit CWaiting(CGpioEdge& edge)
    {
        std::promise<pid_t> started;
        std::future<pid_t> number = started.get_future();
        result = std::async(std::launch::async, [&edge, told = std::move(started)]() mutable {
            told.set_value(static_cast<pid_t>(syscall(SYS_gettid)));
            return edge.wait(-1);
        });
        task = "/proc/self/task/" + std::to_string(number.get()) + "/syscall";
    }

    /// The thread is within poll(2).
    bool isAsleep() const
    {
        long call = -1;
        std::ifstream(task) >> call;
#ifdef KIV_TEST_EMULATOR
        constexpr long ppollOfPc = 271; // the kernel sees the emulator's calls
        if (call == ppollOfPc)
            return true;
#endif
#ifdef SYS_poll
        if (call == SYS_poll)
            return true;
#endif
        return call == SYS_ppoll || call == SYS_restart_syscall; // the latter once the process was stopped and goes on
    }

    std::future<int> result;

private:
    std::string task;
};

} // namespace

TEST_F(SysfsTools, ChipsAreFoundByLabelAndByDevice)
{
    const bool isOld = isOldKernel();
    EXPECT_EQ(gpio_chip_base("9030000.pl061"), isOld ? 504 : 512);
    EXPECT_EQ(gpio_chip_base("expander"), isOld ? 496 : 520);
    EXPECT_EQ(pwm_chip_number("fe20c000.pwm"), 0);
    EXPECT_EQ(pwm_chip_number("fe20d000.pwm"), isOld ? 3 : 1);
    for (const char* unknown : {"9030000", "fe20c000", "", static_cast<const char*>(nullptr)})
    {
        EXPECT_EQ(gpio_chip_base(unknown), -19);
        EXPECT_EQ(pwm_chip_number(unknown), -19);
    }
}

TEST_F(SysfsTools, OutputsBeginAtTheirLevel)
{
    const std::string direction = name + "/direction";
    for (int i = 0; i < 2; ++i) // from an input, from an output that is high already
    {
        accesses();
        EXPECT_EQ(gpio_set_output(line, PinValueHigh), 0);
        EXPECT_THAT(accesses(), ElementsAre("open " + direction + " w 0", "write " + direction + " high 4",
                                            "close " + direction + " - 0"));
        EXPECT_EQ(attribute("sim/" + name), "1\n");
    }
    EXPECT_EQ(gpio_set_output(line, PinValueLow), 0);
    EXPECT_EQ(attribute("sim/" + name), "0\n");
    setWorld("sim/faults", "open /sys/class/" + direction + " 1 ENXIO\nwrite /sys/class/" + direction + " 1 ENXIO\n");
    CChildProcess child([this] {
        return gpio_set_output(line, PinValueHigh) == -300 && gpio_set_output(line, PinValueHigh) == -300 ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.err(), "") << "nothing here prints";
}

TEST_F(SysfsTools, EdgesAreReportedOnce)
{
    for (const std::string kind : {"rising", "falling", "both"})
    {
        drive("0");
        ASSERT_EQ(gpio_set_edge(line, kind.c_str()), 0);
        drive("1");
        drive("0");
        CGpioEdge edge(line);
        ASSERT_EQ(edge.error(), 0);
        EXPECT_EQ(edge.wait(20), 0) << "what came before does not count";
        drive("1");
        EXPECT_EQ(edge.wait(kind == "falling" ? 20 : generous), kind == "falling" ? 0 : 1) << kind;
        drive("0");
        EXPECT_EQ(edge.wait(kind == "rising" ? 20 : generous), kind == "rising" ? 0 : 1) << kind;
        for (const char* level : {"1", "0", "1", "0"})
            drive(level);
        EXPECT_EQ(edge.wait(generous), 1) << "edges between two waits are kept, as one";
        EXPECT_EQ(edge.wait(20), 0);
        CWaiting waiting(edge);
        EXPECT_TRUE(waitUntil([&] { return waiting.isAsleep(); }));
        drive("1");
        drive("0");
        EXPECT_EQ(waiting.result.get(), 1);
    }
}

TEST_F(SysfsTools, SignalsDoNotEndAWait)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    CGpioEdge edge(line);
    std::atomic<bool> isDone{false};
    std::thread disturber([&isDone, target = pthread_self()] {
        while (!isDone)
        {
            pthread_kill(target, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    for (int i = 0; i < 10; ++i)
    {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(edge.wait(20), 0);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
    }
    isDone = true;
    disturber.join();
}

TEST_F(SysfsTools, AnotherThreadEndsTheWait)
{
    ASSERT_EQ(gpio_set_edge(line, "rising"), 0);
    CGpioEdge edge(line);
    CWaiting waiting(edge);
    EXPECT_TRUE(waitUntil([&] { return waiting.isAsleep(); }));
    edge.interrupt();
    EXPECT_EQ(waiting.result.get(), -36);
    drive("1");
    edge.interrupt();
    edge.interrupt();
    EXPECT_EQ(edge.wait(-1), -36) << "nobody waited";
    EXPECT_EQ(edge.wait(generous), 1) << "the edge is still there";
    EXPECT_EQ(edge.wait(20), 0);
}

TEST_F(SysfsTools, UnexportDoesNotWakeButIsSeenAfterwards)
{
    ASSERT_EQ(gpio_set_edge(line, "rising"), 0);
    CGpioEdge edge(line);
    CWaiting waiting(edge);
    EXPECT_TRUE(waitUntil([&] { return waiting.isAsleep(); }));
    ASSERT_EQ(gpio_unexport(line), 0);
    edge.interrupt();
    EXPECT_EQ(waiting.result.get(), -36);
    EXPECT_EQ(edge.wait(-1), -19);
    EXPECT_EQ(CGpioEdge(line).error(), -2);
    EXPECT_EQ(CGpioEdge(line).wait(-1), -2);
}

TEST_F(SysfsTools, AccessIsWaitedFor)
{
    const unsigned char chip = 0;
    pwm_export(chip, 1);
    const std::string channel = "pwm/pwmchip0/pwm1";
    const struct
    {
        std::string path;
        std::function<int(unsigned int)> wait;
    } rows[] = {
        {name + "/direction", [this](unsigned int ms) { return gpio_wait_access(line, ms); }},
        {name + "/value", [this](unsigned int ms) { return gpio_wait_access(line, ms); }},
        {channel + "/period", [](unsigned int ms) { return pwm_wait_access(chip, 1, ms); }},
        {channel + "/duty_cycle", [](unsigned int ms) { return pwm_wait_access(chip, 1, ms); }},
        {channel + "/polarity", [](unsigned int ms) { return pwm_wait_access(chip, 1, ms); }},
        {channel + "/enable", [](unsigned int ms) { return pwm_wait_access(chip, 1, ms); }},
    };
    for (const auto& row : rows)
    {
        const std::string order = "open /sys/class/" + row.path;
        setWorld("sim/faults", order + " 1-3 EACCES\n");
        EXPECT_EQ(row.wait(0), -13) << row.path;
        EXPECT_EQ(row.wait(generous), 0) << row.path;
        setWorld("sim/faults", order + " EACCES\n");
        EXPECT_EQ(row.wait(5), -13) << row.path;
    }
    EXPECT_THAT(accesses("write"), Not(testing::Contains(StartsWith("write " + name)))) << "looking writes nothing";
    EXPECT_EQ(gpio_wait_access(line + 1, 1), -2);
    EXPECT_EQ(pwm_wait_access(chip, 2, 1), -2);
}

TEST_F(SysfsTools, OrdinaryUsersWaitForUdev)
{
    constexpr uid_t nobody = 65534;
    int told[2];
    ASSERT_EQ(pipe(told), 0);
    CChildProcess child([&] {
        if (setgid(nobody) != 0 || setuid(nobody) != 0)
            return 2;
        const bool isRefused = gpio_wait_access(line, 0) == -13;
        return ::write(told[1], "", 1) == 1 && isRefused && gpio_wait_access(line, generous) == 0 ? 0 : 1;
    });
    close(told[1]);
    char byte = 0;
    const bool isWaiting = read(told[0], &byte, 1) == 1;
    close(told[0]);
    for (const char* file : {"/direction", "/value"})
        chmod(("/sys/class/" + name + file).c_str(), 0666);
    const int status = child.wait();
    if (status == 2)
        GTEST_SKIP() << "there is no other user in a user namespace";
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(isWaiting);
}
