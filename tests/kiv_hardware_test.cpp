// kiv gpio, pwm and adc on the simulated board, down to what they write.
#include "support/OnBoard.h"

#include <csignal>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/KivTool.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using testing::ElementsAre;
using testing::MatchesRegex;

int main(int argc, char** argv)
{
    moveOntoBoard(KIV_BOARD, {}, argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}

namespace
{

std::string read(const std::string& path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void write(const std::string& path, const std::string& text) { std::ofstream(path) << text << std::flush; }

/// What the program writes to the board: "direction high", for each write since the last call.
std::vector<std::string> writes()
{
    std::istringstream journal(read("/sys/class/sim/journal"));
    std::vector<std::string> found;
    for (std::string operation, path, data, result; journal >> operation >> path >> data >> result;)
    {
        if (operation != "write")
            continue;
        std::string text;
        for (std::size_t i = 0; i + 1 < data.size() && data.compare(i, 2, "00") != 0; i += 2)
            text += static_cast<char>(std::stoi(data.substr(i, 2), nullptr, 16));
        found.push_back(path.substr(path.rfind('/') + 1) + ' ' + text);
    }
    std::ofstream("/sys/class/sim/journal", std::ios::trunc);
    return found;
}

bool isExported(int line) { return access(("/sys/class/gpio/gpio" + std::to_string(line)).c_str(), F_OK) == 0; }

const std::string chip = "9030000.pl061";

/// kiv gpio watch, whose output goes into a file.
class CWatch
{
public:
    explicit CWatch(const std::string& arguments)
        : shell({"sh", "-c", "exec " + shellCommand(KIV_TOOL) + " gpio watch " + arguments + " > " + output()})
    {}

    std::string output() const { return directory.path() / "output"; }

    bool waitForLines(std::ptrdiff_t count) const
    {
        return waitUntil([&] {
            const std::string text = read(output());
            return std::count(text.begin(), text.end(), '\n') >= count;
        });
    }

    TemporaryDirectory directory;
    CChildProcess shell;
};

using KivHardware = COnBoard;

} // namespace

// ---- GPIO

TEST_F(KivHardware, GetReadsAndLeavesNoTrace)
{
    write("/sys/class/sim/gpio/gpio505", "1");
    EXPECT_THAT(runTool({"gpio", "get", "504", chip + ":1", "0x1F9"}), Prints("0\n1\n1\n"));
    EXPECT_FALSE(isExported(504) || isExported(505));
    write("/sys/class/gpio/export", "505");
    EXPECT_THAT(runTool({"gpio", "get", "--json", "505"}),
                Prints("[\n{\"line\":505,\"direction\":\"in\",\"value\":1}\n]\n"));
    EXPECT_TRUE(isExported(505)) << "it was before";
}

TEST_F(KivHardware, SetMakesOutputsWithoutAGlitchAndInputs)
{
    EXPECT_THAT(runTool({"gpio", "set", chip + ":0=1", "505=0"}), Prints(""));
    EXPECT_THAT(writes(), ElementsAre("export 504", "direction high", "export 505", "direction low"));
    EXPECT_EQ(read("/sys/class/sim/gpio/gpio504"), "1\n");
    EXPECT_TRUE(isExported(504));
    EXPECT_THAT(runTool({"gpio", "set", "--release", "504=in"}), Prints(""));
    EXPECT_THAT(writes(), ElementsAre("direction in", "unexport 504"));
}

TEST_F(KivHardware, GpioRefusalsAreOneLineAndTouchNothing)
{
    struct Case
    {
        std::vector<std::string> call;
        int status;
        const char* reason;
    };
    const Case cases[] = {
        {{"gpio", "set", "504=1", "505=2"}, 2, "not LINE=0"},
        {{"gpio", "set", "504=1", chip + ":8=1"}, 2, "has the lines 0 to 7"},
        {{"gpio", "get", "nochip:0"}, 3, "GPIO chip nochip: No such device"},
        {{"gpio", "get", "4294967295"}, 2, "no GPIO line"},
        {{"gpio", "get", "9999"}, 3, "line 9999: Invalid argument"},
        {{"gpio", "watch", "9999"}, 3, "line 9999: Invalid argument"},
    };
    for (const Case& refused : cases)
    {
        const ToolResult result = runTool(refused.call);
        EXPECT_THAT(result, Refuses(refused.status, refused.reason));
        EXPECT_EQ(result.out, "");
        EXPECT_FALSE(isExported(504));
    }
    write("/sys/class/sim/faults", "write /sys/class/gpio/export EBUSY\n");
    EXPECT_THAT(runTool({"gpio", "get", "504"}), Refuses(3, "line 504: Resource busy"));
    write("/sys/class/sim/reset", "1");
    write("/sys/class/sim/faults", "read /sys/class/gpio/gpio505/value EIO\n");
    EXPECT_THAT(runTool({"gpio", "get", "505"}), Refuses(3, "line 505: I/O error"));
    EXPECT_FALSE(isExported(505));
}

TEST_F(KivHardware, ListTellsWhoHoldsLinesAndChannelsAsFarAsDebugfsTells)
{
    write("/sys/class/gpio/export", "504");
    write("/sys/class/pwm/pwmchip0/export", "0");
    EXPECT_THAT(runTool({"gpio", "list"}).out, testing::StartsWith("9030000.pl061  (504 to 511)\n"
                                                                   "    0    504  in  0  exported\n"
                                                                   "    1    505         not exported\n"));
    if (access("/sys/kernel/debug", W_OK) != 0)
        GTEST_SKIP() << "there is no place for debugfs here";
    write("/sys/kernel/debug/gpio", "gpiochip0: GPIOs 504-511, parent: platform/9030000.pl061, 9030000.pl061:\n"
                                    " gpio-504 (                    |sysfs               ) in  lo \n"
                                    " gpio-505 (door                |GPIO Key (front)    ) out hi IRQ ACTIVE LOW\n");
    write("/sys/kernel/debug/pwm",
          "platform/fe20c000.pwm, 2 PWM devices\n"
          " pwm-0   (sysfs               ): requested period: 0 ns duty: 0 ns polarity: normal\n"
          " pwm-1   (backlight           ): requested enabled period: 9 ns duty: 0 ns\n");
    EXPECT_THAT(runTool({"gpio", "list"}).out,
                testing::StartsWith("9030000.pl061  (504 to 511)\n"
                                    "    0    504  in  0  exported\n"
                                    "    1    505  out 1  held by GPIO Key (front)  \"door\"\n"
                                    "    2    506         free\n"));
    EXPECT_THAT(
        runTool({"gpio", "list", "--json"}).out,
        testing::HasSubstr("{\"offset\":1,\"line\":505,\"name\":\"door\",\"use\":\"held\",\"holder\":\"GPIO Key "
                           "(front)\",\"direction\":\"out\",\"value\":1}"));
    EXPECT_THAT(runTool({"pwm", "list"}),
                Prints("pwmchip0 fe20c000.pwm  0  off  period 0 ns, duty cycle 0 ns (0.0 %), normal\n"
                       "pwmchip0 fe20c000.pwm  1  not exported, held by backlight\n"));
}

TEST_F(KivHardware, WatchPrintsTheEdgesOfADrivenInput)
{
    CWatch watch("506 --json --count 3");
    for (int edge = 1; edge <= 3; ++edge)
    {
        ASSERT_TRUE(watch.waitForLines(edge)) << watch.shell.err();
        write("/sys/class/sim/gpio/gpio506", edge % 2 == 1 ? "1" : "0");
    }
    EXPECT_EQ(watch.shell.wait(), 0);
    const std::string line = "\\{\"line\":506,\"time_us\":[0-9]+,\"value\":";
    EXPECT_THAT(read(watch.output()), MatchesRegex(line + "0,\"edge\":false\\}\n" + line + "1,\"edge\":true\\}\n" +
                                                   line + "0,\"edge\":true\\}\n" + line + "1,\"edge\":true\\}\n"));
    EXPECT_FALSE(isExported(506));
}

TEST_F(KivHardware, WatchTellsOneEdgeFromTheOther)
{
    CWatch watch(chip + ":2 --edge falling --count 1");
    ASSERT_TRUE(watch.waitForLines(1));
    write("/sys/class/sim/gpio/gpio506", "1");
    write("/sys/class/sim/gpio/gpio506", "0");
    EXPECT_EQ(watch.shell.wait(), 0);
    EXPECT_THAT(read(watch.output()), MatchesRegex("[-0-9]+ [0-9:.]+ 0 at first\n[-0-9]+ [0-9:.]+ 0\n"));
}

TEST_F(KivHardware, WatchSetsTheLineBackHoweverItEnds)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        CWatch watch("506");
        ASSERT_TRUE(watch.waitForLines(1));
        watch.shell.kill(signal);
        EXPECT_EQ(watch.shell.wait(), 128 + signal);
        EXPECT_FALSE(isExported(506)) << signal;
    }
    write("/sys/class/gpio/export", "506");
    write("/sys/class/gpio/gpio506/edge", "falling");
    EXPECT_THAT(runTool({"gpio", "watch", "506", "--edge", "rising", "--timeout", "0.05"}),
                Refuses(1, "line 506: no edge in time"));
    EXPECT_EQ(read("/sys/class/gpio/gpio506/edge"), "falling\n");

    TemporaryDirectory directory;
    const std::string status = directory.path() / "status";
    CChildProcess pipe(
        {"sh", "-c", "{ " + shellCommand(KIV_TOOL) + " gpio watch 507; echo $? > " + status + "; } | head -n 1"});
    ASSERT_TRUE(waitUntil([&] { return read("/sys/class/gpio/gpio507/edge") == "both\n"; }));
    for (const char* level = "1"; read(status).empty(); level = *level == '1' ? "0" : "1")
        write("/sys/class/sim/gpio/gpio507", level);
    EXPECT_EQ(pipe.wait(), 0);
    EXPECT_EQ(read(status), std::to_string(128 + SIGPIPE) + '\n') << pipe.err();
    EXPECT_FALSE(isExported(507));
}

TEST_F(KivHardware, WatchRefusesOutputs)
{
    EXPECT_THAT(runTool({"gpio", "set", "504=0"}), Prints(""));
    EXPECT_THAT(runTool({"gpio", "watch", "504"}), Refuses(2, "line 504 is an output"));
}

// ---- PWM

TEST_F(KivHardware, PwmSetKeepsTheKernelsOrder)
{
    struct Case
    {
        std::vector<std::string> wish;
        std::vector<std::string> expected;
    };
    const Case steps[] = {
        {{"--period", "1kHz", "--duty", "25%", "--on"},
         {"export 0", "period 1000000", "duty_cycle 250000", "enable 1"}},
        {{"--period", "100us", "--duty", "90000"}, {"duty_cycle 90000", "period 100000"}},
        {{"--period", "1ms", "--duty", "0.5ms"}, {"period 1000000", "duty_cycle 500000"}},
        {{"--polarity", "inversed"}, {"enable 0", "polarity inversed", "enable 1"}},
        {{"--polarity", "inversed", "--on", "--duty", "50%"}, {}},
        {{"--off", "--duty", "0"}, {"enable 0", "duty_cycle 0"}},
        {{"--duty", "100%", "--period", "50Hz"}, {"period 20000000", "duty_cycle 20000000"}},
    };
    for (const Case& step : steps)
    {
        std::vector<std::string> call = {"pwm", "set", "0", "0"};
        call.insert(call.end(), step.wish.begin(), step.wish.end());
        EXPECT_THAT(runTool(call), Prints("")) << testing::PrintToString(step.wish);
        EXPECT_EQ(writes(), step.expected) << testing::PrintToString(step.wish);
    }
}

TEST_F(KivHardware, PwmShowsChipsByNumberAndDevice)
{
    EXPECT_THAT(runTool({"pwm", "set", "fe20c000.pwm", "1", "--period", "2000", "--duty", "500"}), Prints(""));
    EXPECT_THAT(runTool({"pwm", "show"}), Prints("pwmchip0 fe20c000.pwm\n  0  not exported\n"
                                                 "  1  off  period 2000 ns, duty cycle 500 ns (25.0 %), normal\n"));
    EXPECT_THAT(runTool({"pwm", "show", "--json", "fe20c000.pwm"}),
                Prints("[\n{\"chip\":0,\"device\":\"fe20c000.pwm\",\"channels\":[{\"channel\":0,\"exported\":false},"
                       "{\"channel\":1,\"exported\":true,\"on\":false,\"period_ns\":2000,\"duty_cycle_ns\":500,"
                       "\"polarity\":\"normal\"}]}\n]\n"));
}

TEST_F(KivHardware, PwmRefusesWhatCannotBeBeforeItTouchesAnything)
{
    struct Case
    {
        std::vector<std::string> call;
        int status;
        const char* reason;
    };
    const Case cases[] = {
        {{"pwm", "set", "0", "0", "--on"}, 2, "no period yet"},
        {{"pwm", "set", "0", "0", "--period", "10us", "--duty", "11us"}, 2, "longer than the period"},
        {{"pwm", "set", "0", "2", "--off"}, 2, "has 2 channels"},
        {{"pwm", "set", "1", "0", "--off"}, 3, "PWM chip 1: No such device"},
        {{"pwm", "show", "no.pwm"}, 3, "PWM chip no.pwm: No such device"},
    };
    for (const Case& refused : cases)
    {
        EXPECT_THAT(runTool(refused.call), Refuses(refused.status, refused.reason));
        EXPECT_NE(access("/sys/class/pwm/pwmchip0/pwm0", F_OK), 0) << refused.reason;
    }
    write("/sys/class/sim/faults", "write /sys/class/pwm/pwmchip0/pwm0/duty_cycle EIO\n");
    EXPECT_THAT(runTool({"pwm", "set", "0", "0", "--period", "1ms", "--duty", "1us", "--on"}),
                Refuses(3, "pwmchip0 channel 0: duty cycle: I/O error"));
}

// ---- ADC

TEST_F(KivHardware, AdcReadsWhatDriversPresent)
{
    const std::string input = "/sys/class/sim/adc/in0";
    write(input, "-12.5 mV\n");
    EXPECT_THAT(runTool({"adc", "read", input, "/sys/class/sim/adc/in1"}), Prints("-12.5\n0\n"));
    EXPECT_THAT(runTool({"adc", "read", "--json", input}),
                Prints("[\n{\"file\":\"" + input + "\",\"value\":-12.5}\n]\n"));
    write(input, "off");
    EXPECT_THAT(runTool({"adc", "read", input}), Refuses(3, "does not begin with a finite number"));
    write("/sys/class/sim/faults", "read " + input + " EIO\n");
    EXPECT_THAT(runTool({"adc", "read", input}), Refuses(3, input + ": I/O error"));
    EXPECT_THAT(runTool({"adc", "read", "/sys/class/sim/adc/none"}), Refuses(3, "No such entity"));
}
