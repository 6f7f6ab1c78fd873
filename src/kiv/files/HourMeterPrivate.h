/// What an hour meter keeps, and its step; private.
#ifndef KIV_HOURMETERPRIVATE_H
#define KIV_HOURMETERPRIVATE_H

#include <chrono>
#include <cstdint>
#include <memory>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CFileStorage;
class CHourMeter;

class KIV_API CHourMeterPrivate
{
public:
    CHourMeterPrivate(CHourMeter* owner, int saveInterval);

    /// Counts the whole seconds since the last update, and saves if it is time to.
    void update();

    /// Writes the record.
    void save();

    CHourMeter* owner;
    std::shared_ptr<CFileStorage> storage;
    std::int32_t offset = 0;
    std::int32_t saveInterval;
    std::chrono::system_clock::time_point lastUpdate;
    std::chrono::system_clock::time_point lastSave;
    std::uint32_t reading = 0;
};

} // namespace Kiv

#endif
