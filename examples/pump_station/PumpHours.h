/// How long the station has been in service and each pump has run, over all runs of the program.
#ifndef KIV_PUMPSTATION_PUMPHOURS_H
#define KIV_PUMPSTATION_PUMPHOURS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include <kiv/HourMeter.h>

#include "Wiring.h"

namespace Kiv
{
class CFileStorage;
}

namespace PumpStation
{

/// Three records in one storage file, which is made if it is not there: the station's time in service, which an hour
/// meter counts as time really goes by, and the running time of each pump, which is the model's time.
///
/// Threads: one at a time.
/// Units: seconds.
class CPumpHours
{
public:
    /// CInputError if the file cannot be made, opened or used.
    explicit CPumpHours(const std::string& path);

    void add(std::size_t pump, int seconds) { pumps.at(pump) += static_cast<std::uint32_t>(seconds); }

    /// Writes the records and waits until the medium has them; 0 or a negated code.
    ErrCode save();

    /// Does so if an hour of real time has passed since the last time: the medium does not like to be written in each
    /// step.
    void saveHourly();

    std::uint32_t service() { return meter.reading(); }
    std::uint32_t pump(std::size_t number) const { return pumps.at(number); }

private:
    std::shared_ptr<Kiv::CFileStorage> storage;
    Kiv::CHourMeter meter;
    std::array<std::uint32_t, pumpCount> pumps{};
    std::chrono::steady_clock::time_point lastSaved = std::chrono::steady_clock::now();
};

} // namespace PumpStation

#endif
