// A timer of 1 ms that a busy machine does not hold up, and an end by SIGTERM.

// [real_time]
#include <cstdio>

#include <kiv/AlarmTimer.h>
#include <kiv/ErrorToString.h>
#include <kiv/RealTime.h>
#include <kiv/SignalWatch.h>

int main()
{
    Kiv::CSignalWatch signals;               // before the first thread: they inherit that SIGTERM is blocked
    const int notLocked = Kiv::lockMemory(); // no page is fetched at a bad moment
    int samples = 0;
    Kiv::CAlarmTimer sampler(1);
    sampler.setAlarmCallback([&] { return ++samples < 10; });
    sampler.takeTurns(false); // no other timer's handler delays it, so it shares no data with them without a lock
    const int notInTime = sampler.setRealTimePriority(Kiv::RealTimeFifo, 20);
    for (const int error : {notLocked, notInTime})
        if (error != 0) // it runs all the same, and is late when the machine is busy
            std::fprintf(stderr, "%s; see LimitRTPRIO and LimitMEMLOCK\n", ErrorToString(static_cast<ErrCode>(error)));
    sampler.start();
    while (sampler.isStarted() && signals.wait(Kiv::CDeadline::in(std::chrono::milliseconds(5))) == 0)
        continue;
    sampler.stop();
    std::printf("%d samples\n", samples);
}
// [real_time]
