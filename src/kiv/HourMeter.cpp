#include <kiv/HourMeter.h>

#include <cstring>
#include <utility>

#include <kiv/FileStorage.h>

#include "kiv/files/HourMeterPrivate.h"
#include "kiv/time/TimeSource.h"

namespace Kiv
{

namespace
{

constexpr int saveAlways = -1;
constexpr ErrCode inputOutputError = 0U - 5U;

std::chrono::system_clock::time_point wallClock() { return std::chrono::system_clock::time_point(Time::wallTime()); }

} // namespace

CHourMeterPrivate::CHourMeterPrivate(CHourMeter* ownerMeter, int saveIntervalSeconds)
    : owner(ownerMeter), saveInterval(saveIntervalSeconds), lastUpdate(wallClock()), lastSave(lastUpdate)
{}

void CHourMeterPrivate::update()
{
    const std::int64_t elapsed = std::chrono::duration_cast<std::chrono::seconds>(wallClock() - lastUpdate).count();
    if (elapsed <= 0) // the rest of a second is kept by the time of the last update
        return;
    reading = static_cast<std::uint32_t>(reading + elapsed);
    lastUpdate = wallClock();
    if (saveInterval == saveAlways || elapsed >= saveInterval)
        save();
}

void CHourMeterPrivate::save()
{
    char record[sizeof reading];
    std::memcpy(record, &reading, sizeof record);
    if (storage)
        storage->write(record, sizeof record, offset);
    lastSave = lastUpdate;
}

CHourMeter::CHourMeter(int saveInterval) : d(std::make_unique<CHourMeterPrivate>(this, saveInterval)) {}

CHourMeter::~CHourMeter() = default;

void CHourMeter::setMemory(std::shared_ptr<CFileStorage> storage, int offset)
{
    d->storage = std::move(storage);
    d->offset = offset;
}

ErrCode CHourMeter::initialize()
{
    if (!d->storage)
        return inputOutputError;
    char record[sizeof d->reading];
    std::memcpy(record, &d->reading, sizeof record); // what the file does not have stays as it is
    const ErrCode result = d->storage->read(record, sizeof record, d->offset);
    std::memcpy(&d->reading, record, sizeof record);
    return result;
}

std::uint32_t CHourMeter::reading()
{
    d->update();
    return d->reading;
}

void CHourMeter::reset()
{
    const char record[sizeof d->reading] = {};
    if (d->storage)
        d->storage->write(record, sizeof record, d->offset);
    d->reading = 0;
}

ErrCode CHourMeter::save()
{
    d->update();
    d->save();
    return d->storage ? d->storage->flush() : inputOutputError;
}

} // namespace Kiv
