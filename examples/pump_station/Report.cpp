#include "Report.h"

#include <cinttypes>
#include <cstdio>

#include "Figures.h"
#include "InflowRecord.h"
#include "Plant.h"
#include "PumpHours.h"

namespace PumpStation
{

namespace
{

double metres(int millimetres) { return millimetres / 1000.0; }

double cubicMetres(std::int64_t millilitres) { return static_cast<double>(millilitres) / 1e6; }

double minutes(int seconds) { return seconds / 60.0; }

void printSpan(const CPlant& plant)
{
    const CInflowRecord& record = plant.recording();
    std::printf("\nrecording        %s to %s, ", clockText(record.begin()).c_str(), clockText(record.end()).c_str());
    if (plant.isAtEnd())
        std::printf("complete\n");
    else
        std::printf("interrupted at %s\n", clockText(plant.now()).c_str());
}

void printPumps(const CPumps& pumps)
{
    std::printf("                 pump 1  pump 2\n");
    std::printf("starts           %6d  %6d\n", pumps.starts(0), pumps.starts(1));
    std::printf("minutes run      %6.1f  %6.1f\n", minutes(pumps.secondsRun(0)), minutes(pumps.secondsRun(1)));
}

void printWater(const CPlant& plant)
{
    const CBasin& basin = plant.basin();
    std::printf("highest level    %6.2f m at %s\n", metres(plant.highestLevel()),
                clockText(plant.highestLevelTime()).c_str());
    if (basin.overflowVolume() == 0)
        std::printf("overflow             no\n");
    else
        std::printf("overflow            yes, %.1f m3 in %.1f minutes\n", cubicMetres(basin.overflowVolume()),
                    minutes(basin.overflowSeconds()));
    std::printf("inflow           %6.1f m3\n", cubicMetres(basin.inflowVolume()));
    std::printf("pumped           %6.1f m3\n", cubicMetres(basin.pumpedVolume()));
}

} // namespace

void printStatus(const CPlant& plant)
{
    const CPumps& pumps = plant.pumps();
    std::printf("%s  inflow %5.1f l/s  level %4.2f m  pumps %c %c  %s  %s\n", clockText(plant.now()).c_str(),
                static_cast<double>(plant.inflow()) / 1000, metres(plant.basin().level()),
                pumps.isRunning(0) ? '1' : '-', pumps.isRunning(1) ? '2' : '-',
                plant.controller().controlState().c_str(), plant.controller().supervisionState().c_str());
}

void printTable(const CPlant& plant)
{
    printSpan(plant);
    printPumps(plant.pumps());
    printWater(plant);
    std::printf("events handled   %6" PRIu64 "\n", plant.controller().eventsHandled());
    std::printf("events dropped   %6" PRIu64 "\n", plant.controller().eventsDropped());
}

void printHours(const CPumpHours& hours)
{
    constexpr double secondsInAnHour = 3600;
    std::printf("\nall runs         pump 1  pump 2\n");
    std::printf("starts           %6" PRIu64 "  %6" PRIu64 "\n", hours.starts(0), hours.starts(1));
    std::printf("hours run        %6.1f  %6.1f\n", static_cast<double>(hours.pump(0)) / secondsInAnHour,
                static_cast<double>(hours.pump(1)) / secondsInAnHour);
    std::printf("in service       %6.1f minutes of real time\n", static_cast<double>(hours.service()) / 60);
}

} // namespace PumpStation
