#include "Plant.h"

#include <algorithm>
#include <iterator>

#include "InflowRecord.h"
#include "PumpHours.h"
#include "Settings.h"
#include "Wiring.h"

namespace PumpStation
{

CPlant::CPlant(const Settings& plantSettings, const CInflowRecord& inflowRecord, IWiring& plantWiring,
               CPumpHours& pumpHours)
    : settings(plantSettings), record(inflowRecord), wiring(plantWiring), hours(pumpHours), clock(record.begin()),
      log(clock), water(settings.basin), machinery(wiring), control(wiring, machinery, clock, log, settings.times),
      highest(water.level()), highestTime(record.begin())
{}

void CPlant::start()
{
    log.note("started with the recording's first minute");
    control.start();
}

void CPlant::stop()
{
    control.stop();
    log.note("stopped");
}

bool CPlant::isAtEnd() const { return clock.now() >= record.end(); }

int CPlant::secondsElapsed() const { return clock.now() - record.begin(); }

std::int64_t CPlant::inflow() const { return record.inflowAt(clock.now()); }

bool CPlant::step()
{
    moveWater();
    return wiring.error() == 0 && postEvents() && wiring.error() == 0;
}

void CPlant::moveWater()
{
    const int seconds = settings.times.step;
    water.advance(inflow(), outflow(), seconds);
    machinery.advance(seconds);
    clock.advance(seconds);
    countHours();
    wiring.showPlant(water.level(), water.isOverflowing());
    if (water.level() > highest)
    {
        highest = water.level();
        highestTime = clock.now();
    }
}

void CPlant::countHours()
{
    for (std::size_t pump = 0; pump < pumpCount; ++pump)
    {
        const int starts = machinery.starts(pump);
        hours.add(pump, machinery.isRunning(pump) ? settings.times.step : 0,
                  static_cast<std::uint64_t>(starts - startsCounted.at(pump)));
        startsCounted.at(pump) = starts;
    }
}

/// What the pumps deliver at the speeds that reach their drives.
std::int64_t CPlant::outflow() const
{
    const int first = wiring.pumpSpeed(0);
    const int second = wiring.pumpSpeed(1);
    const PumpSettings& pumps = settings.pumps;
    return first > 0 && second > 0 ? pumps.flowOfBoth * (first + second) / 200
                                   : pumps.flowOfOne * (first + second) / 100;
}

bool CPlant::postEvents()
{
    const LevelSettings& limits = settings.levels;
    const int level = wiring.level();
    const bool isFloatUp = wiring.isFloatUp();
    const struct
    {
        bool holds;
        eStationEvent event;
    } inputs[] = {
        {level <= limits.dry, EventLevelDry},
        {level <= limits.stop, EventLevelStop},
        {level >= limits.startFirst, EventLevelStartFirst},
        {level >= limits.startSecond, EventLevelStartSecond},
        {level >= limits.high, EventLevelHigh},
        {level <= limits.highGone, EventLevelHighGone},
        {isFloatUp, EventOverflow},
        {!isFloatUp, EventOverflowGone},
        {isFlushDue(), EventFlushDue},
        {clock.takePhaseEnd(), EventPhaseOver},
        {isMainBlocked(), EventMainBlocked},
        {isFaultAcknowledged(), EventFaultAcknowledged},
    };
    return std::all_of(std::begin(inputs), std::end(inputs),
                       [this](const auto& input) { return !input.holds || control.post(input.event); });
}

bool CPlant::isMainBlocked() const
{
    return std::any_of(settings.faults.begin(), settings.faults.end(),
                       [this](const Fault& fault) { return fault.from <= now() && now() < fault.until; });
}

bool CPlant::isFaultAcknowledged() const
{
    const int before = now() - settings.times.step;
    return std::any_of(settings.faults.begin(), settings.faults.end(),
                       [this, before](const Fault& fault) { return before < fault.until && fault.until <= now(); });
}

bool CPlant::isFlushDue() const
{
    const auto flushAt = settings.times.flushAt.count();
    return record.begin() <= flushAt && flushAt <= now() && !control.hasBegunFlushing();
}

} // namespace PumpStation
