// An application in small: does what its first argument names and prints what an application would see.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

#include <QCoreApplication>

#include <log4cplus/consoleappender.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/spi/factory.h>

#include <kiv/EnvVars.h>
#include <kiv/diag.h>
#include <kiv/util.h>

namespace
{

using Arguments = std::vector<std::string>;

void printPaths(const Arguments&)
{
    const Kiv::CApplicationPath path;
    std::printf("%s\n%s\n%s\n", path.filePath.c_str(), path.dirPath.c_str(), path.fileName.c_str());
    std::printf("%s\n%s\n", Kiv::getApplicationFilePath().c_str(), Kiv::getApplicationDirPath().c_str());
}

void printPathsAfterDeletion(const Arguments& arguments)
{
    unlink(arguments[0].c_str());
    printPaths(arguments);
}

void printEnvironment(const Arguments&)
{
    QCoreApplication::setOrganizationName(QStringLiteral("Waterworks"));
    QCoreApplication::setApplicationName(QStringLiteral("Pump"));
    Kiv::Env::initEnvironmentVars();
    for (const char* name : {"APP_PATH", "DATA_LOCATION", "COMMON_APPDATA"})
        std::printf("%s=%s\n", name, std::getenv(name));
}

// The state of the shared logger goes to standard error, since standard output shows what is logged.
void printLogger()
{
    log4cplus::Logger& logger = Kiv::Diag::diagLogger();
    std::string appenders;
    for (const auto& appender : logger.getAllAppenders())
        appenders += " " + appender->getName();
    std::fprintf(stderr, "%s %d%s\n", logger.getName().c_str(), logger.getLogLevel(), appenders.c_str());
}

void logSomething(const std::string& configPath)
{
    std::fprintf(stderr, "%s\n", Kiv::Diag::diagLogger().getName().c_str());
    Kiv::Diag::init(configPath);
    printLogger();
    LOG4CPLUS_INFO(Kiv::Diag::diagLogger(), "from the application");
}

void logByDefault(const Arguments&)
{
    logSomething("");
    Kiv::Diag::initDefaultConfig();
    printLogger();
    Kiv::Diag::finish();
}

void logAsConfigured(const Arguments& arguments)
{
    for (std::size_t i = 2; i < arguments.size(); ++i)
        logSomething(arguments[i]);
}

void logOrDefault(const Arguments& arguments)
{
    const bool isInForce = Kiv::Diag::initOrDefault(arguments.at(2));
    std::fprintf(stderr, "%s\n", isInForce ? "in force" : "default");
}

void logAtEveryLevel(const Arguments& arguments)
{
    Kiv::Diag::init(arguments.at(2));
    for (const log4cplus::LogLevel level :
         {log4cplus::FATAL_LOG_LEVEL, log4cplus::ERROR_LOG_LEVEL, log4cplus::WARN_LOG_LEVEL, log4cplus::INFO_LOG_LEVEL,
          log4cplus::DEBUG_LOG_LEVEL, log4cplus::TRACE_LOG_LEVEL})
        Kiv::Diag::diagLogger().log(level, log4cplus::getLogLevelManager().toString(level));
}

/// An appender factory that throws what no std::exception is, as log4cplus lets pass to whoever configures it. Leaves
/// an appender at the root logger, which would have none at that time.
class CThrowingFactory : public log4cplus::spi::AppenderFactory
{
public:
    log4cplus::SharedAppenderPtr createObject(const log4cplus::helpers::Properties&) override
    {
        log4cplus::Logger::getRoot().addAppender(
            log4cplus::SharedAppenderPtr(new log4cplus::ConsoleAppender(true, true)));
        throw 42;
    }
    const log4cplus::tstring& getTypeName() const override { return typeName; }

private:
    const log4cplus::tstring typeName = "Throwing";
};

void logAfterFailure(const Arguments& arguments)
{
    log4cplus::spi::getAppenderFactoryRegistry().put(
        std::unique_ptr<log4cplus::spi::AppenderFactory>(new CThrowingFactory));
    try
    {
        logSomething(arguments.at(2));
    }
    catch (int value)
    {
        std::fprintf(stderr, "caught %d\n", value);
        printLogger();
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::map<std::string, std::function<void(const Arguments&)>> commands = {
        {"paths", printPaths},
        {"paths-after-deletion", printPathsAfterDeletion},
        {"environment", printEnvironment},
        {"log-default", logByDefault},
        {"log-configured", logAsConfigured},
        {"log-failure", logAfterFailure},
        {"log-levels", logAtEveryLevel},
        {"log-or-default", logOrDefault},
    };
    const Arguments arguments(argv, argv + argc);
    commands.at(arguments.at(1))(arguments);
}
