// GPIO on the simulated board: 504 is an output that is high, 505 free, 506 a low input, 507 a high one, 511 a
// driver's.
#include <kiv/linux_gpio.h>

#include <fcntl.h>

#include "support/BoardAccess.h"

using namespace Kiv;
using testing::ElementsAre;

namespace
{

constexpr ePinDirection otherDirection = static_cast<ePinDirection>(2);
constexpr ePinValue otherValue = static_cast<ePinValue>(7);

std::string valueOf(unsigned int pin)
{
    unsigned int value = 9;
    const int result = gpio_get_value(pin, &value);
    return answer(result, value);
}

void prepare()
{
    for (const unsigned int pin : {504U, 506U, 507U})
        gpio_export(pin);
    gpio_set_dir(504, PinDirectionOutput);
    gpio_set_value(504, PinValueHigh);
    setWorld("sim/gpio/gpio507", "1");
}

class LinuxGpio : public COnBoard
{
protected:
    void SetUp() override
    {
        COnBoard::SetUp();
        if (IsSkipped())
            return;
        prepare();
        accesses();
    }
};

} // namespace

TEST_F(LinuxGpio, EachFunctionMakesOneAccess)
{
    const std::string direction = "gpio/gpio504/direction";
    const std::string value = "gpio/gpio504/value";
    const std::string high = "gpio/gpio507/value";
    const std::string toDirection = "gpio/direction";
    const std::string toSet = "gpio/set-value";
    const std::string toGet = "gpio/get-value";
    const AccessRow rows[] = {
        {"export", [] { return answer(gpio_export(505)); }, "write", "gpio/export", "505", "gpio/export",
         "gpio/export"},
        {"unexport", [] { return answer(gpio_unexport(504)); }, "write", "gpio/unexport", "504", "gpio/unexport",
         "gpio/unexport"},
        {"output", [] { return answer(gpio_set_dir(504, PinDirectionOutput)); }, "write", direction, "out\\0",
         toDirection, toDirection},
        {"input", [] { return answer(gpio_set_dir(504, PinDirectionInput)); }, "write", direction, "in\\0", toDirection,
         toDirection},
        {"other direction", [] { return answer(gpio_set_dir(504, otherDirection)); }, "write", direction, "in\\0",
         toDirection, toDirection},
        {"low", [] { return answer(gpio_set_value(504, PinValueLow)); }, "write", value, "0\\0", toSet, toSet},
        {"other value", [] { return answer(gpio_set_value(504, otherValue)); }, "write", value, "1\\0", toSet, toSet},
        {"get low", [] { return valueOf(506); }, "read", "gpio/gpio506/value", "0", toGet, "gpio/value", "0 0",
         "-300 9", "-300 1"},
        {"get high", [] { return valueOf(507); }, "read", high, "1", toGet, "gpio/value", "0 1", "-300 9", "-300 1"},
        {"edge", [] { return answer(gpio_set_edge(506, "both")); }, "write", "gpio/gpio506/edge", "both\\0",
         "gpio/set-edge", "gpio/edge", "0", "-1"},
        {"write active low",
         [] { return answer(CLinuxIoPin(504, PinDirectionOutput, PinModeActiveLow).write(PinValueHigh)); }, "write",
         value, "0\\0", toSet, toSet},
        {"read active low", [] { return answer(CLinuxIoPin(507, PinDirectionInput, PinModeActiveLow).read()); }, "read",
         high, "1", toGet, "gpio/value"},
    };
    for (const AccessRow& row : rows)
        play(row, prepare);
}

TEST_F(LinuxGpio, RefusalsOfTheKernelComeBackAsTheirCodes)
{
    CLinuxIoPin exported(504, PinDirectionInput, PinModeActiveHigh);
    const struct
    {
        const char* name;
        int result;
        int expected;
    } rows[] = {
        {"export again", gpio_export(504), -16},
        {"export a driver's", gpio_export(511), -16},
        {"export what is not there", gpio_export(9999), -22},
        {"unexport a free one", gpio_unexport(505), -22},
        {"value of an input", gpio_set_value(506, PinValueHigh), -1},
        {"value of a free one", gpio_set_value(505, PinValueHigh), -2},
        {"edge of a free one", gpio_set_edge(505, "both"), -1},
        {"edge of an output", gpio_set_edge(504, "both"), -5},
        {"no edge's name", gpio_set_edge(506, "Both"), -22},
        {"descriptor of a free one", gpio_fd_open(505), -1},
        {"connect an exported one", exported.connect(), -16},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.result, row.expected) << row.name;
    EXPECT_EQ(attribute("gpio/gpio504/direction"), "out\n");
    EXPECT_EQ(attribute("sim/gpio/gpio504"), "1\n");
}

TEST_F(LinuxGpio, NullArgumentsTouchNothing)
{
    EXPECT_EQ(gpio_get_value(504, nullptr), -22);
    EXPECT_EQ(gpio_set_edge(506, nullptr), -22);
    EXPECT_THAT(accesses(), ElementsAre());
}

TEST_F(LinuxGpio, DescriptorsDoNotBlockAndAreClosedInSilence)
{
    const int descriptor = gpio_fd_open(507);
    ASSERT_GE(descriptor, 0);
    EXPECT_NE(fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(gpio_fd_close(descriptor), 0);
    EXPECT_THAT(accesses(), ElementsAre("open gpio/gpio507/value r 0", "close gpio/gpio507/value - 0"));
    setWorld("sim/faults", "open /sys/class/gpio/gpio507/value ENXIO\n");
    CChildProcess child([] { return gpio_fd_open(507) == -1 && gpio_fd_close(-1) == -9 ? 0 : 1; });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.err(), "gpio/fd_open: No such device or address\n");
}

TEST_F(LinuxGpio, PinsConnectAndToggle)
{
    CLinuxIoPin pin(506, PinDirectionInput, PinModeActiveHigh);
    pin.configure(505, PinDirectionOutput, PinModeActiveLow);
    EXPECT_THAT(accesses(), ElementsAre());
    EXPECT_EQ(pin.connect(), 0);
    EXPECT_EQ(pin.read(), 1) << "an active-low output begins low";
    EXPECT_EQ(pin.toggle(), 0);
    EXPECT_EQ(pin.toggle(), 0);
    setWorld("sim/faults", "read /sys/class/gpio/gpio505/value EIO\n");
    EXPECT_EQ(pin.toggle(), 0) << "the value of a failed read is taken for 0";
    EXPECT_THAT(accesses("write"), ElementsAre("write gpio/export 505 3", "write gpio/gpio505/direction out\\0 4",
                                               "write gpio/gpio505/value 1\\0 2", "write gpio/gpio505/value 0\\0 2",
                                               "write gpio/gpio505/value 0\\0 2"));
}

TEST_F(LinuxGpio, AnythingButTheCharacterZeroReadsAsOne)
{
    for (const auto& [text, level] : {std::pair("00", 0), std::pair("x0", 1), std::pair("", 1)})
    {
        const CPlainFile value("gpio/gpio506/value", text);
        EXPECT_EQ(valueOf(506), answer(0, level)) << text;
    }
}
