#include "Lamp.h"

#include "StationLog.h"

namespace PumpStation
{

CLamp::CLamp(eLamp wiredLamp, const std::string& lampName, IWiring& stationWiring, const CStationLog& stationLog)
    : lamp(wiredLamp), name(lampName), wiring(stationWiring), log(stationLog)
{}

void CLamp::flashDuring(Kiv::CAbstractState* state)
{
    state->sigProcessing.connect(this, &CLamp::onProcessing);
    state->sigExited.connect(this, &CLamp::onExited);
    state->enableDoActivity(true);
}

void CLamp::onProcessing(Kiv::CAbstractState*)
{
    light(!lit);
    flashes += lit ? 1 : 0;
}

void CLamp::onExited(Kiv::CAbstractState* state)
{
    log.note("flashes of the " + name + " during " + state->name() + ": " + std::to_string(flashes));
    light(false);
    flashes = 0;
}

void CLamp::light(bool on)
{
    lit = on;
    wiring.setLamp(lamp, on);
}

} // namespace PumpStation
