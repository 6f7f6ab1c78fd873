#include <kiv/HourMeter.h>

#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include <kiv/FileStorage.h>
#include <kiv/testkit/VirtualClock.h>

#include "kiv/files/HourMeterPrivate.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using namespace std::chrono_literals;

namespace
{

constexpr ErrCode inputOutputError = 0U - 5U;
constexpr int offset = 8;

/// A storage of 16 bytes, all of them zero.
class HourMeter : public testing::Test
{
protected:
    HourMeter()
    {
        std::ofstream(path, std::ios::binary) << std::string(16, '\0');
        EXPECT_EQ(storage->open(path), 0U);
    }

    /// What the file holds, whatever the storage keeps back.
    std::uint32_t recordInFile() const
    {
        std::ifstream file(path, std::ios::binary);
        std::uint32_t seconds = 0;
        file.seekg(offset).read(reinterpret_cast<char*>(&seconds), sizeof seconds);
        return seconds;
    }

    std::uint32_t record() const
    {
        EXPECT_EQ(storage->flush(), 0U);
        return recordInFile();
    }

    void writeRecord(std::uint32_t seconds)
    {
        std::array<char, sizeof seconds> bytes{};
        std::memcpy(bytes.data(), &seconds, sizeof seconds);
        EXPECT_EQ(storage->write(bytes.data(), bytes.size(), offset), 0U);
    }

    /// The step itself, on a clock that can be pushed.
    Kiv::CHourMeterPrivate stepper(int saveInterval) const
    {
        Kiv::CHourMeterPrivate meter(nullptr, saveInterval);
        meter.storage = storage;
        meter.offset = offset;
        return meter;
    }

    TemporaryDirectory directory;
    std::string path = directory.path() / "hours";
    std::shared_ptr<Kiv::CFileStorage> storage = std::make_shared<Kiv::CFileStorage>(16);
};

} // namespace

TEST_F(HourMeter, GoesOnFromItsRecord)
{
    writeRecord(3600);
    Kiv::CHourMeter meter(-1);
    meter.setMemory(storage, offset);
    EXPECT_EQ(meter.initialize(), 0U);
    EXPECT_EQ(meter.reading(), 3600U);
    ASSERT_TRUE(waitUntil([&] { return meter.reading() > 3600; }));
    EXPECT_GT(record(), 3600U);
    meter.reset();
    EXPECT_EQ(record(), 0U);
    EXPECT_LT(meter.reading(), 3600U);
    EXPECT_EQ(meter.save(), 0U);
}

TEST_F(HourMeter, CountsWholeSecondsAndKeepsTheRestOfOne)
{
    Kiv::CHourMeterPrivate meter = stepper(-1);
    const auto before = meter.lastUpdate -= 300ms;
    meter.update();
    EXPECT_EQ(meter.reading, 0U);
    EXPECT_EQ(meter.lastUpdate, before) << "so that it counts when the second is full";
    meter.lastUpdate -= 10min;
    meter.update();
    EXPECT_GE(meter.reading, 600U);
    EXPECT_LE(meter.reading, 660U);
    EXPECT_EQ(record(), meter.reading);

    const std::uint32_t counted = meter.reading;
    meter.lastUpdate += 1h; // the clock was set back
    meter.update();
    EXPECT_EQ(meter.reading, counted);

    meter.reading = 0xFFFFFFFF;
    meter.lastUpdate = std::chrono::system_clock::now() - 5s;
    meter.update();
    EXPECT_LT(meter.reading, 60U) << "wraps";
}

TEST_F(HourMeter, SavesByTheTimeSinceTheReadingBefore)
{
    const struct
    {
        int interval;
        std::chrono::seconds pause;
        bool isSaved;
    } rows[] = {{-1, 1s, true}, {0, 1s, true}, {-7, 1s, true}, {60, 10s, false}, {60, 61s, true}, {1000, 900s, false}};
    for (const auto& row : rows)
    {
        writeRecord(7);
        Kiv::CHourMeterPrivate meter = stepper(row.interval);
        for (int i = 0; i < 8; ++i) // the pauses do not add up
        {
            meter.lastUpdate -= row.pause;
            meter.update();
        }
        EXPECT_EQ(record(), row.isSaved ? meter.reading : 7) << row.interval;
        EXPECT_EQ(meter.lastSave == meter.lastUpdate, row.isSaved) << row.interval;
    }
}

TEST_F(HourMeter, SaveCountsAndBringsTheRecordToTheFile)
{
    Kiv::TestKit::CVirtualClock clock;
    writeRecord(3600);
    Kiv::CHourMeter meter(1000000);
    meter.setMemory(storage, offset);
    EXPECT_EQ(meter.initialize(), 0U);
    ASSERT_EQ(clock.advance(1100ms), 0); // a second that nobody has read
    EXPECT_EQ(meter.save(), 0U);
    EXPECT_GT(recordInFile(), 3600U);
    EXPECT_GE(meter.reading(), recordInFile());
}

TEST_F(HourMeter, ResetKeepsTheTimeThatNobodyHasRead)
{
    Kiv::TestKit::CVirtualClock clock;
    writeRecord(3600);
    Kiv::CHourMeter meter(-1);
    meter.setMemory(storage, offset);
    EXPECT_EQ(meter.initialize(), 0U);
    ASSERT_EQ(clock.advance(1100ms), 0);
    meter.reset();
    EXPECT_EQ(record(), 0U);
    EXPECT_GE(meter.reading(), 1U);
    EXPECT_LT(meter.reading(), 3600U);
}

TEST_F(HourMeter, MissingStorageIsHarmless)
{
    Kiv::CHourMeter meter(-1);
    EXPECT_EQ(meter.initialize(), inputOutputError);
    EXPECT_EQ(meter.save(), inputOutputError);
    meter.reset();
    EXPECT_LT(meter.reading(), 60U);

    meter.setMemory(std::make_shared<Kiv::CFileStorage>(16), 0); // closed
    EXPECT_EQ(meter.initialize(), inputOutputError);
    EXPECT_EQ(meter.save(), inputOutputError);
    meter.setMemory(storage, 14); // the file ends within the record
    EXPECT_EQ(meter.initialize(), 0U);
    EXPECT_FALSE(storage->isGood());
    EXPECT_LT(meter.reading(), 60U) << "what the file does not have stays as it was";
    EXPECT_EQ(meter.save(), inputOutputError);
}

TEST_F(HourMeter, KilledProcessLeavesARecordThatWasSaved)
{
    std::mt19937 random(1);
    std::uint32_t before = 0;
    for (int i = 0; i < 50; ++i)
    {
        CChildProcess child({HOUR_METER_CHILD, path, std::to_string(offset)});
        ASSERT_TRUE(waitUntil([&] { return record() != before; })) << "it counts";
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        child.kill(SIGKILL);
        child.wait();
        before = record();
        EXPECT_EQ(before % 0x01010101U, 0U) << std::hex << before;
    }
}
