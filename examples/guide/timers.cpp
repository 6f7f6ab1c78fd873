// A periodic alarm, and a deadline that its owner asks about.

// [timers]
#include <chrono>
#include <cstdio>
#include <thread>

#include <kiv/AlarmTimer.h>
#include <kiv/PollingTimer.h>

class CBeat : public Kiv::IAlarmHandler
{
public:
    /// On the timer's own thread; two handlers of one process never run at the same time.
    bool onAlarm(Kiv::CAlarmTimer* timer) override
    {
        std::printf("%s, beat %d\n", timer->name().c_str(), ++beats);
        return beats < 3; // false ends the run
    }

private:
    int beats = 0;
};

int main()
{
    CBeat beat;
    Kiv::CAlarmTimer timer(20, 0, &beat); // every 20 ms, without end
    timer.setName("pulse");
    timer.start();

    Kiv::CPollingTimer deadline(10000);
    while (timer.isStarted() && !deadline.isExpired())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::puts(deadline.isExpired() ? "late" : "in time");
}
// [timers]
