// An output that is right from its first moment on, at each start of the program.

// [safe_output]
#include <cstdio>

#include <kiv/ErrorToString.h>
#include <kiv/sysfs_tools.h>

/// Makes a line an output with this level and no other in between, also when an earlier run left it exported or high.
int beginOutput(unsigned line, Kiv::ePinValue level)
{
    const int exported = Kiv::gpio_export(line); // says on standard error that it is exported already
    if (exported != 0 && exported != -16)        // -16: so it is, or a driver holds it and the next call finds no files
        return exported;
    if (const int error = Kiv::gpio_wait_access(line, 1000)) // udev may need a moment
        return error;
    return Kiv::gpio_set_output(line, level);
}

int main()
{
    const int base = Kiv::gpio_chip_base("9030000.pl061"); // the label: cat /sys/class/gpio/gpiochip*/label
    if (base < 0)
        return std::printf("no such chip: %s\n", ErrorToString(static_cast<ErrCode>(base))), 1;
    const unsigned brake = static_cast<unsigned>(base) + 1; // active low: high keeps it closed
    for (int start = 1; start <= 2; ++start)                // the second one finds the line exported
        if (const int error = beginOutput(brake, Kiv::PinValueHigh))
            std::printf("start %d: %s\n", start, ErrorToString(static_cast<ErrCode>(error)));
        else
            std::printf("start %d: the brake stays closed\n", start);
}
// [safe_output]
