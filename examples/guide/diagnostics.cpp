// Logging by a property file that stands beside the program, and a report for the day it crashes.

// [diagnostics]
#include <cstdio>
#include <fstream>

#include <log4cplus/loggingmacros.h>

#include <kiv/CrashReport.h>
#include <kiv/EnvVars.h>
#include <kiv/ErrorToString.h>
#include <kiv/diag.h>

int main()
{
    std::ofstream("logging.properties") << "log4cplus.rootLogger=INFO, out\n"
                                           "log4cplus.appender.out=log4cplus::ConsoleAppender\n"
                                           "log4cplus.appender.out.layout=log4cplus::PatternLayout\n"
                                           "log4cplus.appender.out.layout.ConversionPattern=%p %m%n\n";
    Kiv::Diag::initOrDefault("logging.properties"); // may say ${APP_PATH}: see Kiv::Env
    LOG4CPLUS_INFO(Kiv::Diag::diagLogger(), "controller started");
    LOG4CPLUS_DEBUG(Kiv::Diag::diagLogger(), "not shown");

    if (const int error = Kiv::Diag::installCrashReport("crash.txt"))
        std::printf("no crash reports: %s\n", ErrorToString(static_cast<ErrCode>(error)));

    const std::string path = Kiv::Env::substituteEnvironmentVars("${APP_PATH}/plant.ini");
    std::puts(path.find("${") == path.npos ? "the program knows where it stands" : "unknown");
}
// [diagnostics]
