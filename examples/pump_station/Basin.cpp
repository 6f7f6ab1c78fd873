#include "Basin.h"

#include <algorithm>

#include "Settings.h"

namespace PumpStation
{

CBasin::CBasin(const BasinSettings& settings)
    : area(settings.area), capacity(settings.overflowLevel * area / 1000), volume(settings.initialLevel * area / 1000)
{}

void CBasin::advance(std::int64_t inflow, std::int64_t outflow, int seconds)
{
    const std::int64_t in = inflow * seconds;
    const std::int64_t out = std::min(outflow * seconds, volume + in);
    volume += in - out;
    const std::int64_t over = std::max<std::int64_t>(volume - capacity, 0);
    volume -= over;
    received += in;
    pumped += out;
    lost += over;
    overflowing = over > 0;
    if (overflowing)
        secondsOfOverflow += seconds;
}

} // namespace PumpStation
