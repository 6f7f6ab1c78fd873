// Lines of the character device, with a kernel that this program plays itself: gpiochip0 has four lines, of which line
// 3 belongs to a driver, gpiochip1 two.
#include <kiv/GpioRequest.h>

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/diag.h>

#include "support/FakeGpioDevice.h"
#include "support/RecordingAppender.h"
#include "support/WaitUntil.h"

using namespace Kiv;
using testing::ElementsAre;

namespace
{

constexpr int generousMs = 20000;
const std::string longLabel(32, 'x'); // as long as the kernel's text can be

class GpioRequest : public testing::Test
{
protected:
    void SetUp() override
    {
        FakeGpioLine held{"button", "gpio-keys", true,
                          GPIO_V2_LINE_FLAG_INPUT | GPIO_V2_LINE_FLAG_ACTIVE_LOW | GPIO_V2_LINE_FLAG_EDGE_RISING |
                              GPIO_V2_LINE_FLAG_EDGE_FALLING | GPIO_V2_LINE_FLAG_BIAS_PULL_UP};
        fake.addChip("gpiochip10", {"last", {{"twice", "", false, 0}}});
        fake.addChip("gpiochip0", {"soc", {{"lamp", "", true, 0}, {"pump", "", false, 0}, {"", "", true, 0}, held}});
        fake.addChip("gpiochip1",
                     {longLabel, {{"door", "", false, GPIO_V2_LINE_FLAG_OUTPUT}, {"twice", "", false, 0}}});
    }

    CFakeGpio fake;
};

GpioRequestSettings outputs(std::uint64_t first)
{
    GpioRequestSettings settings;
    settings.direction = PinDirectionOutput;
    settings.firstValues = first;
    return settings;
}

GpioRequestSettings inputs(eGpioEdge edge = GpioEdgeNone)
{
    GpioRequestSettings settings;
    settings.edge = edge;
    return settings;
}

} // namespace

TEST_F(GpioRequest, ChipsAndLinesAreToldWithTheirHolders)
{
    std::vector<GpioChipInfo> chips;
    ASSERT_EQ(gpio_chips(chips), 0);
    std::vector<std::string> found;
    for (const GpioChipInfo& chip : chips)
        found.push_back(chip.path + ' ' + chip.label + ' ' + std::to_string(chip.lineCount));
    EXPECT_THAT(found,
                ElementsAre("/dev/gpiochip0 soc 4", "/dev/gpiochip1 " + longLabel + " 2", "/dev/gpiochip10 last 1"));
    for (const char* chip : {"soc", "gpiochip0", "/dev/gpiochip0"})
    {
        GpioLineInfo line;
        ASSERT_EQ(gpio_line(chip, 3, line), 0) << chip;
        EXPECT_EQ(line.name + ' ' + line.consumer, "button gpio-keys");
        EXPECT_TRUE(line.isHeld);
        EXPECT_EQ(line.direction, PinDirectionInput);
        EXPECT_EQ(line.mode, PinModeActiveLow);
        EXPECT_EQ(line.edge, GpioEdgeBoth);
        EXPECT_EQ(line.bias, GpioBiasPullUp);
        EXPECT_EQ(line.debounceUs, 50U);
        EXPECT_EQ(gpio_line(chip, 4, line), -22);
    }
    std::string chip;
    unsigned int offset = 9;
    EXPECT_EQ(gpio_find_line("pump", chip, offset), 0);
    EXPECT_EQ(chip + ' ' + std::to_string(offset), "/dev/gpiochip0 1");
    EXPECT_EQ(gpio_find_line("twice", chip, offset), -302);
    EXPECT_EQ(gpio_find_line("nobody", chip, offset), -2);
    EXPECT_EQ(gpio_find_line("", chip, offset), -2) << "most lines have no name";
    EXPECT_EQ(gpio_chip("no chip", chips[0]), -19);
    EXPECT_EQ(gpio_chip("/dev/gpiochip7", chips[0]), -19);
    EXPECT_EQ(offset, 1U);
}

TEST_F(GpioRequest, OutputsOfARequestAreSetTogether)
{
    CGpioRequest lines;
    GpioRequestSettings settings = outputs(0xFF02);
    settings.mode = PinModeActiveLow;
    settings.drive = GpioDriveOpenDrain;
    settings.bias = GpioBiasPullUp;
    settings.consumer = std::string(40, 'c');
    ASSERT_EQ(lines.request("soc", {2, 0}, settings), 0);
    EXPECT_EQ(fake.requested.config.flags, static_cast<std::uint64_t>(GPIO_V2_LINE_FLAG_OUTPUT) |
                                               GPIO_V2_LINE_FLAG_ACTIVE_LOW | GPIO_V2_LINE_FLAG_OPEN_DRAIN |
                                               GPIO_V2_LINE_FLAG_BIAS_PULL_UP);
    EXPECT_EQ(fake.requested.config.attrs[0].mask, 3U) << "bits of lines only";
    EXPECT_EQ(fake.requested.consumer, std::string(31, 'c'));
    EXPECT_TRUE(fake.line("gpiochip0", 2).level);
    EXPECT_FALSE(fake.line("gpiochip0", 0).level);
    fake.calls.clear();
    std::uint64_t values = 0;
    EXPECT_EQ(lines.read(values), 0);
    EXPECT_EQ(values, 2U);
    EXPECT_EQ(lines.write(1), 0);
    EXPECT_EQ(lines.read(values), 0);
    EXPECT_EQ(values, 1U);
    EXPECT_EQ(lines.write(2, 2), 0);
    EXPECT_EQ(lines.writeLine(0, PinValueLow), 0);
    EXPECT_EQ(lines.readLine(0), 0);
    EXPECT_EQ(lines.readLine(1), 1);
    EXPECT_EQ(fake.calls.size(), 7U) << "one for each";
    EXPECT_EQ(lines.readLine(2), -22);
    EXPECT_EQ(lines.writeLine(64, PinValueHigh), -22);
}

TEST_F(GpioRequest, LinesAreFoundByNameAndReconfigured)
{
    CGpioRequest lines;
    ASSERT_EQ(lines.request({"pump", "lamp"}, inputs()), 0);
    EXPECT_THAT(lines.offsets(), ElementsAre(1, 0));
    EXPECT_EQ(lines.write(1), -1);
    GpioRequestSettings debounced = inputs(GpioEdgeRising);
    debounced.debounceUs = 2000;
    debounced.isWallClock = true;
    ASSERT_EQ(lines.reconfigure(debounced), 0);
    EXPECT_EQ(fake.requested.config.flags, static_cast<std::uint64_t>(GPIO_V2_LINE_FLAG_INPUT) |
                                               GPIO_V2_LINE_FLAG_EDGE_RISING | GPIO_V2_LINE_FLAG_EVENT_CLOCK_REALTIME);
    EXPECT_EQ(fake.requested.config.attrs[0].attr.debounce_period_us, 2000U);
    EXPECT_EQ(lines.request({"pump", "door"}, inputs()), -18);
    EXPECT_EQ(lines.read(*std::make_unique<std::uint64_t>()), -9);
    GpioRequestSettings asIs;
    asIs.isDirectionKept = true;
    ASSERT_EQ(lines.request("soc", {0}, asIs), 0);
    EXPECT_EQ(fake.requested.config.flags, 0U);
}

TEST_F(GpioRequest, EdgesCarryTheKernelsTimeAndTellOfLostOnes)
{
    CGpioRequest lines;
    ASSERT_EQ(lines.request("soc", {1, 0}, inputs(GpioEdgeBoth)), 0);
    GpioEdgeEvent event;
    EXPECT_EQ(lines.wait(0, event), 0);
    fake.report(0, GPIO_V2_LINE_EVENT_RISING_EDGE, 1, 1);
    fake.report(1, GPIO_V2_LINE_EVENT_FALLING_EDGE, 5, 2);
    ASSERT_EQ(lines.wait(generousMs, event), 1);
    EXPECT_EQ(event.index, 1U);
    EXPECT_EQ(event.edge, GpioEdgeRising);
    EXPECT_EQ(event.timeNs, 1000U);
    EXPECT_EQ(event.lostEdges, 0U);
    lines.interrupt();
    EXPECT_EQ(lines.wait(-1, event), -36) << "the interruption comes first";
    ASSERT_EQ(lines.wait(-1, event), 1);
    EXPECT_EQ(event.index, 0U);
    EXPECT_EQ(event.edge, GpioEdgeFalling);
    EXPECT_EQ(event.sequence, 5U);
    EXPECT_EQ(event.lineSequence, 2U);
    EXPECT_EQ(event.lostEdges, 3U);
    std::thread other([&lines] { lines.interrupt(); });
    EXPECT_EQ(lines.wait(-1, event), -36);
    other.join();
}

TEST_F(GpioRequest, EveryIoctlMayBeRefused)
{
    CGpioRequest lines;
    std::uint64_t values = 7;
    std::string chip;
    unsigned int offset = 0;
    GpioLineInfo line;
    const auto refuse = [this](unsigned long number) { fake.refused[number] = EIO; };
    for (const unsigned long number : {GPIO_GET_CHIPINFO_IOCTL, GPIO_V2_GET_LINE_IOCTL, GPIO_V2_GET_LINEINFO_IOCTL})
    {
        refuse(number);
        const bool isInfo = number == GPIO_V2_GET_LINEINFO_IOCTL;
        EXPECT_EQ(isInfo ? gpio_line("soc", 0, line) : lines.request("gpiochip0", {0}, inputs()), -5);
        EXPECT_FALSE(lines.isRequested());
    }
    refuse(GPIO_V2_GET_LINEINFO_IOCTL);
    EXPECT_EQ(gpio_find_line("door", chip, offset), 0) << "a chip that fails does not hide the others";
    refuse(GPIO_GET_CHIPINFO_IOCTL);
    EXPECT_EQ(lines.request("soc", {0}, inputs()), -5) << "it may have been this chip";
    ASSERT_EQ(lines.request("soc", {0}, outputs(1)), 0);
    refuse(GPIO_V2_LINE_GET_VALUES_IOCTL);
    EXPECT_EQ(lines.read(values), -5);
    refuse(GPIO_V2_LINE_GET_VALUES_IOCTL);
    EXPECT_EQ(lines.readLine(0), -5);
    refuse(GPIO_V2_LINE_SET_VALUES_IOCTL);
    EXPECT_EQ(lines.write(0), -5);
    refuse(GPIO_V2_LINE_SET_CONFIG_IOCTL);
    EXPECT_EQ(lines.reconfigure(inputs()), -5);
    EXPECT_EQ(values, 7U);
    EXPECT_EQ(lines.readLine(0), 1) << "all is as it was";
    fake.refused[GPIO_V2_LINE_GET_VALUES_IOCTL] = EINTR;
    EXPECT_EQ(lines.readLine(0), 1);
}

TEST_F(GpioRequest, RefusalsNameTheHolderInTheLog)
{
    LogRecorder log(Diag::diagLogger());
    CGpioRequest lines;
    EXPECT_EQ(lines.request("soc", {0, 3}, inputs()), -16);
    EXPECT_EQ(lines.request("no chip", {1}, inputs()), -19);
    EXPECT_EQ(lines.request({"nobody"}, inputs()), -2);
    EXPECT_THAT(log.texts(),
                ElementsAre("GPIO chip soc, lines 0 3: /dev/gpiochip0: Resource busy (-16), line 3 is held by "
                            "gpio-keys",
                            "GPIO chip no chip, line 1: /dev: No such device (-19)",
                            "GPIO line nobody: /dev: No such entity (-2)"));
    fake.calls.clear();
    GpioRequestSettings edgeOfOutput = outputs(0);
    edgeOfOutput.edge = GpioEdgeBoth;
    EXPECT_EQ(lines.request("soc", {0}, edgeOfOutput), -22);
    EXPECT_EQ(lines.request("soc", {}, inputs()), -22);
    EXPECT_EQ(lines.request("soc", std::vector<unsigned int>(65, 0), inputs()), -22);
    EXPECT_THAT(fake.calls, ElementsAre());
}
