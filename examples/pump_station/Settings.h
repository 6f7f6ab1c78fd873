/// What the pumping station is like: everything that its INI file says.
#ifndef KIV_PUMPSTATION_SETTINGS_H
#define KIV_PUMPSTATION_SETTINGS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace PumpStation
{

/// The basin that collects the sewage. Beyond its overflow level it runs over into the river.
struct BasinSettings
{
    std::int64_t area; ///< square millimetres
    int overflowLevel; ///< millimetres above the floor, like all levels
    int initialLevel;
};

/// The switching levels, in millimetres, each above the one before.
struct LevelSettings
{
    int dry;         ///< flushing ends
    int stop;        ///< the pumps stop
    int startFirst;  ///< the duty pump starts
    int startSecond; ///< the standby pump joins
    int highGone;    ///< the high-level alarm ends
    int high;        ///< the high-level alarm begins
};

/// What the two pumps deliver, in millilitres per second; they share a rising main, so both do less than twice one.
struct PumpSettings
{
    std::int64_t flowOfOne;
    std::int64_t flowOfBoth;
};

/// How long things take, and when the basin is flushed; seconds of the model's time.
struct TimeSettings
{
    int step;
    int lampTest;
    int pumpTest;
    int spraying;
    std::chrono::seconds flushAt; ///< since midnight
};

/// The rising main is blocked from the one time to the other, when somebody has cleared it and says so.
struct Fault
{
    int from; ///< seconds since midnight
    int until;
};

/// Where the station is wired to its board.
struct TerminalSettings
{
    std::string gpioChip; ///< label; the lines count from the chip's first
    unsigned floatSwitch;
    std::array<unsigned, 3> lamps; ///< run, fault, alarm
    std::string pwmDevice;         ///< its channels 0 and 1 are the speeds of the pumps
    unsigned pwmPeriod;            ///< nanoseconds
    std::string levelInput;        ///< file of the analogue input, which shows millimetres
};

struct Settings
{
    /// CInputError if the file cannot be used: every key has to be there, and right.
    explicit Settings(const std::string& path);
    /// Nothing yet.
    Settings() = default;

    BasinSettings basin{};
    LevelSettings levels{};
    PumpSettings pumps{};
    TimeSettings times{};
    std::vector<Fault> faults; ///< one after the other
    TerminalSettings terminals{};
    int speed = 0;                             ///< simulated seconds in a real one
    std::chrono::milliseconds alarmInterval{}; ///< from one look at the model to the next
    std::string inflowPath;
    std::string logPath;   ///< log4cplus property file
    std::string hoursPath; ///< storage file of the operating hours
};

constexpr int highestSpeed = 1000000;

/// What may stand in the file, for `kiv ini check --schema`.
std::string settingsSchema();

} // namespace PumpStation

#endif
