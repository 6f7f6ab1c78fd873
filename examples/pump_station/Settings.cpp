#include "Settings.h"

#include "Figures.h"
#include "SettingsFile.h"

namespace PumpStation
{

namespace
{

constexpr CSettingsFile::Range metres{0, 20, 1000};
constexpr CSettingsFile::Range litresPerSecond{1, 10000, 1000};
constexpr CSettingsFile::Range phaseSeconds{1, 3600};

BasinSettings readBasin(CSettingsFile& file)
{
    return {file.number("Basin", "Area", {0.1, 1000, 1e4}) * std::int64_t{100},
            file.number("Basin", "OverflowLevel", metres), file.number("Basin", "InitialLevel", metres)};
}

/// A level that lies above another one.
int readAbove(CSettingsFile& file, const std::string& key, int lower)
{
    const int level = file.number("Levels", key, metres);
    if (level <= lower)
        file.fail("Levels", key, "the level does not lie above the one before");
    return level;
}

LevelSettings readLevels(CSettingsFile& file, const BasinSettings& basin)
{
    LevelSettings levels{};
    levels.dry = file.number("Levels", "Dry", metres);
    levels.stop = readAbove(file, "Stop", levels.dry);
    levels.startFirst = readAbove(file, "StartFirst", levels.stop);
    levels.startSecond = readAbove(file, "StartSecond", levels.startFirst);
    levels.highGone = readAbove(file, "HighGone", levels.startSecond);
    levels.high = readAbove(file, "High", levels.highGone);
    if (basin.overflowLevel <= levels.high)
        file.fail("Basin", "OverflowLevel", "the level does not lie above that of the high-level alarm");
    if (basin.initialLevel > basin.overflowLevel)
        file.fail("Basin", "InitialLevel", "the basin would run over from the start");
    return levels;
}

PumpSettings readPumps(CSettingsFile& file)
{
    const PumpSettings pumps{file.number("Pumps", "FlowOfOne", litresPerSecond),
                             file.number("Pumps", "FlowOfBoth", litresPerSecond)};
    if (pumps.flowOfBoth < pumps.flowOfOne)
        file.fail("Pumps", "FlowOfBoth", "both pumps deliver less than one alone");
    return pumps;
}

TimeSettings readTimes(CSettingsFile& file)
{
    const TimeSettings times{file.number("Run", "StepSeconds", {1, 60}),
                             file.number("SelfTest", "LampSeconds", phaseSeconds),
                             file.number("SelfTest", "PumpSeconds", phaseSeconds),
                             file.number("Flushing", "SpraySeconds", phaseSeconds), file.timeOfDay("Flushing", "At")};
    if (60 % times.step != 0)
        file.fail("Run", "StepSeconds", "a minute is no whole number of steps");
    return times;
}

std::vector<Fault> readFaults(CSettingsFile& file)
{
    std::vector<Fault> faults;
    for (const std::string& key : file.keysOf("Faults"))
    {
        const auto from = toSeconds(key);
        const int until = file.timeOfDay("Faults", key);
        if (!from)
            file.fail("Faults", key, "a fault is written as two times of day: 07:12=07:31");
        if (until <= *from)
            file.fail("Faults", key, "the fault ends before it has begun");
        if (!faults.empty() && *from <= faults.back().until)
            file.fail("Faults", key, "the fault begins before the one above has ended");
        faults.push_back({*from, until});
    }
    return faults;
}

TerminalSettings readTerminals(CSettingsFile& file)
{
    const auto line = [&file](const char* key) {
        return static_cast<unsigned>(file.number("Terminals", key, {0, 1023}));
    };
    return {file.text("Terminals", "GpioChip"),
            line("FloatSwitch"),
            {line("RunLamp"), line("FaultLamp"), line("AlarmLamp")},
            file.text("Terminals", "PwmDevice"),
            static_cast<unsigned>(file.number("Terminals", "PwmPeriod", {1, 1000000, 1000})),
            file.text("Terminals", "LevelInput")};
}

} // namespace

Settings::Settings(const std::string& path)
{
    CSettingsFile file(path);
    basin = readBasin(file);
    levels = readLevels(file, basin);
    pumps = readPumps(file);
    times = readTimes(file);
    faults = readFaults(file);
    terminals = readTerminals(file);
    speed = file.number("Run", "Speed", {1, highestSpeed});
    alarmInterval = file.number("Run", "AlarmInterval", {10, 1000});
    inflowPath = file.text("Files", "Inflow");
    logPath = file.text("Files", "Log");
    hoursPath = file.text("Files", "Hours");
    file.refuseUnknown();
}

} // namespace PumpStation
