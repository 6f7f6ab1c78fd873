// A periodic alarm, and a deadline that its owner asks about.

// [timers]
#include <chrono>
#include <cstdio>

#include <kiv/AlarmTimer.h>
#include <kiv/Deadline.h>
#include <kiv/Thread.h>

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

    const auto deadline = Kiv::CDeadline::in(std::chrono::seconds(10));
    while (timer.isStarted() && !deadline.isExpired())
        Kiv::CThread::sleep(5);
    std::puts(deadline.isExpired() ? "late" : "in time");
}
// [timers]
