#include <kiv/linux_gpio.h>
#include <kiv/sysfs_tools.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "SysfsSandbox.h"

using namespace Kiv;
using std::string_literals::operator""s;

class LinuxGpio : public CSysfsSandbox
{};

TEST_F(LinuxGpio, WritesExactlyTheseBytes)
{
    const struct
    {
        const char* row;
        const char* path;
        std::function<int()> call;
        std::string bytes;
    } rows[] = {
        {"export", "gpio/export", [] { return gpio_export(504); }, "504"},
        {"unexport", "gpio/unexport", [] { return gpio_unexport(504); }, "504"},
        {"output", "gpio/gpio7/direction", [] { return gpio_set_dir(7, PinDirectionOutput); }, "out\0"s},
        {"input", "gpio/gpio7/direction", [] { return gpio_set_dir(7, PinDirectionInput); }, "in\0"s},
        {"other direction", "gpio/gpio7/direction", [] { return gpio_set_dir(7, static_cast<ePinDirection>(2)); },
         "in\0"s},
        {"low", "gpio/gpio7/value", [] { return gpio_set_value(7, PinValueLow); }, "0\0"s},
        {"other value", "gpio/gpio7/value", [] { return gpio_set_value(7, static_cast<ePinValue>(7)); }, "1\0"s},
        {"edge", "gpio/gpio7/edge", [] { return gpio_set_edge(7, "both"); }, "both\0"s},
        {"high at once", "gpio/gpio7/direction", [] { return gpio_set_output(7, PinValueHigh); }, "high"},
        {"low at once", "gpio/gpio7/direction", [] { return gpio_set_output(7, PinValueLow); }, "low"},
        {"active low", "gpio/gpio7/value",
         [] { return CLinuxIoPin(7, PinDirectionOutput, PinModeActiveLow).write(PinValueHigh); }, "0\0"s},
    };
    for (const auto& row : rows)
    {
        make(row.path);
        EXPECT_EQ(row.call(), 0) << row.row;
        EXPECT_EQ(content(row.path), row.bytes) << row.row;
    }
}

TEST_F(LinuxGpio, AnythingButTheCharacterZeroReadsAsOne)
{
    for (const auto& [text, level] : {std::pair("0\n", 0U), std::pair("1\n", 1U), std::pair("x", 1U)})
    {
        make("gpio/gpio7/value", text);
        unsigned int value = 9;
        EXPECT_EQ(gpio_get_value(7, &value), 0);
        EXPECT_EQ(value, level) << text;
        EXPECT_EQ(CLinuxIoPin(7, PinDirectionInput, PinModeActiveLow).read(), level == 1 ? 0 : 1);
    }
}

TEST_F(LinuxGpio, MissingLinesAnswerTheirCodeUnderTheirTag)
{
    unsigned int value = 9;
    const struct
    {
        std::function<int()> call;
        int result;
        const char* message;
    } rows[] = {
        {[] { return gpio_set_dir(3, PinDirectionInput); }, -2, "gpio/direction: No such file or directory\n"},
        {[] { return gpio_set_value(3, PinValueHigh); }, -2, "gpio/set-value: No such file or directory\n"},
        {[&] { return gpio_get_value(3, &value); }, -2, "gpio/get-value: No such file or directory\n"},
        {[] { return gpio_set_edge(3, "both"); }, -1, "gpio/set-edge: No such file or directory\n"},
        {[] { return gpio_fd_open(3); }, -1, "gpio/fd_open: No such file or directory\n"},
        {[] { return gpio_fd_close(-1); }, -9, ""},
        {[] { return gpio_get_value(3, nullptr); }, -22, ""},
        {[] { return gpio_set_edge(3, nullptr); }, -22, ""},
        {[] { return gpio_set_output(3, PinValueHigh); }, -2, ""},
        {[] { return gpio_wait_access(3, 1); }, -2, ""},
    };
    for (const auto& row : rows)
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(row.call(), row.result) << row.message;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.message);
    }
    EXPECT_EQ(value, 9U);
}

TEST_F(LinuxGpio, PinConnectsAndToggles)
{
    make("gpio/export");
    make("gpio/gpio7/direction");
    make("gpio/gpio7/value", "1\n");
    CLinuxIoPin pin(7, PinDirectionOutput, PinModeActiveHigh);
    EXPECT_EQ(pin.connect(), 0);
    EXPECT_EQ(content("gpio/gpio7/direction"), "out\0"s);
    EXPECT_EQ(pin.toggle(), 0);
    EXPECT_EQ(content("gpio/gpio7/value"), "0\0"s);
    pin.configure(8, PinDirectionOutput, PinModeActiveHigh);
    EXPECT_EQ(pin.connect(), -2);
}

TEST_F(LinuxGpio, ChipsAreFoundByLabelAndByDevice)
{
    make("gpio/gpiochip504/label", "other\n");
    make("gpio/gpiochip512/label", "9030000.pl061\n");
    EXPECT_EQ(gpio_chip_base("9030000.pl061"), 512);
    EXPECT_EQ(gpio_chip_base("9030000"), -19);
    EXPECT_EQ(gpio_chip_base(nullptr), -19);
    make("pwm/pwmchip2/npwm", "2\n");
    ASSERT_EQ(symlink("../../../devices/platform/fe20c000.pwm", (root + "pwm/pwmchip2/device").c_str()), 0);
    EXPECT_EQ(pwm_chip_number("fe20c000.pwm"), 2);
    EXPECT_EQ(pwm_chip_number("fe20c000"), -19);
}
