/// Log records of stop() and of destructors, which wait for nobody who holds the log up.
#ifndef KIV_STOPRECORD_H
#define KIV_STOPRECORD_H

#include <exception>
#include <functional>
#include <optional>

#include <log4cplus/spi/loggingevent.h>

#include "kiv/env/unix/diag/Errand.h"
#include "kiv/env/unix/diag/logging.h"

namespace Kiv
{
namespace Diag
{

/// A record that a thread of its own writes, with the time, the thread and the context of the one that makes it.
///
/// An appender may hold its lock for ever: a full pipe or a stopped console is enough. A record that waits for it is
/// written when it goes on. Until then all further ones are lost; so is one for which there is no thread or no memory,
/// and one that comes late in exit().
class CStopRecord
{
public:
    /// Whether a record is wanted at all. Asked on the thread that writes: a logger tells about its appenders under
    /// their lock only.
    using Condition = bool (*)(log4cplus::Logger);

    /// Begins to write what `makeText` returns, unless the level is disabled.
    template<class MakeText>
    CStopRecord(const log4cplus::Logger& logger, log4cplus::LogLevel level, const CSourcePlace& place,
                MakeText&& makeText, Condition isWanted = nullptr) noexcept
    {
        const CLogPass pass;
        if (!pass || CErrand::anyLeftAlone() || !logger.isEnabledFor(level))
            return;
        try
        {
            begin(logger, {logger.getName(), level, makeText(), place.file, place.line, place.function}, isWanted);
        }
        catch (const std::exception&)
        {}
    }

    /// Waits until it is written or lost, for so many times 10 ms; true if it is.
    bool wait(int slices = stopSlices) noexcept { return !errand || errand->wait(slices); }

    /// As long as stop() and destructors wait.
    static constexpr int stopSlices = 10;

private:
    void begin(const log4cplus::Logger& logger, const log4cplus::spi::InternalLoggingEvent& event, Condition isWanted)
    {
        event.gatherThreadSpecificData();
        errand.emplace([logger, event, isWanted] {
            const CLogPass pass;
            if (pass && (isWanted == nullptr || isWanted(logger)))
                logger.callAppenders(event);
        });
    }

    std::optional<CErrand> errand;
};

} // namespace Diag
} // namespace Kiv

#endif
