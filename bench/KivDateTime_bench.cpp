// An instant as text, its fields and sums, beside Qt's date and time.
#include <kiv/KivDateTime.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include <QDateTime>

#include "allocations.h"

namespace
{

constexpr std::time_t start = 1577880000;

/// What one writes without the library; it does not notice another TZ.
std::string textOfLibrary(std::time_t moment)
{
    std::tm parts{};
    localtime_r(&moment, &parts);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

std::string textOfMoment(std::time_t moment) { return Kiv::CDateTime(moment).toString(); }

/// Moments of twenty years in no order, or one second after the other.
template<std::string (*ToText)(std::time_t), bool IsRandom, bool IsNamed>
void text(benchmark::State& state)
{
    IsNamed ? setenv("TZ", "Europe/Berlin", 1) : unsetenv("TZ");
    tzset();
    const CAllocationCounter counter(state);
    std::time_t moment = start;
    std::uint32_t random = 1;
    for (auto _ : state)
    {
        random = random * 1664525U + 1013904223U;
        moment = IsRandom ? start + random % 630720000U : moment + 1;
        benchmark::DoNotOptimize(ToText(moment));
    }
}

void textOfQt(benchmark::State& state)
{
    const CAllocationCounter counter(state);
    QDateTime moment = QDateTime::fromSecsSinceEpoch(start);
    for (auto _ : state)
    {
        moment = moment.addSecs(1);
        benchmark::DoNotOptimize(moment.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    }
}

void sumOfKiv(benchmark::State& state)
{
    Kiv::CDateTime moment(start);
    for (auto _ : state)
    {
        moment = moment.addMSecs(700);
        benchmark::DoNotOptimize(moment);
    }
}

void sumOfQt(benchmark::State& state)
{
    QDateTime moment = QDateTime::fromSecsSinceEpoch(start);
    for (auto _ : state)
    {
        moment = moment.addMSecs(700);
        benchmark::DoNotOptimize(moment);
    }
}

void periodTextOfKiv(benchmark::State& state)
{
    const CAllocationCounter counter(state);
    unsigned msecs = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            Kiv::CPeriodOfTime::fromMSecs(static_cast<int>((msecs += 12345) & 0xFFFFFF)).toString());
}

} // namespace

BENCHMARK(text<textOfMoment, false, true>)->Name("next second as text/kiv");
BENCHMARK(text<textOfLibrary, false, true>)->Name("next second as text/localtime_r, strftime");
BENCHMARK(text<textOfMoment, true, true>)->Name("any second as text/kiv");
BENCHMARK(text<textOfLibrary, true, true>)->Name("any second as text/localtime_r, strftime");
BENCHMARK(text<textOfMoment, false, false>)->Name("next second as text, no TZ/kiv");
BENCHMARK(text<textOfLibrary, false, false>)->Name("next second as text, no TZ/localtime_r, strftime");
BENCHMARK(text<textOfMoment, true, false>)->Name("any second as text, no TZ/kiv");
BENCHMARK(text<textOfLibrary, true, false>)->Name("any second as text, no TZ/localtime_r, strftime");
BENCHMARK(textOfQt)->Name("next second as text/QDateTime");
BENCHMARK(sumOfKiv)->Name("add milliseconds/kiv");
BENCHMARK(sumOfQt)->Name("add milliseconds/QDateTime");
BENCHMARK(periodTextOfKiv)->Name("period as text/kiv");
