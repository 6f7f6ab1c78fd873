// A lamp that an output drives, and a button whose edge is waited for.

// [gpio]
#include <cstdio>

#include <kiv/ErrorToString.h>
#include <kiv/GpioLine.h>
#include <kiv/sysfs_tools.h>

int main()
{
    const char* chip = "9030000.pl061"; // line numbers move between kernels, labels of chips do not
    Kiv::GpioLineSettings shining;
    shining.direction = Kiv::PinDirectionOutput;
    shining.first = Kiv::GpioFirstHigh; // from its first moment on
    Kiv::CGpioLine lamp;
    if (const int error = lamp.takeOn(chip, 1, shining)) // also when an earlier run left it exported
    {
        std::printf("no lamp: %s\n", ErrorToString(static_cast<ErrCode>(error)));
        return 1;
    }
    std::printf("lamp %d\n", lamp.read());

    Kiv::GpioLineSettings watched;
    watched.edge = Kiv::GpioEdgeRising;
    Kiv::CGpioLine button;
    button.takeOn(chip, 0, watched);
    Kiv::CGpioEdge edge(button.number());
    std::puts("press the button");
    std::fflush(stdout);
    std::puts(edge.wait(10000) == 1 ? "pressed" : "nobody came");
}
// [gpio]
