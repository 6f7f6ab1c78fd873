/// How long the station has been in service and each pump has run, over all runs of the program.
#ifndef KIV_PUMPSTATION_PUMPHOURS_H
#define KIV_PUMPSTATION_PUMPHOURS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

#include <kiv/OperatingHours.h>

#include "Wiring.h"

namespace PumpStation
{

/// Three counters in one file, which is made if it is not there: the station's time in service, which goes by in real
/// time, and the running time and the starts of each pump, which are the model's. They save themselves once an hour,
/// since the medium does not like to be written in each step, and at the end.
///
/// Threads: one at a time.
/// Units: seconds.
class CPumpHours
{
public:
    /// CInputError if the file cannot be made, opened or used.
    explicit CPumpHours(const std::string& path);

    void add(std::size_t pump, int seconds, std::uint64_t starts)
    {
        pumps.at(pump).add(std::chrono::seconds(seconds), starts);
    }

    /// Writes the records and waits until the medium has them; 0 or a negated code.
    int save();

    std::int64_t service() const { return secondsOf(station); }
    std::int64_t pump(std::size_t number) const { return secondsOf(pumps.at(number)); }
    std::uint64_t starts(std::size_t number) const { return pumps.at(number).reading().starts; }

private:
    static std::int64_t secondsOf(const Kiv::COperatingHours& hours)
    {
        return std::chrono::duration_cast<std::chrono::seconds>(hours.reading().total).count();
    }

    Kiv::COperatingHours station;
    std::array<Kiv::COperatingHours, pumpCount> pumps;
};

} // namespace PumpStation

#endif
