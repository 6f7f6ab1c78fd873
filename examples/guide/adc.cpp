// A level that an analogue input shows.

// [adc]
#include <cstdio>

#include <kiv/AnalogInput.h>
#include <kiv/ErrorToString.h>

int main()
{
    const Kiv::CAnalogInput sensor("ads1015", 0); // the converter's name, as its driver tells it, and the channel
    Kiv::AnalogUnit metres;
    metres.perVolt = 2.5;
    metres.maximum = 4; // a broken wire reads as more
    for (int i = 0; i < 2; ++i)
    {
        double level = 0;
        if (const int error = sensor.read(metres, level)) // reads the files anew each time
            std::printf("no level: %s\n", ErrorToString(static_cast<ErrCode>(error)));
        else
            std::printf("%.2f m\n", level);
        metres.minimum = 0.1;
    }
}
// [adc]
