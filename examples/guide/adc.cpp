// A level that an analogue input shows.

// [adc]
#include <cmath>
#include <cstdio>

#include <kiv/linux_adc.h>

int main()
{
    const Kiv::CLinuxPollingADC input("/sys/class/sim/adc/in0"); // on a board: .../iio:device0/in_voltage0_raw
    const float reading = input.read();                          // reads the file anew each time
    if (std::isnan(reading))
        std::puts("the sensor is gone");
    else
        std::printf("%.0f\n", static_cast<double>(reading));
}
// [adc]
