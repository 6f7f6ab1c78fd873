/// GPIO and PWM through the real kernel of the emulated board: its PL061 lines, whose line 3 is the power button, and
/// the two PWM chips that pwm.dtsi adds. scripts/target-test runs it there, and presses the button when asked to.
#include <kiv/GpioLine.h>
#include <kiv/GpioRequest.h>
#include <kiv/LinuxPWMChip.h>
#include <kiv/linux_gpio.h>
#include <kiv/linux_pwm.h>
#include <kiv/sysfs_tools.h>

#include <fstream>
#include <iostream>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

using namespace Kiv;

namespace
{

constexpr int generousMs = 30000;

/// Asks for a press of the power button: its line rises, and falls 100 ms later.
void askForTheButton() { std::cout << "kiv-target: press the power button" << std::endl; }

unsigned int levelOf(unsigned int pin)
{
    unsigned int level = 9;
    EXPECT_EQ(gpio_get_value(pin, &level), 0);
    return level;
}

} // namespace

/// Begins and ends with no line exported.
class RealGpio : public testing::Test
{
protected:
    void SetUp() override
    {
        const int base = gpio_chip_base("9030000.pl061");
        ASSERT_GT(base, 0);
        first = static_cast<unsigned int>(base);
        line = first + 1;
        button = first + 3;
    }

    void TearDown() override
    {
        for (const unsigned int pin : {line, button})
            if (access(("/sys/class/gpio/gpio" + std::to_string(pin)).c_str(), F_OK) == 0)
                gpio_unexport(pin);
    }

    unsigned int first = 0;
    unsigned int line = 0;
    unsigned int button = 0;
};

TEST_F(RealGpio, OutputFollowsItsPin)
{
    CLinuxIoPin pin(line, PinDirectionOutput, PinModeActiveHigh);
    ASSERT_EQ(pin.connect(), 0);
    EXPECT_EQ(pin.connect(), -16);
    EXPECT_EQ(pin.write(PinValueHigh), 0);
    EXPECT_EQ(pin.read(), 1);
    EXPECT_EQ(pin.toggle(), 0);
    EXPECT_EQ(levelOf(line), 0U);
    pin.configure(line, PinDirectionOutput, PinModeActiveLow);
    EXPECT_EQ(pin.read(), 1);
    EXPECT_EQ(pin.write(PinValueLow), 0);
    EXPECT_EQ(levelOf(line), 1U);
}

TEST_F(RealGpio, OutputMayStartHighAndOutSetsItLow)
{
    ASSERT_EQ(gpio_export(line), 0);
    EXPECT_EQ(gpio_wait_access(line, generousMs), 0);
    EXPECT_EQ(gpio_set_output(line, PinValueHigh), 0);
    EXPECT_EQ(levelOf(line), 1U);
    EXPECT_EQ(gpio_unexport(line), 0);
    EXPECT_EQ(gpio_export(line), 0);
    EXPECT_EQ(levelOf(line), 1U) << "direction and level outlive unexport";
    EXPECT_EQ(gpio_set_dir(line, PinDirectionOutput), 0);
    EXPECT_EQ(levelOf(line), 0U);
}

TEST_F(RealGpio, RefusalsComeBackAsCodes)
{
    EXPECT_EQ(gpio_chip_base("no such chip"), -19);
    EXPECT_EQ(gpio_export(first + 8), -22);
    EXPECT_EQ(gpio_unexport(line), -22);
    EXPECT_EQ(gpio_set_value(line, PinValueHigh), -2);
    ASSERT_EQ(gpio_export(line), 0);
    EXPECT_EQ(gpio_export(line), -16);
    EXPECT_EQ(gpio_set_dir(line, PinDirectionInput), 0);
    EXPECT_EQ(gpio_set_value(line, PinValueHigh), -1);
    EXPECT_EQ(gpio_set_edge(line, "both"), 0);
    EXPECT_EQ(gpio_set_edge(line, "sideways"), -22);
    EXPECT_EQ(gpio_set_dir(line, PinDirectionOutput), 0);
    std::cout << "edge now: " << std::ifstream("/sys/class/gpio/gpio" + std::to_string(line) + "/edge").rdbuf()
              << std::flush;
    EXPECT_EQ(gpio_set_edge(line, "none"), 0);
    EXPECT_EQ(gpio_set_edge(line, "both"), -5);
}

TEST_F(RealGpio, DescriptorReportsTheButton)
{
    ASSERT_EQ(gpio_export(button), 0);
    ASSERT_EQ(gpio_set_dir(button, PinDirectionInput), 0);
    ASSERT_EQ(gpio_set_edge(button, "rising"), 0);
    const int fd = gpio_fd_open(button);
    ASSERT_GE(fd, 0);
    char text[4] = {};
    ASSERT_EQ(read(fd, text, sizeof text), 2);
    pollfd waiting = {fd, POLLPRI, 0};
    EXPECT_EQ(poll(&waiting, 1, 0), 0) << "an edge before the button was pressed";
    askForTheButton();
    EXPECT_EQ(poll(&waiting, 1, generousMs), 1);
    EXPECT_EQ(waiting.revents & POLLPRI, POLLPRI);
    EXPECT_EQ(gpio_fd_close(fd), 0);
}

TEST_F(RealGpio, EdgesOfTheButtonEndTheWait)
{
    ASSERT_EQ(gpio_export(button), 0);
    ASSERT_EQ(gpio_set_dir(button, PinDirectionInput), 0);
    while (levelOf(button) != 0) // released since the last press
        std::this_thread::yield();
    ASSERT_EQ(gpio_set_edge(button, "falling"), 0);
    CGpioEdge edge(button);
    ASSERT_EQ(edge.error(), 0);
    EXPECT_EQ(edge.wait(0), 0);
    askForTheButton();
    EXPECT_EQ(edge.wait(generousMs), 1);
    EXPECT_EQ(levelOf(button), 0U);
    EXPECT_EQ(edge.wait(0), 0) << "one edge counted twice";
}

TEST_F(RealGpio, WaitEndsByInterruptionAndAfterUnexport)
{
    ASSERT_EQ(gpio_export(button), 0);
    ASSERT_EQ(gpio_set_edge(button, "both"), 0);
    CGpioEdge edge(button);
    std::thread other([&] { edge.interrupt(); });
    EXPECT_EQ(edge.wait(generousMs), -36);
    other.join();
    EXPECT_EQ(gpio_unexport(button), 0);
    EXPECT_EQ(edge.wait(generousMs), -19);
}

/// The same lines by the character device.
TEST_F(RealGpio, RequestsDriveSeveralLinesAtOnceAndExcludeOthers)
{
    const char* chip = "9030000.pl061";
    GpioRequestSettings settings;
    settings.direction = PinDirectionOutput;
    settings.firstValues = 2;
    settings.consumer = "hardware test";
    CGpioRequest lines;
    ASSERT_EQ(lines.request(chip, {1, 4}, settings), 0);
    std::uint64_t values = 9;
    EXPECT_EQ(lines.read(values), 0);
    EXPECT_EQ(values, 2U);
    EXPECT_EQ(lines.write(1), 0);
    EXPECT_EQ(lines.read(values), 0);
    EXPECT_EQ(values, 1U);
    EXPECT_EQ(lines.writeLine(1, PinValueHigh), 0);
    EXPECT_EQ(lines.readLine(1), 1);
    GpioLineInfo info;
    EXPECT_EQ(gpio_line(chip, 4, info), 0);
    EXPECT_TRUE(info.isHeld);
    EXPECT_EQ(info.consumer, "hardware test");
    EXPECT_EQ(info.direction, PinDirectionOutput);
    CGpioRequest other;
    EXPECT_EQ(other.request(chip, {4}, settings), -16);
    EXPECT_EQ(other.request(chip, {8}, settings), -22);
    CGpioLine byFiles;
    EXPECT_EQ(byFiles.take(line, GpioLineSettings()), -16);
    settings.mode = PinModeActiveLow;
    EXPECT_EQ(lines.reconfigure(settings), 0);
    EXPECT_EQ(lines.read(values), 0);
    EXPECT_EQ(values, 2U);
    lines.release();
    ASSERT_EQ(byFiles.take(line, GpioLineSettings()), 0);
    EXPECT_EQ(other.request(chip, {1}, settings), -16) << "held by the files";
    EXPECT_EQ(gpio_line(chip, 1, info), 0);
    EXPECT_EQ(info.consumer, "sysfs");
    CGpioLine again;
    EXPECT_EQ(again.take(line, GpioLineSettings()), 0);
    EXPECT_TRUE(again.isAdopted());
}

TEST_F(RealGpio, EdgesOfARequestCarryTheKernelsTime)
{
    GpioRequestSettings settings;
    settings.edge = GpioEdgeBoth;
    CGpioRequest request;
    ASSERT_EQ(request.request("9030000.pl061", {3}, settings), 0);
    while (request.readLine(0) != 0) // released since the last press
        std::this_thread::yield();
    GpioEdgeEvent event;
    while (request.wait(0, event) == 1)
        continue;
    const std::uint32_t before = event.sequence;
    const auto begin = CDeadline::now();
    askForTheButton();
    ASSERT_EQ(request.wait(generousMs, event), 1);
    EXPECT_EQ(event.edge, GpioEdgeRising);
    EXPECT_EQ(event.sequence, before + 1);
    EXPECT_GE(event.timeNs, static_cast<std::uint64_t>(begin.count()));
    const std::uint64_t pressed = event.timeNs;
    ASSERT_EQ(request.wait(generousMs, event), 1);
    EXPECT_EQ(event.edge, GpioEdgeFalling);
    EXPECT_EQ(event.lineSequence, before + 2);
    EXPECT_EQ(event.lostEdges, 0U);
    EXPECT_GT(event.timeNs, pressed);
    request.interrupt();
    EXPECT_EQ(request.wait(generousMs, event), -36);
}

/// The chips by the names of their devices; their drivers keep the values in the registers of nobody.
class RealPwm : public testing::TestWithParam<std::pair<const char*, unsigned char>>
{
protected:
    void SetUp() override
    {
        const int number = pwm_chip_number(GetParam().first);
        ASSERT_GE(number, 0);
        chip = static_cast<unsigned char>(number);
    }

    void TearDown() override
    {
        for (unsigned char channel = 0; channel < GetParam().second; ++channel)
        {
            const std::string folder =
                "/sys/class/pwm/pwmchip" + std::to_string(chip) + "/pwm" + std::to_string(channel);
            if (access(folder.c_str(), F_OK) != 0)
                continue;
            pwm_set_enabled(chip, channel, false);
            pwm_unexport(chip, channel);
        }
    }

    unsigned char chip = 0;
};

TEST_P(RealPwm, ChannelKeepsWhatWasSet)
{
    unsigned char channels = 0;
    EXPECT_EQ(pwm_get_channel_count(chip, channels), 0);
    EXPECT_EQ(channels, GetParam().second);
    EXPECT_EQ(pwm_export(chip, channels), -19);
    EXPECT_EQ(pwm_unexport(chip, 0), -19);
    ASSERT_EQ(pwm_export(chip, 0), 0);
    EXPECT_EQ(pwm_export(chip, 0), -16);
    EXPECT_EQ(pwm_wait_access(chip, 0, generousMs), 0);
    ASSERT_EQ(pwm_set_period(chip, 0, 1000000), 0);
    EXPECT_EQ(pwm_set_duty_cycle(chip, 0, 250000), 0);
    EXPECT_EQ(pwm_set_polarity(chip, 0, PWMPolarityInversed), 0);
    EXPECT_EQ(pwm_set_enabled(chip, 0, true), 0);
    EXPECT_EQ(pwm_set_duty_cycle(chip, 0, 1000001), -22) << "longer than the period";
    EXPECT_EQ(pwm_set_period(chip, 0, 0), -22);
    unsigned int ns = 0;
    bool on = false;
    EXPECT_EQ(pwm_get_period(chip, 0, ns), 0);
    EXPECT_EQ(ns, 1000000U);
    EXPECT_EQ(pwm_get_duty_cycle(chip, 0, ns), 0);
    EXPECT_EQ(ns, 250000U);
    EXPECT_EQ(pwm_get_enabled(chip, 0, on), 0);
    EXPECT_TRUE(on);
    EXPECT_EQ(pwm_unexport(chip, 0), 0);
    EXPECT_EQ(pwm_export(chip, 0), 0);
    EXPECT_EQ(pwm_get_enabled(chip, 0, on), 0);
    EXPECT_TRUE(on) << "an output keeps running when its channel is unexported";
}

TEST_P(RealPwm, ChipChangesThePeriodOfAllChannels)
{
    const unsigned char channels = GetParam().second;
    for (unsigned char channel = 0; channel < channels; ++channel)
    {
        ASSERT_EQ(pwm_export(chip, channel), 0);
        ASSERT_EQ(pwm_set_period(chip, channel, 1000000), 0);
    }
    CLinuxPWMChip pwm(chip, channels);
    for (unsigned char channel = 0; channel < channels; ++channel)
    {
        EXPECT_EQ(pwm.setPolarity(channel, PWMPolarityNormal), 0);
        EXPECT_EQ(pwm.setDutyCycle(channel, 900000), 0);
        EXPECT_EQ(pwm.setOn(channel, true), 0);
    }
    ASSERT_EQ(pwm.setPeriod(500000), 0);
    for (unsigned char channel = 0; channel < channels; ++channel)
    {
        unsigned int ns = 9;
        bool on = true;
        EXPECT_EQ(pwm_get_period(chip, channel, ns), 0);
        EXPECT_EQ(ns, 500000U);
        EXPECT_EQ(pwm_get_duty_cycle(chip, channel, ns), 0);
        EXPECT_EQ(ns, 0U);
        EXPECT_EQ(pwm_get_enabled(chip, channel, on), 0);
        EXPECT_FALSE(on);
        EXPECT_EQ(pwm.setDutyCycle(channel, 500000), 0);
        EXPECT_EQ(pwm.setOn(channel, true), 0);
        EXPECT_TRUE(pwm.isOn(channel));
    }
}

INSTANTIATE_TEST_SUITE_P(Drivers, RealPwm,
                         testing::Values(std::pair("7f000000.pwm", static_cast<unsigned char>(2)),
                                         std::pair("7f100000.pwm", static_cast<unsigned char>(1))),
                         [](const auto& chip) { return chip.param.second == 2 ? "bcm2835" : "rk3288"; });
