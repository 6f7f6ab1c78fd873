/// The station's logger: what happened at which time of the model.
#ifndef KIV_PUMPSTATION_STATIONLOG_H
#define KIV_PUMPSTATION_STATIONLOG_H

#include <string>

#include <log4cplus/logger.h>

namespace PumpStation
{

class CStationClock;

/// Writes to the log4cplus logger "PumpStation", each line with the model's time in front: "[07:12:05] ...".
///
/// To be made after Kiv::Diag::init(), which configures the logger.
class CStationLog
{
public:
    explicit CStationLog(const CStationClock& clock);

    /// A line of the station's own, at INFO.
    void note(const std::string& text) const;

    /// A line of the state machine: INFO for a transition, DEBUG for the rest, TRACE for the marks.
    void machineLine(const std::string& text) const;

private:
    void write(log4cplus::LogLevel level, const std::string& text) const;

    const CStationClock& clock;
    log4cplus::Logger logger;
};

} // namespace PumpStation

#endif
