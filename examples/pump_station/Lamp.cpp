#include "Lamp.h"

#include "StationLog.h"

namespace PumpStation
{

CLamp::CLamp(const std::string& lampName, const CStationLog& stationLog) : name(lampName), log(stationLog) {}

void CLamp::flashDuring(Kiv::CAbstractState* state)
{
    state->sigProcessing.connect(this, &CLamp::onProcessing);
    state->sigExited.connect(this, &CLamp::onExited);
    state->enableDoActivity(true);
}

void CLamp::onProcessing(Kiv::CAbstractState*)
{
    lit = !lit;
    flashes += lit ? 1 : 0;
}

void CLamp::onExited(Kiv::CAbstractState* state)
{
    log.note("flashes of the " + name + " during " + state->name() + ": " + std::to_string(flashes));
    lit = false;
    flashes = 0;
}

} // namespace PumpStation
