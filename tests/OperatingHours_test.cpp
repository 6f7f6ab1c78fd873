#include <kiv/OperatingHours.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/testkit/VirtualClock.h>

#include "support/TemporaryDirectory.h"

using namespace std::chrono_literals;
using Kiv::COperatingHours;
using Kiv::OperatingHours;
using std::chrono::milliseconds;

namespace
{

constexpr int badMessage = -0x404A;
constexpr std::size_t placeSize = 4096;

class OperatingHoursKept : public testing::Test
{
protected:
    /// What is saved, in milliseconds.
    long saved(unsigned number = 0) const
    {
        OperatingHours found;
        EXPECT_EQ(COperatingHours::read(path, number, found), 0);
        return found.total.count();
    }

    std::string content() const
    {
        std::ostringstream bytes;
        bytes << std::ifstream(path, std::ios::binary).rdbuf();
        return bytes.str();
    }

    void write(const std::string& bytes) const { std::ofstream(path, std::ios::binary) << bytes; }

    TemporaryDirectory directory;
    std::string path = directory.path() / "hours";
    Kiv::TestKit::CVirtualClock clock;
};

} // namespace

TEST_F(OperatingHoursKept, ShortRunsAddUpWhateverHappensToTheCalendar)
{
    COperatingHours hours(path);
    ASSERT_EQ(hours.open(), 0);
    for (int run = 0; run < 10; ++run)
    {
        hours.start();
        hours.start(); // runs already
        ASSERT_EQ(clock.advance(900ms), 0);
        hours.stop();
        hours.stop();
        clock.setWallTime(Kiv::TestKit::CVirtualClock::newYear2024 + (run % 2 == 0 ? 72h : -72h));
        ASSERT_EQ(clock.advance(1h), 0);
    }
    EXPECT_EQ(hours.reading().total, 9s);
    EXPECT_EQ(hours.reading().starts, 10U);
    hours.start();
    ASSERT_EQ(clock.suspend(8h), 0);
    EXPECT_EQ(hours.reading().total, 8h + 9s) << "what runs on while the system sleeps";
}

TEST_F(OperatingHoursKept, IsSavedEveryIntervalAndAfterStop)
{
    COperatingHours hours(path, 0, 60s);
    ASSERT_EQ(hours.open(), 0);
    EXPECT_EQ(content(), "") << "nothing to save yet";
    hours.start();
    ASSERT_EQ(clock.advance(59s), 0);
    EXPECT_EQ(content(), "");
    for (int minute = 1; minute <= 200; ++minute)
    {
        ASSERT_EQ(clock.advance(1min), 0);
        ASSERT_GE(saved(), minute * 60000L) << "never more than an interval is lost";
    }
    hours.stop();
    ASSERT_EQ(clock.settle(), 0);
    EXPECT_EQ(saved(), 12059000);
    const std::string before = content();
    ASSERT_EQ(clock.advance(24h), 0);
    EXPECT_EQ(content(), before) << "what stands still is not written";
    EXPECT_EQ(hours.lastSave(), 0);
}

TEST_F(OperatingHoursKept, GoesOnFromItsFileAndSharesItByNumbers)
{
    for (int run = 1; run <= 3; ++run)
    {
        COperatingHours pump(path, 0);
        COperatingHours fan(path, 1);
        ASSERT_EQ(pump.open(), 0);
        ASSERT_EQ(fan.open(), 0);
        EXPECT_EQ(pump.reading().starts, static_cast<unsigned>(run - 1));
        pump.start();
        fan.add(10s, 5);
        ASSERT_EQ(clock.advance(90s), 0);
    } // their destructors save
    EXPECT_EQ(saved(0), 270000);
    EXPECT_EQ(saved(1), 30000);
    COperatingHours fan(path, 1);
    fan.add(1s);
    ASSERT_EQ(fan.open(), 0);
    EXPECT_EQ(fan.reading().total, 31s) << "counted before and after it was opened";
    EXPECT_EQ(fan.reading().starts, 15U);
    EXPECT_EQ(fan.reset(), 0);
    EXPECT_EQ(saved(1), 0);
    EXPECT_EQ(saved(0), 270000);
    OperatingHours found;
    EXPECT_EQ(COperatingHours::read(path, 7, found), -0x207);
    EXPECT_EQ(COperatingHours::read(path + "none", 0, found), -2);
    EXPECT_FALSE(std::filesystem::exists(path + "none"));
}

TEST_F(OperatingHoursKept, TornWriteCostsOneSaveAtMost)
{
    {
        COperatingHours hours(path);
        ASSERT_EQ(hours.open(), 0);
        hours.add(1s);
        ASSERT_EQ(hours.save(), 0);
        hours.add(1s);
        ASSERT_EQ(hours.save(), 0);
    }
    const std::string whole = content();
    ASSERT_EQ(saved(), 2000);
    // The newer one stands in the first place, since saves begin with the second.
    for (std::size_t byte = 0; byte < 40; ++byte)
    {
        std::string torn = whole;
        torn[byte] = static_cast<char>(torn[byte] ^ 0x40);
        write(torn);
        EXPECT_EQ(saved(), 1000) << "byte " << byte;
        torn = whole;
        torn[placeSize + byte] = static_cast<char>(torn[placeSize + byte] ^ 0x40);
        write(torn);
        EXPECT_EQ(saved(), 2000) << "byte " << byte;
    }
    write(whole.substr(0, 20) + std::string(placeSize - 20, '\0') + whole.substr(placeSize));
    COperatingHours hours(path);
    ASSERT_EQ(hours.open(), 0);
    hours.add(5s);
    ASSERT_EQ(hours.save(), 0);
    EXPECT_EQ(saved(), 6000) << "goes on from what was whole, into the other place";
    EXPECT_EQ(content().substr(placeSize), whole.substr(placeSize));
    // A very first save that was torn: there was nothing yet.
    write(std::string(placeSize, '\0') + whole.substr(placeSize, 20) + std::string(20, '\0'));
    COperatingHours fresh(path);
    EXPECT_EQ(fresh.open(), 0);
    EXPECT_EQ(fresh.reading().total, 0s);
}

TEST_F(OperatingHoursKept, ForeignFileIsRefusedAndLeftAsItIs)
{
    const std::string texts[] = {"[Heater]\nSetpoint=21.5\n", std::string(4, '\1'),
                                 "KivHours" + std::string(32, '\0') + "rest of another file",
                                 std::string(placeSize + 100, 'x')};
    for (const std::string& text : texts)
    {
        write(text);
        {
            COperatingHours hours(path);
            EXPECT_EQ(hours.open(), badMessage);
            hours.start();
            ASSERT_EQ(clock.advance(1h), 0);
            hours.stop();
            EXPECT_EQ(hours.save(), -9);
            EXPECT_EQ(hours.reading().total, 1h) << "it counts all the same";
        }
        EXPECT_EQ(content(), text);
        OperatingHours found;
        EXPECT_EQ(COperatingHours::read(path, 0, found), badMessage);
    }
    EXPECT_EQ(COperatingHours(directory.path()).open(), -21);
    EXPECT_EQ(COperatingHours(directory.path() / "none" / "hours").open(), -2);
}

TEST_F(OperatingHoursKept, TakesTheSecondsOfAnOldMeterOverOnce)
{
    const std::string meter = directory.path() / "meter";
    std::ofstream(meter, std::ios::binary) << std::string("text\x10\x0e\0\0", 8); // 3600 s
    for (int start = 0; start < 3; ++start)
    {
        COperatingHours hours(path);
        EXPECT_EQ(hours.takeOver(meter, 4), -9);
        ASSERT_EQ(hours.open(), 0);
        EXPECT_EQ(hours.takeOver(directory.path() / "none"), 0);
        if (start == 0)
        {
            EXPECT_EQ(hours.takeOver(meter, 0), badMessage) << "text";
            EXPECT_EQ(hours.takeOver(meter, 6), badMessage) << "too short";
        }
        EXPECT_EQ(hours.takeOver(meter, 4), 0);
        EXPECT_EQ(hours.reading().total, 1h);
        EXPECT_EQ(saved(), 3600000);
    }
}

TEST_F(OperatingHoursKept, MediumThatRefusesIsToldAndAskedAgain)
{
    std::filesystem::create_symlink("/dev/full", path);
    COperatingHours hours(path, 0, 60s);
    ASSERT_EQ(hours.open(), 0);
    hours.start();
    ASSERT_EQ(clock.advance(90s), 0);
    EXPECT_EQ(hours.lastSave(), -28);
    EXPECT_EQ(hours.save(), -28);
    EXPECT_EQ(hours.reading().total, 90s);
}

TEST(OperatingHours, CountsFromManyThreads)
{
    const TemporaryDirectory directory;
    COperatingHours hours(directory.path() / "hours");
    ASSERT_EQ(hours.open(), 0);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int run = 0; run < 200; ++run)
            {
                hours.add(1ms, 1);
                hours.start();
                hours.stop();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GE(hours.reading().total, 800ms);
    EXPECT_GE(hours.reading().starts, 801U);
    EXPECT_LE(hours.reading().starts, 1600U);
    EXPECT_EQ(hours.save(), 0);
}
