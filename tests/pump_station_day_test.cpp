// The pumping station's day with its own timer, worker and machine, in virtual time: no program is started.
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <log4cplus/logger.h>

#include <kiv/testkit/VirtualClock.h>

#include "InflowRecord.h"
#include "Plant.h"
#include "PumpHours.h"
#include "Report.h"
#include "Run.h"
#include "Settings.h"
#include "Wiring.h"
#include "support/TemporaryDirectory.h"

using namespace std::chrono_literals;

namespace
{

constexpr int alarmInterval = 200; // milliseconds

std::string tableOfTheDay(int speed)
{
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    const TemporaryDirectory directory;
    const std::string files = PUMP_STATION_FILES "/";
    const PumpStation::Settings settings(files + "pump_station.ini");
    const PumpStation::CInflowRecord record(files + "inflow.csv");
    PumpStation::CDirectWiring wiring;
    Kiv::TestKit::CVirtualClock clock;
    PumpStation::CPumpHours hours(directory.path() / "hours");
    PumpStation::CPlant plant(settings, record, wiring, hours);
    PumpStation::CRun run(plant, alarmInterval, speed, true);
    plant.start();
    run.start();
    const std::chrono::nanoseconds day = 24h;
    EXPECT_EQ(clock.advance(day / speed - 1ms), 0);
    EXPECT_TRUE(run.isRunning());
    EXPECT_EQ(clock.advance(std::chrono::milliseconds(alarmInterval)), 0);
    EXPECT_FALSE(run.isRunning()) << "with the alarm that the day ends with";
    EXPECT_EQ(run.outcome(), PumpStation::RunComplete);
    plant.stop();
    testing::internal::CaptureStdout();
    printTable(plant);
    return testing::internal::GetCapturedStdout();
}

std::string expectedTable()
{
    std::ostringstream content;
    content << std::ifstream(PUMP_STATION_TABLE, std::ios::binary).rdbuf();
    return content.str();
}

} // namespace

TEST(PumpStationDay, HasTheExpectedTableWithAnAlarmForEachStep) { EXPECT_EQ(tableOfTheDay(25), expectedTable()); }

TEST(PumpStationDay, HasTheExpectedTableAtTheSpeedOfAnHourInASecond)
{
    EXPECT_EQ(tableOfTheDay(3600), expectedTable());
}
