// Two valves that are set together, and a button whose edges carry the kernel's time.

// [gpio_request]
#include <cstdio>

#include <kiv/ErrorToString.h>
#include <kiv/GpioRequest.h>

int main()
{
    const char* chip = "9030000.pl061"; // or "/dev/gpiochip0"; lines with names are requested by these
    Kiv::GpioRequestSettings driven;
    driven.direction = Kiv::PinDirectionOutput;
    driven.firstValues = 0b01; // the first one open, the second one closed, from their first moment on
    driven.consumer = "valves";
    Kiv::CGpioRequest valves;
    if (const int error = valves.request(chip, {1, 2}, driven)) // -16 if anybody else has one of them
    {
        std::printf("no valves: %s\n", ErrorToString(static_cast<ErrCode>(error)));
        return 1;
    }
    valves.write(0b10); // both at once

    Kiv::GpioRequestSettings watched;
    watched.edge = Kiv::GpioEdgeBoth;
    watched.debounceUs = 5000;
    Kiv::CGpioRequest button;
    button.request(chip, {3}, watched);
    Kiv::GpioEdgeEvent event;
    while (button.wait(10000, event) == 1)
        std::printf("%s at %llu us, %u lost\n", event.edge == Kiv::GpioEdgeRising ? "pressed" : "released",
                    static_cast<unsigned long long>(event.timeNs / 1000), event.lostEdges);
}
// [gpio_request]
