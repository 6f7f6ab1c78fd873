// An output that is right from its first moment on, at each start of the program.

// [safe_output]
#include <cstdio>

#include <kiv/ErrorToString.h>
#include <kiv/GpioLine.h>

int main()
{
    Kiv::GpioLineSettings closed;
    closed.direction = Kiv::PinDirectionOutput;
    closed.mode = Kiv::PinModeActiveLow;     // high keeps the brake closed
    closed.first = Kiv::GpioFirstLow;        // not released, without a moment in between
    for (int start = 1; start <= 2; ++start) // the second one finds the line exported
    {
        Kiv::CGpioLine brake;
        const int error = brake.takeOn("9030000.pl061", 1, closed); // the label: cat /sys/class/gpio/gpiochip*/label
        if (error != 0)
            std::printf("start %d: %s\n", start, ErrorToString(static_cast<ErrCode>(error)));
        else
            std::printf("start %d: the brake stays closed\n", start);
    }
}
// [safe_output]
