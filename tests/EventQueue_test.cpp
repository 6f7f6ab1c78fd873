#include <kiv/EventQueue.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

constexpr unsigned patience = 60000; // milliseconds

TEST(EventQueue, KeepsOrderAndRefusesWhatDoesNotFit)
{
    Kiv::CEventQueue<std::unique_ptr<int>, 3> queue;
    std::unique_ptr<int> item;
    EXPECT_FALSE(queue.take(item, 0));
    for (int round = 0; round < 4; ++round)
    {
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(queue.post(std::make_unique<int>(i)));
        EXPECT_FALSE(queue.post(std::make_unique<int>(3), 1));
        EXPECT_EQ(queue.pending(), 3U);
        for (int i = 0; i < 3; ++i)
        {
            ASSERT_TRUE(queue.take(item, 0));
            EXPECT_EQ(*item, i);
        }
    }
}

TEST(EventQueue, ClosedItGivesAwayWhatIsThereAndTakesNothing)
{
    Kiv::CEventQueue<int, 2> queue;
    queue.post(1);
    queue.close();
    EXPECT_TRUE(queue.isClosed());
    EXPECT_FALSE(queue.post(2));
    int item = 0;
    EXPECT_TRUE(queue.take(item, 0));
    EXPECT_FALSE(queue.take(item, patience)) << "without waiting";
    EXPECT_EQ(item, 1);
}

TEST(EventQueue, CloseWakesThoseWhoWait)
{
    Kiv::CEventQueue<int, 1> empty;
    Kiv::CEventQueue<int, 1> full;
    full.post(1);
    std::atomic<int> refused{0};
    std::thread taker([&] {
        int item = 0;
        refused += !empty.take(item, patience);
    });
    std::thread poster([&] { refused += !full.post(2, patience); });
    empty.close();
    full.close();
    taker.join();
    poster.join();
    EXPECT_EQ(refused, 2);
}

TEST(EventQueue, CarriesEverythingFromManyThreadsToMany)
{
    constexpr int perPoster = 3000;
    Kiv::CEventQueue<int, 4> queue;
    std::vector<std::thread> threads;
    std::atomic<long> sum{0};
    std::atomic<int> taken{0};
    for (int poster = 0; poster < 2; ++poster)
        threads.emplace_back([&] {
            for (int i = 1; i <= perPoster; ++i)
                ASSERT_TRUE(queue.post(i, patience));
        });
    for (int taker = 0; taker < 2; ++taker)
        threads.emplace_back([&] {
            for (int item = 0; queue.take(item, patience);)
            {
                sum += item;
                if (++taken == 2 * perPoster)
                    queue.close();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(sum, long{perPoster} * (perPoster + 1));
}

} // namespace
