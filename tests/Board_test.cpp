// The simulated board's answers, access by access, as kernels 6.1 and 6.12 give them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>

#include "support/BoardUser.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace
{

Sim::BoardConfig newKernel()
{
    Sim::BoardConfig config = Sim::defaultBoard();
    config.kernel = Sim::Kernel612;
    config.pwm[0].kernel = Sim::Kernel612;
    return config;
}

constexpr const char* dir = "gpio/gpio504/direction";
constexpr const char* val = "gpio/gpio504/value";
constexpr const char* edg = "gpio/gpio504/edge";
constexpr const char* low = "gpio/gpio504/active_low";
constexpr const char* world = "sim/gpio/gpio504";
constexpr const char* duty = "pwm/pwmchip0/pwm0/duty_cycle";

} // namespace

TEST(BoardGpio, ExportTakesNumbersAsTheKernelReadsThem)
{
    for (const std::string& text : {"505"s, "505\n"s, "505\0"s, "505\n\0"s, "+505"s, "0x1f9"s, "0X1F9"s, "0771"s})
    {
        CUser user;
        EXPECT_EQ(user.write("gpio/export", text), static_cast<int>(text.size())) << text;
        EXPECT_EQ(user.read("gpio/gpio505/value"), "0\n") << text;
        EXPECT_EQ(user.write("gpio/unexport", text), static_cast<int>(text.size())) << text;
        EXPECT_EQ(user.read("gpio/gpio505/value"), "-ENOENT") << text;
    }
    CUser user;
    for (const std::string& text : {" 505"s, "505 "s, "505\n\n"s, "505x"s, "505,506"s, "abc"s, "-1"s, "\n"s, "\0"s,
                                    "+"s, "0x"s, "08"s, "503"s, "512"s})
        EXPECT_EQ(user.write("gpio/export", text), -EINVAL) << text;
    // Too large, also where 64 bits would wrap to a line's number, and whatever follows the digits.
    for (const char* text :
         {"9223372036854775808", "18446744073709552121", "184467440737095521210", "0x1f9000000000001f9",
          "0x100000000000000000000000000001f9", "02000000000000000000771", "18446744073709552121x"})
        EXPECT_EQ(user.write("gpio/export", text), -ERANGE) << text;
}

TEST(BoardGpio, LinesAreExportedOnceAndNotFromDrivers)
{
    Sim::BoardConfig config = Sim::defaultBoard();
    config.gpio[0].held = {3};
    CUser user(config);
    play(user, {wr("gpio/export", "504"), refused("gpio/export", "504", EBUSY), refused("gpio/export", "507", EBUSY),
                rd("gpio/gpio507/value", "-ENOENT"), refused("gpio/unexport", "507", EINVAL),
                refused("gpio/unexport", "505", EINVAL), refused("gpio/unexport", "9999", EINVAL),
                wr("gpio/unexport", "504"), refused("gpio/unexport", "504", EINVAL)});
    const auto file = user.open("gpio/export", O_WRONLY);
    EXPECT_EQ(user.board.write(*file, "505"), 3);
    EXPECT_EQ(user.board.write(*file, "506"), 3);
}

TEST(BoardGpio, DirectionTakesFourWordsAndOutMeansLow)
{
    for (const std::string& word : {"in"s, "out"s, "high"s, "low"s})
        for (const std::string& end : {""s, "\n"s, "\0"s, "\n\0"s})
        {
            CUser user;
            play(user, {wr("gpio/export", "504"), wr(dir, "high"), wr(dir, word + end),
                        rd(dir, word == "in" ? "in\n" : "out\n"), rd(val, word == "high" ? "1\n" : "0\n")});
        }
    CUser user;
    user.write("gpio/export", "504");
    for (const std::string& text : {" out"s, "out "s, "OUT"s, "outx"s, "1"s, "\0"s, "out\n\n"s, "ou"s})
        EXPECT_EQ(user.write(dir, text), -EINVAL) << text;
}

TEST(BoardGpio, ValueOfOutputsIsAnyNumberAndOfInputsReadOnly)
{
    CUser user;
    play(user, {wr("gpio/export", "504"),
                refused(val, "1", EPERM),
                refused(val, "true", EPERM),
                wr(dir, "out"),
                wr(val, "1"),
                rd(val, "1\n"),
                wr(val, "0\n"),
                rd(val, "0\n"),
                wr(val, "1\0"s),
                rd(val, "1\n"),
                wr(val, "0"),
                wr(val, "2"),
                rd(val, "1\n"),
                wr(val, "0"),
                wr(val, "-1"),
                rd(val, "1\n"),
                wr(val, "0"),
                wr(val, "10"),
                rd(val, "1\n"),
                wr(val, "0"),
                wr(val, "0x1"),
                rd(val, "1\n"),
                rd(world, "1\n"),
                refused(val, "true", EINVAL),
                refused(val, " 0", EINVAL),
                refused(val, "0 ", EINVAL),
                refused(val, "\0"s, EINVAL),
                refused(world, "0", EPERM),
                wr(dir, "out"),
                rd(val, "0\n"),
                wr(dir, "in"),
                wr(world, "1"),
                rd(val, "1\n"),
                refused(world, "x", EINVAL),
                rd(val, "1\n")});
}

TEST(BoardGpio, ReadingGoesOnWhereItStoodAndBeginsAnewAtTheStart)
{
    CUser user;
    play(user, {wr("gpio/export", "504"), wr(world, "1")});
    const auto file = user.open(val);
    std::string bytes;
    EXPECT_EQ(user.board.read(*file, 0, 1, bytes), 1);
    user.write(world, "0");
    EXPECT_EQ(user.board.read(*file, 1, 10, bytes), 1);
    EXPECT_EQ(bytes, "\n");
    EXPECT_EQ(user.board.read(*file, 2, 10, bytes), 0);
    EXPECT_EQ(user.board.read(*file, 0, 10, bytes), 2);
    EXPECT_EQ(bytes, "0\n");
}

TEST(BoardGpio, ActiveLowTurnsValueAndEdgeButNotTheDirectionsLevel)
{
    CUser user;
    play(user, {wr("gpio/export", "504"), rd(low, "0\n"), wr(low, "5"), rd(low, "1\n"), refused(low, "x", EINVAL),
                wr(dir, "high"), rd(val, "0\n"), rd(world, "1\n"), wr(val, "1"), rd(world, "0\n"), wr(dir, "in"),
                wr(world, "1"), rd(val, "0\n"), wr(edg, "rising")});
    const auto file = user.open(val);
    std::string bytes;
    user.board.read(*file, 0, 2, bytes);
    user.write(world, "0");
    EXPECT_NE(file->poll({}) & POLLPRI, 0);
    user.board.read(*file, 0, 2, bytes);
    user.write(world, "1");
    EXPECT_EQ(file->poll({}) & POLLPRI, 0);
}

TEST(BoardGpio, EdgeIsForInputs)
{
    CUser user;
    play(user,
         {wr("gpio/export", "504"), rd(edg, "none\n"), wr(edg, "rising"), rd(edg, "rising\n"), wr(edg, "falling\n"),
          rd(edg, "falling\n"), wr(edg, "both\0"s), rd(edg, "both\n"), refused(edg, "all", EINVAL), wr(dir, "out"),
          rd(edg, "none\n"), refused(edg, "both", EIO), wr(edg, "none"), rd(edg, "none\n")});
}

TEST(BoardGpio, PollTellsChangesByEdgeOnceUntilTheyAreRead)
{
    struct Case
    {
        const char* edge;
        bool isRisingTold;
        bool isFallingTold;
    };
    for (const Case& expected : {Case{"none", false, false}, Case{"rising", true, false}, Case{"falling", false, true},
                                 Case{"both", true, true}})
    {
        SCOPED_TRACE(expected.edge);
        CUser user;
        play(user, {wr("gpio/export", "504"), wr(edg, expected.edge)});
        const auto file = user.open(val);
        std::string bytes;
        const int changed = POLLPRI | POLLERR;
        EXPECT_EQ(file->poll({}) & (changed | POLLIN), changed | POLLIN) << "before the first reading";
        user.board.read(*file, 0, 2, bytes);
        int wakes = 0;
        const auto poll = [&] { return file->poll([&] { ++wakes; }) & changed; };
        EXPECT_EQ(poll(), 0);
        user.write(world, "1");
        EXPECT_EQ(poll(), expected.isRisingTold ? changed : 0);
        EXPECT_EQ(wakes, expected.isRisingTold ? 1 : 0);
        user.board.read(*file, 0, 2, bytes);
        wakes = 0;
        EXPECT_EQ(poll(), 0);
        user.write(world, "1");
        EXPECT_EQ(poll(), 0) << "not changed";
        user.write(world, "0");
        EXPECT_EQ(poll(), expected.isFallingTold ? changed : 0);
        EXPECT_EQ(wakes, expected.isFallingTold ? 1 : 0);
    }
}

TEST(BoardGpio, UnexportKeepsDirectionAndLevelAndEndsOpenFiles)
{
    CUser user;
    play(user, {wr("gpio/export", "504"), wr(edg, "both"), wr(low, "1"), wr(dir, "high")});
    const auto file = user.open(val);
    std::string bytes;
    user.board.read(*file, 0, 2, bytes);
    int wakes = 0;
    file->poll([&] { ++wakes; });
    play(user, {wr("gpio/unexport", "504"), rd(world, "1\n"), wr("gpio/export", "504"), rd(dir, "out\n"),
                rd(val, "1\n"), rd(low, "0\n"), rd(edg, "none\n"), wr(dir, "in"), wr(edg, "both"),
                wr("gpio/unexport", "504"), wr("gpio/export", "504"), rd(edg, "none\n"), rd(dir, "in\n")});
    EXPECT_EQ(wakes, 0) << "unexport wakes nobody";
    EXPECT_EQ(user.board.read(*file, 0, 2, bytes), -ENODEV);
    EXPECT_EQ(user.board.read(*file, 2, 2, bytes), -ENODEV);
    EXPECT_EQ(user.board.write(*file, "1"), -ENODEV);
    EXPECT_EQ(file->poll({}) & (POLLPRI | POLLERR), POLLPRI | POLLERR);
}

TEST(BoardGpio, ChipsHaveTheirNumbersByKernelAndTheirLinks)
{
    CUser user;
    play(user,
         {rd("gpio/gpiochip504/base", "504\n"), rd("gpio/gpiochip504/ngpio", "8\n"),
          rd("gpio/gpiochip504/label", "9030000.pl061\n"), rd("gpio/gpiochip504/subsystem/gpiochip504/ngpio", "8\n"),
          refused("gpio/gpiochip504/ngpio", "9", EACCES), rd("gpio/export", "-EACCES")});
    EXPECT_EQ(user.write("gpio/gpio9/value", "1"), -ENOENT);
    EXPECT_EQ(user.write("gpio/gpio9/value", "1", O_WRONLY | O_CREAT), -EACCES);
    EXPECT_EQ(user.write("gpio/export", "504", O_RDWR), -EACCES);
    EXPECT_EQ(user.read("gpio"), "-EISDIR");
    std::vector<std::string> names;
    EXPECT_EQ(user.board.list("/sys/class/gpio/gpiochip504/device/gpio", names), 0);
    EXPECT_THAT(names, ElementsAre("gpiochip504"));
}

TEST(BoardPwm, ExportAnswersForeignChannelsWithNoDevice)
{
    for (const std::string& text : {"0"s, "0\n"s, "0\0"s, "0x0"s, "+0"s})
    {
        CUser user;
        EXPECT_EQ(user.write("pwm/pwmchip0/export", text), static_cast<int>(text.size())) << text;
    }
    CUser user;
    play(user, {refused("pwm/pwmchip0/export", " 0", EINVAL), refused("pwm/pwmchip0/export", "0 ", EINVAL),
                refused("pwm/pwmchip0/export", "-1", EINVAL), refused("pwm/pwmchip0/export", "4294967296", ERANGE),
                refused("pwm/pwmchip0/export", "2", ENODEV), refused("pwm/pwmchip0/unexport", "0", ENODEV),
                refused("pwm/pwmchip0/unexport", "2", ENODEV), wr("pwm/pwmchip0/export", "0"),
                refused("pwm/pwmchip0/export", "0", EBUSY), rd("pwm/pwmchip0/npwm", "2\n"), rd(period, "0\n"),
                rd(duty, "0\n"), rd(enable, "0\n"), rd(polarity, "normal\n"),
                rd("pwm/pwmchip0/pwm0/capture", "-ENOSYS"), refused("pwm/pwmchip0/npwm", "1", EACCES)});
}

TEST(BoardPwm, OlderKernelsWantThePeriodFirst)
{
    CUser user;
    play(user, {wr("pwm/pwmchip0/export", "0"),
                refused(enable, "0", EINVAL),
                refused(enable, "1", EINVAL),
                refused(duty, "0", EINVAL),
                refused(polarity, "normal", EINVAL),
                refused(period, "0", EINVAL),
                wr(period, "1000"),
                wr(duty, "400"),
                wr(polarity, "inversed"),
                wr(enable, "1"),
                refused(duty, "1001", EINVAL),
                refused(period, "399", EINVAL),
                wr(duty, "1000"),
                rd(duty, "1000\n"),
                wr(enable, "0"),
                refused(duty, "1001", EINVAL),
                refused(period, "999", EINVAL),
                wr(duty, "100"),
                wr(period, "100"),
                rd(period, "100\n")});
}

TEST(BoardPwm, NewerKernelsCheckOnlyRunningChannels)
{
    CUser user(newKernel());
    play(user, {wr("pwm/pwmchip0/export", "0"), wr(duty, "500"), wr(polarity, "inversed"), refused(enable, "1", EINVAL),
                wr(period, "100"), refused(enable, "1", EINVAL), wr(duty, "50"), wr(enable, "1"),
                refused(duty, "101", EINVAL), refused(period, "49", EINVAL), refused(period, "0", EINVAL),
                wr(enable, "0"), refused(period, "0", EINVAL)});
    Sim::BoardConfig config = newKernel();
    config.pwm[0].driver = Sim::DriverBcm2835;
    CUser strict(config);
    play(strict, {wr("pwm/pwmchip0/export", "0"), wr(duty, "0"), wr(polarity, "normal"), refused(duty, "5", EINVAL),
                  refused(polarity, "inversed", EINVAL), wr(period, "100")});
    config.pwm[0].driver = Sim::DriverRk3288;
    CUser lenient(config);
    play(lenient, {wr("pwm/pwmchip0/export", "0"), wr(period, "100"), wr(period, "0"), rd(period, "0\n")});
}

TEST(BoardPwm, AttributesReadTheirOwnKindOfText)
{
    CUser user;
    play(user, {wr("pwm/pwmchip0/export", "0"),
                wr(period, "1000000\n"),
                wr(period, "+1000000\0"s),
                wr(period, "0xF4240"),
                rd(period, "1000000\n"),
                refused(period, " 1", EINVAL),
                refused(period, "1 ", EINVAL),
                refused(period, "1e6", EINVAL),
                refused(period, "1000.5", EINVAL),
                refused(period, "-1", EINVAL),
                refused(period, "99999999999999999999", ERANGE),
                refused(duty, "4294967296", ERANGE),
                wr(polarity, "inversed\n"),
                rd(polarity, "inversed\n"),
                wr(polarity, "normal\0"s),
                refused(polarity, "inverted", EINVAL),
                refused(polarity, "INVERSED", EINVAL),
                refused(polarity, "1", EINVAL),
                wr(enable, "1\n"),
                wr(enable, "1\0"s),
                refused(enable, "2", EINVAL),
                refused(enable, "-1", EINVAL),
                refused(enable, "true", EINVAL),
                wr(polarity, "inversed"),
                rd(enable, "1\n")});
}

TEST(BoardPwm, UnexportedChannelsRunOn)
{
    CUser user;
    play(user, {wr("pwm/pwmchip0/export", "0"), wr(period, "1000"), wr(duty, "250"), wr(polarity, "inversed"),
                rd("sim/pwm/pwmchip0/pwm0", "0.000000\n"), wr(enable, "1")});
    const auto file = user.open(duty);
    play(user,
         {wr("pwm/pwmchip0/unexport", "0"), rd("sim/pwm/pwmchip0/pwm0", "0.250000\n"), wr("pwm/pwmchip0/export", "0"),
          rd(enable, "1\n"), rd(period, "1000\n"), rd(duty, "250\n"), rd(polarity, "inversed\n")});
    EXPECT_EQ(user.board.write(*file, "1"), -ENODEV);
}

TEST(BoardPwm, DriversRefuseWhatTheirHardwareCannotDo)
{
    Sim::BoardConfig config = Sim::defaultBoard();
    config.pwm[0].isPeriodShared = true;
    config.pwm[0].polarity = Sim::PolarityDisabled;
    config.pwm[0].minPeriod = 100;
    config.pwm[0].maxPeriod = 5000;
    config.pwm[0].isRangeCheckedLate = true;
    CUser user(config);
    constexpr const char* otherPeriod = "pwm/pwmchip0/pwm1/period";
    constexpr const char* otherEnable = "pwm/pwmchip0/pwm1/enable";
    play(user, {wr("pwm/pwmchip0/export", "0"),
                wr("pwm/pwmchip0/export", "1"),
                wr(period, "1000"),
                wr(enable, "1"),
                refused(polarity, "inversed", EBUSY),
                refused(otherPeriod, "2000", EBUSY),
                rd(otherPeriod, "0\n"),
                wr(otherPeriod, "1000"),
                wr(otherEnable, "1"),
                refused(period, "2000", EBUSY),
                wr(enable, "0"),
                wr(polarity, "inversed"),
                wr(otherEnable, "0"),
                wr(period, "2000"),
                wr(enable, "1"),
                refused(otherEnable, "1", EBUSY),
                wr(enable, "0"),
                wr(period, "5001"),
                refused(enable, "1", EINVAL),
                wr(period, "99"),
                refused(enable, "1", EINVAL)});
    config.pwm[0].isRangeCheckedLate = false;
    config.pwm[0].polarity = Sim::PolarityNever;
    CUser early(config);
    play(early, {wr("pwm/pwmchip0/export", "0"), refused(period, "5001", EINVAL), wr(period, "5000"),
                 wr(polarity, "normal"), refused(polarity, "inversed", EINVAL)});
}

TEST(BoardWorld, FaultsHitTheAccessesTheyName)
{
    CUser user;
    const std::string value504 = "/sys/class/gpio/gpio504/value";
    play(user, {wr("gpio/export", "504"), wr(dir, "out")});
    const std::string orders =
        "write " + value504 + " 2-3 EIO\nread " + value504 + " EAGAIN\nopen " + value504 + " 5 13\n";
    play(user, {wr("sim/faults", orders), wr(val, "1"), refused(val, "0", EIO), rd(val, "-EAGAIN"),
                refused(val, "0", EIO), refused(val, "0", EACCES), wr(val, "0"), rd(val, "-EAGAIN"),
                rd("sim/faults", "read " + value504 + " EAGAIN\n"), rd(world, "0\n")});
    for (const std::string& wrong :
         {"write"s, "write /x"s, "close /x EIO"s, "write x EIO"s, "write /x 0 EIO"s, "write /x 3-2 EIO"s,
          "write /x NOPE"s, "write /x 1 EIO EIO"s, "read /y EIO\nwrong"s})
        EXPECT_EQ(user.write("sim/faults", wrong), -EINVAL) << wrong;
    user.open("sim/faults", O_WRONLY | O_TRUNC);
    play(user, {rd("sim/faults", ""), rd(val, "0\n")});
}

TEST(BoardWorld, JournalHoldsEveryAccessWithItsBytes)
{
    CUser user;
    play(user, {wr("gpio/export", "504\0"s), refused(val, "1", EPERM), rd(val, "0\n"), rd("gpio/export", "-EACCES"),
                wr(world, "1"), wr("sim/adc/in0", "12"), rd("sim/adc/in0", "12")});
    EXPECT_EQ(user.read("sim/journal"), "open /sys/class/gpio/export w 0\n"
                                        "write /sys/class/gpio/export 35303400 4\n"
                                        "close /sys/class/gpio/export - 0\n"
                                        "open /sys/class/gpio/gpio504/value w 0\n"
                                        "write /sys/class/gpio/gpio504/value 31 -EPERM\n"
                                        "close /sys/class/gpio/gpio504/value - 0\n"
                                        "open /sys/class/gpio/gpio504/value r 0\n"
                                        "read /sys/class/gpio/gpio504/value 300a 2\n"
                                        "close /sys/class/gpio/gpio504/value - 0\n"
                                        "open /sys/class/gpio/export r -EACCES\n"
                                        "open /sys/class/sim/adc/in0 w 0\n"
                                        "write /sys/class/sim/adc/in0 3132 2\n"
                                        "close /sys/class/sim/adc/in0 - 0\n"
                                        "open /sys/class/sim/adc/in0 r 0\n"
                                        "read /sys/class/sim/adc/in0 3132 2\n"
                                        "close /sys/class/sim/adc/in0 - 0\n");
    user.open("sim/journal", O_WRONLY | O_TRUNC);
    user.open("sim/adc/in0", O_WRONLY | O_TRUNC);
    EXPECT_EQ(user.read("sim/adc/in0"), "");
}

TEST(BoardWorld, ResetMakesTheBoardAsAtPowerOn)
{
    Sim::BoardConfig config = Sim::defaultBoard();
    config.adc[0].text = "17";
    CUser user(config);
    const std::string before = user.read("sim/state");
    play(user, {wr("gpio/export", "504"), wr(dir, "high"), wr("sim/gpio/gpio505", "1"), wr("pwm/pwmchip0/export", "0"),
                wr(period, "1000"), wr(enable, "1"), wr("sim/adc/in0", "9"),
                wr("sim/faults", "open /sys/class/gpio/export EIO")});
    const auto file = user.open(val);
    EXPECT_NE(user.read("sim/state"), before);
    play(user, {wr("sim/reset", "1"), rd("sim/state", before), rd("sim/faults", ""), rd("sim/journal", ""),
                rd(val, "-ENOENT"), rd(period, "-ENOENT"), wr("gpio/export", "504"), rd(dir, "in\n")});
    EXPECT_EQ(user.board.write(*file, "1"), -ENODEV);
}
