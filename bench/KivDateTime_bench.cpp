// An instant as text, its fields and sums, beside Qt's date and time.
#include <kiv/KivDateTime.h>

#include <QDateTime>

#include "allocations.h"

namespace
{

constexpr std::time_t start = 1577880000;

void textOfKiv(benchmark::State& state)
{
    const CAllocationCounter counter(state);
    Kiv::CDateTime moment(start);
    for (auto _ : state)
    {
        moment = moment.addSecs(1);
        benchmark::DoNotOptimize(moment.toString());
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

BENCHMARK(textOfKiv)->Name("next second as text/kiv");
BENCHMARK(textOfQt)->Name("next second as text/QDateTime");
BENCHMARK(sumOfKiv)->Name("add milliseconds/kiv");
BENCHMARK(sumOfQt)->Name("add milliseconds/QDateTime");
BENCHMARK(periodTextOfKiv)->Name("period as text/kiv");
