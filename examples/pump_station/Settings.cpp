#include "Settings.h"

#include <kiv/EnvVars.h>
#include <kiv/ErrorToString.h>
#include <kiv/Settings.h>

#include "Figures.h"
#include "TextFile.h"

namespace PumpStation
{

namespace
{

using namespace std::chrono_literals;
using Entries = std::vector<Kiv::SettingsEntry>;

void addLevel(Kiv::CSettings& file, const char* key, int& millimetres, const char* about)
{
    file.add(key, millimetres, about).scale(1000).range(0, 20).unit("m").required();
}

void addSeconds(Kiv::CSettings& file, const char* key, int& seconds, const char* about)
{
    file.add(key, seconds, about).range(1, 3600).unit("s").required();
}

void describeStation(Kiv::CSettings& file, Settings& station)
{
    file.section("Basin", "The basin that collects the sewage.");
    file.add("Area", station.basin.area, "Its surface.").scale(1e6).range(0.1, 1000).unit("m2").required();
    addLevel(file, "OverflowLevel", station.basin.overflowLevel, "Above the floor; beyond it the basin runs over.");
    addLevel(file, "InitialLevel", station.basin.initialLevel, "Where the model begins.");
    file.section("Levels", "The switching levels, each above the one before.");
    addLevel(file, "Dry", station.levels.dry, "Flushing ends.");
    addLevel(file, "Stop", station.levels.stop, "The pumps stop.");
    addLevel(file, "StartFirst", station.levels.startFirst, "The duty pump starts.");
    addLevel(file, "StartSecond", station.levels.startSecond, "The standby pump joins.");
    addLevel(file, "HighGone", station.levels.highGone, "The high-level alarm ends.");
    addLevel(file, "High", station.levels.high, "The high-level alarm begins.");
    file.section("Pumps", "The two share a rising main, so both do less than twice one.");
    file.add("FlowOfOne", station.pumps.flowOfOne, "").scale(1000).range(1, 10000).unit("l/s").required();
    file.add("FlowOfBoth", station.pumps.flowOfBoth, "").scale(1000).range(1, 10000).unit("l/s").required();
}

void describeRun(Kiv::CSettings& file, Settings& station)
{
    file.section("SelfTest");
    addSeconds(file, "LampSeconds", station.times.lampTest, "How long all lamps are lit.");
    addSeconds(file, "PumpSeconds", station.times.pumpTest, "How long each pump runs.");
    file.section("Flushing");
    file.addTimeOfDay("At", station.times.flushAt, "Once, when the station is next idle.").required();
    addSeconds(file, "SpraySeconds", station.times.spraying, "How long the floor is sprayed.");
    file.section("Run");
    file.add("StepSeconds", station.times.step, "A minute is a whole number of steps.")
        .range(1, 60)
        .unit("s")
        .required();
    file.add("Speed", station.speed, "Simulated seconds in a real one.").range(1, highestSpeed).required();
    file.add("AlarmInterval", station.alarmInterval, "From one look at the model to the next.")
        .range(10ms, 1s)
        .required();
    file.section("Files");
    file.add("Inflow", station.inflowPath, "The recording.").required();
    file.add("Log", station.logPath, "The logging property file.").required();
    file.add("Hours", station.hoursPath, "The operating hours, from run to run.").required();
}

void describeTerminals(Kiv::CSettings& file, TerminalSettings& terminals)
{
    file.section("Terminals", "Where the station is wired to its board; only --board minds it.");
    file.add("GpioChip", terminals.gpioChip, "The lines count from this chip's first.").required();
    file.add("FloatSwitch", terminals.floatSwitch, "").range(0, 1023).required();
    file.add("RunLamp", terminals.lamps[0], "").range(0, 1023).required();
    file.add("FaultLamp", terminals.lamps[1], "").range(0, 1023).required();
    file.add("AlarmLamp", terminals.lamps[2], "").range(0, 1023).required();
    file.add("PwmDevice", terminals.pwmDevice, "Channel 0 is the speed of pump 1, channel 1 that of pump 2.")
        .required();
    file.add("PwmPeriod", terminals.pwmPeriod, "").scale(1000).range(1, 1e6).unit("us").required();
    file.add("LevelInput", terminals.levelInput, "A file that shows millimetres.").required();
}

void checkLevels(Kiv::CSettings& file, const Settings& station)
{
    const LevelSettings& levels = station.levels;
    const int* const rising[] = {&levels.dry,         &levels.stop,     &levels.startFirst,
                                 &levels.startSecond, &levels.highGone, &levels.high};
    for (std::size_t i = 1; i < std::size(rising); ++i)
        if (*rising[i] <= *rising[i - 1])
            file.fail(rising[i], "does not lie above the one before");
    if (station.basin.overflowLevel <= levels.high)
        file.fail(&station.basin.overflowLevel, "does not lie above that of the high-level alarm");
    if (station.basin.initialLevel > station.basin.overflowLevel)
        file.fail(&station.basin.initialLevel, "would let the basin run over from the start");
    if (station.pumps.flowOfBoth < station.pumps.flowOfOne)
        file.fail(&station.pumps.flowOfBoth, "is less than one alone delivers");
    if (60 % station.times.step != 0)
        file.fail(&station.times.step, "makes no whole number of steps in a minute");
}

std::vector<Fault> checkFaults(Kiv::CSettings& file, const Entries& entries)
{
    std::vector<Fault> faults;
    for (const auto& [key, value] : entries)
    {
        const auto from = toSeconds(key);
        const auto until = toSeconds(value);
        if (!from || !until)
            file.fail("Faults", key, "is no fault: that is written as two times of day, 07:12=07:31");
        else if (*until <= *from)
            file.fail("Faults", key, "ends before it has begun");
        else if (!faults.empty() && *from <= faults.back().until)
            file.fail("Faults", key, "begins before the one above has ended");
        else
            faults.push_back({*from, *until});
    }
    return faults;
}

/// Replaces references to environment variables.
void expand(Kiv::CSettings& file, std::string& path)
{
    const std::string expanded = Kiv::Env::substituteEnvironmentVars(path);
    if (expanded.empty())
        file.fail(&path, "has a ${ without its }");
    path = expanded;
}

void describe(Kiv::CSettings& file, Settings& station, Entries& faults)
{
    describeStation(file, station);
    describeRun(file, station);
    describeTerminals(file, station.terminals);
    file.addFree("Faults", faults, "When the rising main is blocked = when somebody has cleared it.");
}

} // namespace

std::string settingsSchema()
{
    Kiv::CSettings file("The pumping station.");
    Settings station;
    Entries faults;
    describe(file, station, faults);
    return file.schemaText();
}

Settings::Settings(const std::string& path)
{
    Kiv::CSettings file;
    Entries entries;
    describe(file, *this, entries);
    file.addCheck([&](Kiv::CSettings& checked) {
        checkLevels(checked, *this);
        faults = checkFaults(checked, entries);
        for (std::string* text : {&inflowPath, &logPath, &hoursPath, &terminals.levelInput})
            expand(checked, *text);
    });
    if (const ErrCode error = file.read(path))
        throw file.faults().empty() ? CInputError(path, std::string("cannot be read: ") + ErrorToString(error))
                                    : CInputError(file.faultText());
}

} // namespace PumpStation
