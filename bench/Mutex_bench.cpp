// A recursive mutex that nobody else wants, taken once and taken again by its owner.
#include <kiv/Mutex.h>

#include <QMutex>
#include <benchmark/benchmark.h>

namespace
{

struct RecursiveQMutex : QMutex
{
    RecursiveQMutex() : QMutex(QMutex::Recursive) {}
};

template<class Mutex>
void lockAndUnlock(benchmark::State& state)
{
    Mutex mutex;
    for (auto _ : state)
    {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}

template<class Mutex>
void lockAgain(benchmark::State& state)
{
    Mutex mutex;
    mutex.lock();
    for (auto _ : state)
    {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
    mutex.unlock();
}

} // namespace

BENCHMARK(lockAndUnlock<Kiv::CMutex>)->Name("lock and unlock/kiv");
BENCHMARK(lockAndUnlock<RecursiveQMutex>)->Name("lock and unlock/recursive QMutex");
BENCHMARK(lockAgain<Kiv::CMutex>)->Name("lock and unlock by the owner/kiv");
BENCHMARK(lockAgain<RecursiveQMutex>)->Name("lock and unlock by the owner/recursive QMutex");
