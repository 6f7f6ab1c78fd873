#include "StationLog.h"

#include <cstdio>

#include <log4cplus/loggingmacros.h>

#include "StationClock.h"

namespace PumpStation
{

CStationLog::CStationLog(const CStationClock& stationClock)
    : clock(stationClock), logger(log4cplus::Logger::getInstance("PumpStation"))
{}

void CStationLog::note(const std::string& text) const { write(log4cplus::INFO_LOG_LEVEL, text); }

void CStationLog::machineLine(const std::string& text) const
{
    if (text.find("Waiting") != text.npos)
        write(log4cplus::TRACE_LOG_LEVEL, text);
    else if (text.find(" ---[") != text.npos)
        write(log4cplus::INFO_LOG_LEVEL, text);
    else
        write(log4cplus::DEBUG_LOG_LEVEL, text);
}

void CStationLog::write(log4cplus::LogLevel level, const std::string& text) const
{
    if (!logger.isEnabledFor(level))
        return;
    char time[32];
    std::snprintf(time, sizeof time, "[%02d:%02d:%02d] ", clock.now() / 3600, clock.now() / 60 % 60, clock.now() % 60);
    logger.log(level, time + text, __FILE__, __LINE__, __func__);
}

} // namespace PumpStation
