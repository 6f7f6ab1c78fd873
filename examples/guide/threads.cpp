// A worker thread of one's own.

// [threads]
#include <cstdio>
#include <mutex>

#include <kiv/Mutex.h>
#include <kiv/Thread.h>

class CSampler : public Kiv::CThread
{
public:
    CSampler() : CThread("sampler") {}

    ~CSampler() override // stops its thread while its members are still there
    {
        requestStop();
        waitForCompletion(1000);
    }

    int sum() const
    {
        const std::lock_guard<Kiv::CMutex> lock(mutex);
        return total;
    }

private:
    void run() override // the body, on the new thread
    {
        for (int sample = 1; isActive() && sample <= 10; ++sample)
        {
            const std::lock_guard<Kiv::CMutex> lock(mutex);
            total += sample;
        }
    }

    mutable Kiv::CMutex mutex;
    int total = 0;
};

int main()
{
    CSampler sampler;
    sampler.start();
    const bool hasEnded = sampler.waitForCompletion(10000);
    std::printf("%s, sum %d\n", hasEnded ? "ended" : "still running", sampler.sum());
}
// [threads]
