#include "Pumps.h"

#include "Settings.h"

namespace PumpStation
{

CPumps::CPumps(const PumpSettings& settings) : flowOfOne(settings.flowOfOne), flowOfBoth(settings.flowOfBoth) {}

std::int64_t CPumps::flow() const
{
    if (pumps[0].running && pumps[1].running)
        return flowOfBoth;
    return pumps[0].running || pumps[1].running ? flowOfOne : 0;
}

void CPumps::runNone()
{
    for (Pump& pump : pumps)
        set(pump, false);
}

void CPumps::runDuty() { runOnly(duty); }

void CPumps::runBoth()
{
    for (Pump& pump : pumps)
        set(pump, true);
}

void CPumps::runOnly(std::size_t pump)
{
    set(pumps.at(1 - pump), false);
    set(pumps.at(pump), true);
}

void CPumps::advance(int seconds)
{
    for (Pump& pump : pumps)
        if (pump.running)
            pump.secondsRun += seconds;
}

void CPumps::set(Pump& pump, bool run)
{
    if (run && !pump.running)
        ++pump.starts;
    pump.running = run;
}

} // namespace PumpStation
