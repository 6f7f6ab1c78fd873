#include <kiv/diag.h>

#include <string>

#include <log4cplus/loggingmacros.h>

#include <kiv/env/unix/diag/logging.h>

#include "allocations.h"

namespace
{

log4cplus::Logger& silentLogger()
{
    static log4cplus::Logger logger = log4cplus::Logger::getInstance("Silent");
    logger.setLogLevel(log4cplus::OFF_LOG_LEVEL);
    return logger;
}

const std::string timerName = "the timer that drains the tank";

template<class Statement>
void log(benchmark::State& state, Statement&& statement)
{
    log4cplus::Logger& logger = silentLogger();
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        benchmark::ClobberMemory();
        statement(logger);
    }
}

void textOfKiv(benchmark::State& state)
{
    log(state, [](log4cplus::Logger& logger) {
        Kiv::Diag::logAt(logger, log4cplus::TRACE_LOG_LEVEL, {"some/file", 29, "alarm"},
                         [] { return "Alarm for timer " + timerName; });
    });
}

void textOfLog4cplus(benchmark::State& state)
{
    log(state, [](log4cplus::Logger& logger) { LOG4CPLUS_TRACE(logger, "Alarm for timer " << timerName); });
}

void formatOfKiv(benchmark::State& state)
{
    log(state, [](log4cplus::Logger& logger) {
        Kiv::Diag::logAt(logger, log4cplus::TRACE_LOG_LEVEL, {"some/file", 29, "alarm"},
                         [] { return Kiv::Diag::formatted("Alarm for timer %s", timerName.c_str()); });
    });
}

void formatOfLog4cplus(benchmark::State& state)
{
    log(state, [](log4cplus::Logger& logger) { LOG4CPLUS_TRACE_FMT(logger, "Alarm for timer %s", timerName.c_str()); });
}

BENCHMARK(textOfKiv)->Name("disabled log statement/kiv");
BENCHMARK(textOfLog4cplus)->Name("disabled log statement/log4cplus");
BENCHMARK(formatOfKiv)->Name("disabled formatted log statement/kiv");
BENCHMARK(formatOfLog4cplus)->Name("disabled formatted log statement/log4cplus");

} // namespace
