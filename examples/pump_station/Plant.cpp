#include "Plant.h"

#include <algorithm>
#include <iterator>

#include "InflowRecord.h"
#include "Settings.h"

namespace PumpStation
{

CPlant::CPlant(const Settings& plantSettings, const CInflowRecord& inflowRecord)
    : settings(plantSettings), record(inflowRecord), clock(record.begin()), log(clock), water(settings.basin),
      machinery(settings.pumps), control(machinery, clock, log, settings.times), highest(water.level()),
      highestTime(record.begin())
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
    return postEvents();
}

void CPlant::moveWater()
{
    const int seconds = settings.times.step;
    water.advance(inflow(), machinery.flow(), seconds);
    machinery.advance(seconds);
    clock.advance(seconds);
    if (water.level() > highest)
    {
        highest = water.level();
        highestTime = clock.now();
    }
}

bool CPlant::postEvents()
{
    const LevelSettings& limits = settings.levels;
    const int level = water.level();
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
        {water.isOverflowing(), EventOverflow},
        {!water.isOverflowing(), EventOverflowGone},
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
    return record.begin() <= settings.times.flushAt && settings.times.flushAt <= now() && !control.hasBegunFlushing();
}

} // namespace PumpStation
