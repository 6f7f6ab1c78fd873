#include "PumpHours.h"

#include <kiv/ErrorToString.h>

#include "TextFile.h"

namespace PumpStation
{

namespace
{

constexpr std::chrono::seconds saveInterval = std::chrono::hours(1);

void open(Kiv::COperatingHours& hours, const std::string& path)
{
    if (const int error = hours.open(); error != 0)
        throw CInputError(path, ErrorToString(static_cast<ErrCode>(error)));
}

} // namespace

CPumpHours::CPumpHours(const std::string& path)
    : station(path, 0, saveInterval), pumps{Kiv::COperatingHours(path, 1, saveInterval),
                                            Kiv::COperatingHours(path, 2, saveInterval)}
{
    open(station, path);
    for (Kiv::COperatingHours& pump : pumps)
        open(pump, path);
    station.start();
}

int CPumpHours::save()
{
    int error = station.save();
    for (Kiv::COperatingHours& pump : pumps)
        if (const int next = pump.save(); error == 0)
            error = next;
    return error;
}

} // namespace PumpStation
