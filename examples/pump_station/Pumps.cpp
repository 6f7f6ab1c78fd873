#include "Pumps.h"

#include "Wiring.h"

namespace PumpStation
{

namespace
{

constexpr int fullSpeed = 100; // per cent

} // namespace

CPumps::CPumps(IWiring& drives) : wiring(drives) {}

void CPumps::runNone()
{
    for (std::size_t pump = 0; pump < count; ++pump)
        set(pump, false);
}

void CPumps::runDuty() { runOnly(duty); }

void CPumps::runBoth()
{
    for (std::size_t pump = 0; pump < count; ++pump)
        set(pump, true);
}

void CPumps::runOnly(std::size_t pump)
{
    set(1 - pump, false);
    set(pump, true);
}

void CPumps::advance(int seconds)
{
    for (Pump& pump : pumps)
        if (pump.running)
            pump.secondsRun += seconds;
}

void CPumps::set(std::size_t number, bool run)
{
    Pump& pump = pumps.at(number);
    if (run == pump.running)
        return;
    pump.running = run;
    pump.starts += run ? 1 : 0;
    wiring.setPumpSpeed(number, run ? fullSpeed : 0);
}

} // namespace PumpStation
