// Lines that are taken or adopted on the simulated board: 504 is free and low, 505 free and driven high, 506 exported
// as a high output, 511 a driver's.
#include <kiv/GpioLine.h>

#include <thread>

#include <sys/stat.h>

#include <kiv/diag.h>
#include <kiv/sysfs_tools.h>

#include "support/BoardAccess.h"
#include "support/RecordingAppender.h"

using namespace Kiv;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

constexpr unsigned int generousMs = 20000;

GpioLineSettings output(eGpioFirstValue first, ePinMode mode = PinModeActiveHigh)
{
    GpioLineSettings settings;
    settings.direction = PinDirectionOutput;
    settings.first = first;
    settings.mode = mode;
    return settings;
}

GpioLineSettings input(eGpioEdge edge = GpioEdgeNone, ePinMode mode = PinModeActiveHigh)
{
    GpioLineSettings settings;
    settings.edge = edge;
    settings.mode = mode;
    return settings;
}

class GpioLine : public COnBoard
{
protected:
    void SetUp() override
    {
        COnBoard::SetUp();
        if (IsSkipped())
            return;
        setWorld("sim/gpio/gpio505", "1");
        setWorld("gpio/export", "506");
        setWorld("gpio/gpio506/direction", "high");
        accesses();
    }
};

bool isExported(unsigned int line)
{
    return access(("/sys/class/gpio/gpio" + std::to_string(line)).c_str(), F_OK) == 0;
}

} // namespace

TEST_F(GpioLine, OutputsBeginAtTheirLogicalLevelWithoutAGlitch)
{
    const struct
    {
        eGpioFirstValue first;
        ePinMode mode;
        const char* direction;
        int value;
    } rows[] = {{GpioFirstLow, PinModeActiveHigh, "low", 0},
                {GpioFirstHigh, PinModeActiveHigh, "high", 1},
                {GpioFirstLow, PinModeActiveLow, "high", 0},
                {GpioFirstHigh, PinModeActiveLow, "low", 1}};
    for (const auto& row : rows)
    {
        CGpioLine line;
        ASSERT_EQ(line.take(504, output(row.first, row.mode)), 0);
        EXPECT_FALSE(line.isAdopted());
        EXPECT_THAT(accesses("write"),
                    ElementsAre("write gpio/export 504 3",
                                std::string("write gpio/gpio504/active_low ") + (row.mode == 1 ? "1 1" : "0 1"),
                                std::string("write gpio/gpio504/direction ") + row.direction + ' ' +
                                    std::to_string(std::string(row.direction).size())));
        EXPECT_EQ(line.read(), row.value);
        EXPECT_EQ(line.toggle(), 0);
        EXPECT_EQ(line.read(), 1 - row.value);
        EXPECT_EQ(line.write(PinValueHigh), 0);
        EXPECT_EQ(attribute("sim/gpio/gpio504"), row.mode == PinModeActiveLow ? "0\n" : "1\n");
        EXPECT_EQ(line.release(), 0);
        EXPECT_EQ(line.read(), -9);
        EXPECT_FALSE(isExported(504));
        accesses();
    }
}

TEST_F(GpioLine, ExportedLinesAreAdoptedAndKeepWhatTheyAreToKeep)
{
    CGpioLine line;
    ASSERT_EQ(line.takeOn("9030000.pl061", 2, output(GpioFirstKept, PinModeActiveLow)), 0);
    EXPECT_TRUE(line.isAdopted());
    EXPECT_EQ(line.number(), 506U);
    EXPECT_THAT(accesses("write"), ElementsAre("write gpio/gpio506/active_low 1 1")) << "the level was left alone";
    EXPECT_EQ(line.read(), 0);
    ASSERT_EQ(line.take(505, output(GpioFirstKept)), 0) << "a free one that the outer world held high";
    EXPECT_EQ(attribute("gpio/gpio505/direction"), "out\n");
    EXPECT_EQ(line.read(), 1);
    EXPECT_TRUE(isExported(506)) << "the former line was left";
}

TEST_F(GpioLine, InputsReportEdgesOfTheirLogicalValue)
{
    CGpioLine line;
    ASSERT_EQ(line.take(504, input(GpioEdgeRising, PinModeActiveLow)), 0);
    EXPECT_EQ(line.read(), 1);
    EXPECT_EQ(line.write(PinValueHigh), -1);
    CGpioEdge edge(line.number());
    setWorld("sim/gpio/gpio504", "1");
    EXPECT_EQ(edge.wait(0), 0);
    setWorld("sim/gpio/gpio504", "0");
    EXPECT_EQ(edge.wait(static_cast<int>(generousMs)), 1);
    ASSERT_EQ(line.take(504, input()), 0);
    EXPECT_EQ(attribute("gpio/gpio504/edge"), "none\n") << "what an earlier run asked for";
}

TEST_F(GpioLine, RefusalsComeAtOnceAsCodeAndAsOneLineInTheLog)
{
    const struct
    {
        const char* name;
        std::string faults;
        unsigned int line;
        int result;
        const char* log;
    } rows[] = {
        {"a driver's", "", 511, -16, "GPIO line 511: /sys/class/gpio/export: Resource busy (-16), held by another"},
        {"none", "", 9999, -22,
         "GPIO line 9999: /sys/class/gpio/export: Invalid argument (-22), there is no such line"},
        {"a broken one", "write /sys/class/gpio/gpio504/direction EIO\n", 504, -5,
         "GPIO line 504: /sys/class/gpio/gpio504/direction: I/O error (-5)"},
        {"no files", "open /sys/class/gpio/export ENOENT\n", 504, -2,
         "GPIO line 504: /sys/class/gpio/export: No such entity (-2), this kernel has no files for GPIO"},
    };
    for (const auto& row : rows)
    {
        setWorld("sim/faults", row.faults);
        LogRecorder log(Diag::diagLogger());
        CGpioLine line;
        EXPECT_EQ(line.take(row.line, output(GpioFirstHigh)), row.result) << row.name;
        EXPECT_THAT(log.texts(), ElementsAre(row.log));
        EXPECT_FALSE(line.isTaken() || isExported(row.line)) << row.name;
        std::ofstream("/sys/class/sim/faults", std::ios::trunc);
    }
    CGpioLine line;
    EXPECT_EQ(line.takeOn("no chip", 0, input()), -19);
    EXPECT_EQ(line.takeOn("9030000.pl061", 8, input()), -22);
    accesses();
    GpioLineSettings wrong = output(GpioFirstLow);
    wrong.edge = GpioEdgeBoth;
    EXPECT_EQ(line.take(504, wrong), -22);
    EXPECT_THAT(accesses(), ElementsAre());
}

TEST_F(GpioLine, AccessIsWaitedForWithinItsTime)
{
    const std::string late = "open /sys/class/gpio/export 1-3 EACCES\nopen /sys/class/gpio/gpio504/value 1-2 EACCES\n";
    GpioLineSettings settings = output(GpioFirstHigh);
    settings.accessTimeoutMs = generousMs;
    setWorld("sim/faults", late);
    CGpioLine line;
    EXPECT_EQ(line.take(504, settings), 0);
    EXPECT_EQ(line.release(), 0);
    settings.accessTimeoutMs = 5;
    setWorld("sim/faults", "open /sys/class/gpio/gpio504/value EACCES\n");
    EXPECT_EQ(line.take(504, settings), -13);
    EXPECT_FALSE(isExported(504)) << "what could not be set up is given back";
}

TEST_F(GpioLine, TheEndReleasesOrLeavesAndNothingIsPrinted)
{
    for (const bool isReleased : {false, true})
    {
        CChildProcess child([isReleased] {
            GpioLineSettings settings = output(GpioFirstHigh);
            settings.isReleased = isReleased;
            CGpioLine line;
            return line.take(504, settings) == 0 && line.take(511, settings) == -16 && line.take(504, settings) == 0
                       ? 0
                       : 1;
        });
        EXPECT_EQ(child.wait(), 0);
        EXPECT_EQ(child.err(), "");
        EXPECT_EQ(isExported(504), !isReleased);
    }
}
