/// The process model: a basin whose level follows what flows in less what is pumped out.
#ifndef KIV_PUMPSTATION_BASIN_H
#define KIV_PUMPSTATION_BASIN_H

#include <cstdint>

namespace PumpStation
{

struct BasinSettings;

/// A basin with upright walls. It counts in whole millilitres, so that the same input gives the same result on every
/// machine, to the last digit.
///
/// Units: millilitres, millilitres per second, millimetres, seconds.
class CBasin
{
public:
    explicit CBasin(const BasinSettings& settings);

    /// Lets the water flow for a while. What the basin cannot hold runs over; what it does not hold cannot be pumped.
    void advance(std::int64_t inflow, std::int64_t outflow, int seconds);

    int level() const { return static_cast<int>(volume * 1000 / area); }
    bool isOverflowing() const { return overflowing; }

    std::int64_t inflowVolume() const { return received; }
    std::int64_t pumpedVolume() const { return pumped; }
    std::int64_t overflowVolume() const { return lost; }
    int overflowSeconds() const { return secondsOfOverflow; }

private:
    std::int64_t area;
    std::int64_t capacity;
    std::int64_t volume;
    std::int64_t received = 0;
    std::int64_t pumped = 0;
    std::int64_t lost = 0;
    int secondsOfOverflow = 0;
    bool overflowing = false;
};

} // namespace PumpStation

#endif
