// A day of a controller in a few milliseconds: its own timer, its own worker, and time in the hands of a test.

// [virtual-day]
#include <chrono>
#include <cstdio>

#include <kiv/AlarmTimer.h>
#include <kiv/EventQueue.h>
#include <kiv/KivDateTime.h>
#include <kiv/Thread.h>
#include <kiv/testkit/VirtualClock.h>

using namespace std::chrono_literals;

/// Waters the plants every five hours for ten minutes. It knows nothing of tests.
class CGarden : public Kiv::IAlarmHandler, Kiv::CThread
{
public:
    CGarden() : CThread("valve"), timer(5 * 3600 * 1000, 0, this) {}
    ~CGarden() override { stop(); }

    void open()
    {
        CThread::start();
        timer.start();
    }

    void stop()
    {
        timer.stop();
        requests.close();
        waitForCompletion(1000);
    }

    bool onAlarm(Kiv::CAlarmTimer*) override { return requests.post(1); }

    Kiv::CPeriodOfTime watered = Kiv::CPeriodOfTime::fromSeconds(0);

private:
    void run() override // the worker that moves the valve
    {
        for (int request = 0; requests.take(request, Kiv::CDeadline::never());)
        {
            const Kiv::CDateTime opened = Kiv::CDateTime::currentDateTime();
            std::printf("%s  valve open\n", opened.toString().c_str());
            sleep(10 * 60 * 1000);
            const Kiv::CDateTime closed = Kiv::CDateTime::currentDateTime();
            watered = Kiv::CPeriodOfTime::fromMSecs(static_cast<int>(watered.getMsecs() + opened.getMsecsTo(closed)));
        }
    }

    Kiv::CEventQueue<int, 4> requests;
    Kiv::CAlarmTimer timer;
};

int main()
{
    Kiv::TestKit::CVirtualClock clock; // 2024-01-01 00:00:00 UTC, and there time stands still
    CGarden garden;
    garden.open();
    if (clock.advance(24h) != 0) // runs all that falls due, and comes back when every thread waits again
        return 1;
    garden.stop();
    std::printf("watered for %s\n", garden.watered.toString().c_str());
}
// [virtual-day]
