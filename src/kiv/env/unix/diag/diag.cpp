#include <kiv/diag.h>

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>

#include <log4cplus/configurator.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/helpers/loglog.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/layout.h>

#include <kiv/EnvVars.h>
#include <kiv/ErrorToString.h>

#include "kiv/env/unix/diag/logging.h"

namespace Kiv
{
namespace Diag
{

namespace
{

constexpr const char* thisFile = "../../src/kiv/env/unix/diag/diag";
constexpr const char* diagLoggerName = "DiagLogger";
constexpr const char* defaultAppenderName = "DiagDebugLog";
constexpr const char* defaultPattern = "%d{%y-%m-%d %H:%M:%S} %-5p [%t]: %m in %l\n";

log4cplus::SharedAppenderPtr makeDefaultAppender()
{
    log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(false, false));
    appender->setName(defaultAppenderName);
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>(defaultPattern));
    return appender;
}

int printError(std::FILE* stream, int err)
{
    if (err == 0)
        return 0;
    const auto code = static_cast<ErrCode>(err);
    std::fprintf(stream, "Error %08x - %s\n", code, ErrorToString(code));
    std::fflush(stream);
    return err;
}

} // namespace

void init(const std::string& configPath)
{
    Env::initEnvironmentVars();
    log4cplus::helpers::LogLog::getLogLog()->setInternalDebugging(false);
    if (configPath.empty())
        initDefaultConfig();
    else
        initConfigFromFile(configPath);
}

bool initOrDefault(const std::string& configPath)
{
    const bool isReadable = std::ifstream(configPath).get() != std::ifstream::traits_type::eof();
    try
    {
        init(isReadable ? configPath : "");
        if (isReadable)
            return true;
    }
    catch (const std::exception&) // the default is installed by now
    {}
    logAt(diagLogger(), log4cplus::WARN_LOG_LEVEL, {thisFile, __LINE__, __func__},
          [&] { return "Logging goes on without the property file " + configPath; });
    return false;
}

void finish() {}

void initDefaultConfig()
{
    if (log4cplus::Logger::exists(diagLoggerName))
        return;
    diagLogger() = log4cplus::Logger::getInstance(diagLoggerName);
    diagLogger().addAppender(makeDefaultAppender());
    diagLogger().setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    logAt(diagLogger(), log4cplus::INFO_LOG_LEVEL, {thisFile, __LINE__, __func__},
          [] { return "Default DiagLogger configuration initialized"; });
}

void initConfigFromFile(const std::string& configPath)
{
    const log4cplus::Logger root = log4cplus::Logger::getRoot();
    try
    {
        log4cplus::Hierarchy& hierarchy = log4cplus::Logger::getDefaultHierarchy();
        hierarchy.resetConfiguration();
        log4cplus::PropertyConfigurator::doConfigure(configPath, hierarchy, 0);
        diagLogger() = log4cplus::Logger::getInstance(diagLoggerName);
    }
    catch (...) // a registered appender factory may throw anything
    {
        initDefaultConfig();
        logAt(root, log4cplus::ERROR_LOG_LEVEL, {thisFile, __LINE__, __func__},
              [] { return "Exception occured while opening diag config file"; });
        throw;
    }
}

log4cplus::Logger& diagLogger()
{
    // Never destroyed: other threads may log while the program exits.
    static log4cplus::Logger& logger = *new log4cplus::Logger(log4cplus::Logger::getRoot());
    return logger;
}

namespace
{
// The first call allocates and needs log4cplus: it shall not be that of a destructor late in exit().
[[maybe_unused]] const log4cplus::Logger& loggerFromTheBeginning = diagLogger();
} // namespace

int stdOutPrintfError(int err) { return printError(stdout, err); }

int stdErrPrintfError(int err) { return printError(stderr, err); }

void stdErrPrintf(const char* format, ...)
{
    if (format == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fflush(stderr);
}

} // namespace Diag
} // namespace Kiv
