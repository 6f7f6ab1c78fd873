/// Log records that carry a given file, line and function, and texts that are made only when somebody listens.
#ifndef KIV_LOGGING_H
#define KIV_LOGGING_H

#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

#include <log4cplus/logger.h>

#include "kiv/env/unix/diag/LogGate.h"

namespace Kiv
{
namespace Diag
{

/// The source location that a record shows. The strings are literals: they are not copied.
struct CSourcePlace
{
    const char* file;
    int line;
    const char* function;
};

/// Logs what `makeText` returns, as if the statement stood at `place`. While the level is disabled, nothing is called.
/// Late in exit(), when log4cplus goes, records are dropped.
///
///     logAt(diagLogger(), log4cplus::INFO_LOG_LEVEL, {thisFile, __LINE__, __func__}, [&] { return "Stopping " + name;
///     });
template<class MakeText>
inline void logAt(const log4cplus::Logger& logger, log4cplus::LogLevel level, const CSourcePlace& place,
                  MakeText&& makeText)
{
    const CLogPass pass;
    if (pass && logger.isEnabledFor(level))
        logger.forcedLog(level, std::forward<MakeText>(makeText)(), place.file, place.line, place.function);
}

/// Whether a record would reach an appender. A program that has not set logging up would get a complaint of log4cplus
/// on standard error in place of the record: what nobody waits for is not logged there.
inline bool isHeard(log4cplus::Logger logger)
{
    const CLogPass pass;
    if (!pass)
        return false;
    const log4cplus::Logger root = log4cplus::Logger::getRoot();
    while (logger.getAllAppenders().empty() && logger.getName() != root.getName())
        logger = logger.getParent();
    return !logger.getAllAppenders().empty();
}

/// Formats as printf does and cuts the text off where a buffer of 256 bytes ends.
__attribute__((format(printf, 1, 2))) inline std::string formatted(const char* format, ...)
{
    char text[256] = "";
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

} // namespace Diag
} // namespace Kiv

#endif
