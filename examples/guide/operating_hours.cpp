// Operating hours that survive restarts.

// [operating_hours]
#include <chrono>
#include <cstdio>

#include <kiv/ErrorToString.h>
#include <kiv/OperatingHours.h>
#include <kiv/Thread.h>

int main()
{
    for (int start = 1; start <= 2; ++start) // the second one stands for the program's next start
    {
        Kiv::COperatingHours hours("pump.hours");
        if (const int error = hours.open(); error != 0)
            std::printf("not saved: %s\n", ErrorToString(static_cast<ErrCode>(error)));
        hours.takeOver("hours.bin"); // of the meter that older versions had; once, and only if it is there

        hours.start(); // with the pump, from any thread; waits for nothing
        Kiv::CThread::sleep(20);
        hours.stop();

        const Kiv::OperatingHours now = hours.reading();
        std::printf("%s after %llu starts\n", now.total >= std::chrono::milliseconds(20 * start) ? "goes on" : "wrong",
                    static_cast<unsigned long long>(now.starts));
    } // has saved what there was to save
}
// [operating_hours]
