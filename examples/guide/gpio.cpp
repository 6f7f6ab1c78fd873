// A lamp on an output line that never glitches, and a button that is waited for.

// [gpio]
#include <cstdio>

#include <kiv/ErrorToString.h>
#include <kiv/linux_gpio.h>
#include <kiv/sysfs_tools.h>

int main()
{
    const int base = Kiv::gpio_chip_base("9030000.pl061"); // chip numbers move between kernels, labels do not
    if (base < 0)
    {
        std::printf("no chip: %s\n", ErrorToString(static_cast<ErrCode>(base)));
        return 1;
    }
    const unsigned lamp = static_cast<unsigned>(base) + 1;
    Kiv::gpio_export(lamp);
    Kiv::gpio_wait_access(lamp, 1000);             // udev may need a moment
    Kiv::gpio_set_output(lamp, Kiv::PinValueHigh); // an output that is high from its first moment on
    std::printf("lamp %d\n", Kiv::CLinuxIoPin(lamp, Kiv::PinDirectionOutput, Kiv::PinModeActiveHigh).read());

    const unsigned button = static_cast<unsigned>(base);
    Kiv::CLinuxIoPin input(button, Kiv::PinDirectionInput, Kiv::PinModeActiveHigh);
    input.connect(); // export, and make it an input
    Kiv::gpio_set_edge(button, "rising");
    Kiv::CGpioEdge edge(button);
    std::puts("press the button");
    std::fflush(stdout);
    std::puts(edge.wait(10000) == 1 ? "pressed" : "nobody came");
}
// [gpio]
