/// How late a timer of 1 ms is beside busy loops, under ordinary and under real-time scheduling, and a bare loop of
/// clock_nanosleep(2) under the same: alarm_lateness [SECONDS [LOOPS]].
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

#include <kiv/AlarmTimer.h>
#include <kiv/Deadline.h>
#include <kiv/RealTime.h>

namespace
{

using std::chrono::nanoseconds;

constexpr int priority = 20;
constexpr nanoseconds period = std::chrono::milliseconds(1);

/// Threads that never wait.
class CBusyLoops
{
public:
    explicit CBusyLoops(unsigned count)
    {
        for (unsigned i = 0; i < count; ++i)
            threads.emplace_back([this] {
                while (!isOver)
                {}
            });
    }
    ~CBusyLoops()
    {
        isOver = true;
        for (std::thread& thread : threads)
            thread.join();
    }
    CBusyLoops(const CBusyLoops&) = delete;
    CBusyLoops& operator=(const CBusyLoops&) = delete;

private:
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
};

void print(const char* name, std::vector<nanoseconds> lateness)
{
    std::sort(lateness.begin(), lateness.end());
    const auto at = [&](double part) {
        return static_cast<double>(
                   lateness[static_cast<std::size_t>(part * static_cast<double>(lateness.size() - 1))].count()) /
               1e6;
    };
    std::printf("%-34s p50 %8.3f ms  p99 %8.3f ms  max %8.3f ms\n", name, at(0.5), at(0.99), at(1));
}

void measureTimer(const char* name, std::size_t alarms, bool isRealTime, bool takesTurns)
{
    std::vector<nanoseconds> lateness;
    lateness.reserve(alarms);
    Kiv::CAlarmTimer timer(1);
    timer.takeTurns(takesTurns);
    if (isRealTime && timer.setRealTimePriority(Kiv::RealTimeFifo, priority) != 0)
    {
        std::printf("%-34s no right to it\n", name);
        return;
    }
    nanoseconds due{};
    timer.setAlarmCallback([&] {
        due += period;
        lateness.push_back(Kiv::CDeadline::now() - due);
        return lateness.size() < alarms;
    });
    due = Kiv::CDeadline::now();
    timer.start();
    while (timer.isStarted())
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    print(name, lateness);
}

void measureBareLoop(const char* name, std::size_t alarms, bool isRealTime)
{
    std::vector<nanoseconds> lateness;
    lateness.reserve(alarms);
    std::thread([&] {
        if (isRealTime && Kiv::setRealTimePriority(Kiv::RealTimeFifo, priority) != 0)
            return;
        nanoseconds due = Kiv::CDeadline::now();
        while (lateness.size() < alarms)
        {
            due += period;
            const timespec moment = {static_cast<std::time_t>(due.count() / 1000000000),
                                     static_cast<long>(due.count() % 1000000000)};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, nullptr);
            lateness.push_back(Kiv::CDeadline::now() - due);
        }
    }).join();
    if (lateness.empty())
        std::printf("%-34s no right to it\n", name);
    else
        print(name, lateness);
}

} // namespace

int main(int argc, char** argv)
{
    const auto alarms = static_cast<std::size_t>(argc > 1 ? std::atoi(argv[1]) : 3) * 1000;
    const CBusyLoops loops(static_cast<unsigned>(argc > 2 ? std::atoi(argv[2]) : 3));
    measureTimer("timer, ordinary", alarms, false, true);
    measureBareLoop("clock_nanosleep, ordinary", alarms, false);
    measureTimer("timer, FIFO 20", alarms, true, true);
    measureTimer("timer, FIFO 20, without turns", alarms, true, false);
    if (Kiv::lockMemory() == 0)
        measureTimer("timer, the same, locked memory", alarms, true, false);
    measureBareLoop("clock_nanosleep, FIFO 20", alarms, true);
}
