#include <kiv/Mutex.h>

#include <atomic>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

using Kiv::CMutex;

TEST(Mutex, SecondThreadWaitsForEveryUnlockOfTheOwner)
{
    CMutex mutex;
    std::atomic<bool> unlockedOnce{false};
    std::atomic<bool> unlockedTwice{false};
    mutex.lock();
    mutex.lock();
    bool sawBoth = false;
    std::thread other([&] {
        const std::lock_guard<CMutex> guard(mutex);
        sawBoth = unlockedOnce && unlockedTwice;
    });
    unlockedOnce = true;
    mutex.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    unlockedTwice = true;
    mutex.unlock();
    other.join();
    EXPECT_TRUE(sawBoth);
}

TEST(Mutex, GuardsPlainDataAgainstManyThreads)
{
    CMutex mutex;
    int sum = 0;
    const auto add = [&] {
        for (int i = 0; i < 10000; ++i)
        {
            const std::lock_guard<CMutex> guard(mutex);
            ++sum;
        }
    };
    std::thread first(add);
    std::thread second(add);
    first.join();
    second.join();
    EXPECT_EQ(sum, 20000);
}
