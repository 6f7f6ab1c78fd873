// How late a periodic alarm comes against t0 + k * I, where t0 is the time before the start. Each run takes 3 seconds;
// "drift_ns" is how much later the last tenth of the alarms was than the first, "early" how many came before their
// time.
#include <kiv/AlarmTimer.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/asio.hpp>
#include <log4cplus/logger.h>
#include <sys/prctl.h>

namespace
{

using Clock = std::chrono::steady_clock;
constexpr unsigned runMsecs = 3000;

double medianOf(std::vector<double> values, double percentile = 0.5)
{
    const auto at = static_cast<std::ptrdiff_t>(percentile * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<std::size_t>(at)];
}

/// The times of one run's alarms.
class Alarms
{
public:
    explicit Alarms(unsigned intervalMsecs) : interval(intervalMsecs), count(runMsecs / intervalMsecs)
    {
        times.reserve(count);
    }

    /// The schedule starts now.
    void begin() { start = Clock::now(); }

    Clock::time_point due(std::size_t alarm) const { return start + static_cast<int64_t>(alarm + 1) * interval; }
    Clock::time_point nextDue() const { return due(times.size()); }

    /// Notes an alarm; false when it was the last one.
    bool note()
    {
        times.push_back(Clock::now());
        return times.size() < count;
    }

    void report(benchmark::State& state) const
    {
        std::vector<double> lateness;
        for (std::size_t i = 0; i < times.size(); ++i)
            lateness.push_back(static_cast<double>(std::chrono::nanoseconds(times[i] - due(i)).count()));
        const auto tenth = static_cast<std::ptrdiff_t>(count / 10);
        state.counters["p50_ns"] = medianOf(lateness);
        state.counters["p99_ns"] = medianOf(lateness, 0.99);
        state.counters["drift_ns"] =
            medianOf({lateness.end() - tenth, lateness.end()}) - medianOf({lateness.begin(), lateness.begin() + tenth});
        state.counters["early"] =
            static_cast<double>(std::count_if(lateness.begin(), lateness.end(), [](double late) { return late < 0; }));
    }

    const std::chrono::milliseconds interval;
    const std::size_t count;

private:
    Clock::time_point start;
    std::vector<Clock::time_point> times;
};

template<unsigned msecs>
void alarmKiv(benchmark::State& state)
{
    log4cplus::Logger::getInstance("AlarmTimerLogger").setLogLevel(log4cplus::OFF_LOG_LEVEL);
    for (auto _ : state)
    {
        Kiv::CAlarmTimer timer(msecs);
        Alarms alarms(msecs);
        timer.setAlarmCallback([&alarms] { return alarms.note(); });
        alarms.begin();
        timer.start();
        while (timer.isStarted())
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        alarms.report(state);
    }
}

template<unsigned msecs>
void alarmAsio(benchmark::State& state)
{
    for (auto _ : state)
    {
        boost::asio::io_context context(1);
        boost::asio::steady_timer timer(context);
        Alarms alarms(msecs);
        std::function<void(const boost::system::error_code&)> alarm = [&](const boost::system::error_code&) {
            if (!alarms.note())
                return;
            timer.expires_at(alarms.nextDue());
            timer.async_wait(alarm);
        };
        alarms.begin();
        timer.expires_at(alarms.nextDue());
        timer.async_wait(alarm);
        std::thread([&context] { context.run(); }).join();
        alarms.report(state);
    }
}

void sleepUntil(Clock::time_point due)
{
    const auto nsecs = std::chrono::nanoseconds(due.time_since_epoch()).count();
    const timespec time{static_cast<time_t>(nsecs / 1'000'000'000), static_cast<long>(nsecs % 1'000'000'000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

template<unsigned msecs>
void alarmNanosleep(benchmark::State& state)
{
    for (auto _ : state)
    {
        Alarms alarms(msecs);
        std::thread([&alarms] {
            prctl(PR_SET_TIMERSLACK, 1UL);
            alarms.begin();
            do
                sleepUntil(alarms.nextDue());
            while (alarms.note());
        }).join();
        alarms.report(state);
    }
}

} // namespace

BENCHMARK(alarmKiv<1>)->Name("alarm every 1 ms, 3 s/kiv")->UseRealTime()->Iterations(1);
BENCHMARK(alarmAsio<1>)->Name("alarm every 1 ms, 3 s/Boost.Asio steady_timer")->UseRealTime()->Iterations(1);
BENCHMARK(alarmNanosleep<1>)->Name("alarm every 1 ms, 3 s/clock_nanosleep")->UseRealTime()->Iterations(1);
BENCHMARK(alarmKiv<10>)->Name("alarm every 10 ms, 3 s/kiv")->UseRealTime()->Iterations(1);
BENCHMARK(alarmAsio<10>)->Name("alarm every 10 ms, 3 s/Boost.Asio steady_timer")->UseRealTime()->Iterations(1);
BENCHMARK(alarmNanosleep<10>)->Name("alarm every 10 ms, 3 s/clock_nanosleep")->UseRealTime()->Iterations(1);
