#include <kiv/diag.h>

#include <climits>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>

#include <kiv/env/unix/diag/logging.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace
{

std::string writeFile(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream(path) << text;
    return path;
}

std::string readFile(const std::filesystem::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

const std::string stamp = "[0-9][0-9]-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9] ";

/// A property file that lets DiagLogger write to a file beside the program.
std::string logToFile(const std::filesystem::path& path)
{
    return "log4cplus.logger.DiagLogger=INFO, ToFile\n"
           "log4cplus.appender.ToFile=log4cplus::FileAppender\n"
           "log4cplus.appender.ToFile.File=" +
           path.string() +
           "\n"
           "log4cplus.appender.ToFile.ImmediateFlush=false\n"
           "log4cplus.appender.ToFile.layout=log4cplus::PatternLayout\n"
           "log4cplus.appender.ToFile.layout.ConversionPattern=%p %m%n\n";
}

} // namespace

TEST(Diag, DefaultWritesEverythingToStandardOutputOnce)
{
    CChildProcess child({APPLICATION_CHILD, "log-default"});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.err(), "root\nDiagLogger 0 DiagDebugLog\nDiagLogger 0 DiagDebugLog\n");
    EXPECT_THAT(child.out(),
                MatchesRegex(stamp + "INFO  \\[[0-9]+\\]: Default DiagLogger configuration initialized in " +
                             "\\.\\./\\.\\./src/kiv/env/unix/diag/diag:[0-9]+\n" + stamp +
                             "INFO  \\[[0-9]+\\]: from the application in .*application_child.cpp:[0-9]+\n"));
}

TEST(Diag, FileConfiguresTheLoggerAndMayReferToTheApplicationsPlaces)
{
    const TemporaryDirectory directory;
    std::filesystem::copy(APPLICATION_CHILD, directory.path() / "program");
    const std::string config = writeFile(directory.path() / "log.properties", logToFile("${APP_PATH}/the.log"));
    CChildProcess child({directory.path() / "program", "log-configured", config});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.out(), "");
    EXPECT_EQ(child.err(), "root\nDiagLogger 20000 ToFile\n");
    EXPECT_EQ(readFile(directory.path() / "the.log"), "INFO from the application\n");
}

TEST(Diag, EveryFileStartsFromAnEmptyConfiguration)
{
    const TemporaryDirectory directory;
    const std::string config = writeFile(directory.path() / "log.properties", logToFile(directory.path() / "the.log"));
    const std::string silent = writeFile(directory.path() / "silent.properties", "log4cplus.rootLogger=OFF\n");
    CChildProcess child({APPLICATION_CHILD, "log-configured", config, silent, config});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.err(),
              "root\nDiagLogger 20000 ToFile\nDiagLogger\nDiagLogger -1\nDiagLogger\nDiagLogger 20000 ToFile\n");
}

TEST(Diag, MissingFileLeavesThePlainLogger)
{
    const TemporaryDirectory directory;
    CChildProcess child({APPLICATION_CHILD, "log-configured", directory.path() / "missing"});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_THAT(child.err(), HasSubstr("DiagLogger -1\n"));
    EXPECT_EQ(child.out(), "");
}

TEST(Diag, MissingFileIsNoEndOfLoggingForWhoAsksForTheDefault)
{
    const TemporaryDirectory directory;
    const std::string config = writeFile(directory.path() / "log.properties", logToFile(directory.path() / "the.log"));
    for (const std::string& path : std::vector<std::string>{directory.path() / "missing", directory.path(), config})
    {
        CChildProcess child({APPLICATION_CHILD, "log-or-default", path});
        EXPECT_EQ(child.wait(), 0);
        EXPECT_EQ(child.err(), path == config ? "in force\n" : "default\n");
        const auto warning = HasSubstr("Logging goes on without the property file " + path);
        EXPECT_TRUE(path == config ? child.out().empty() : testing::Matches(warning)(child.out())) << child.out();
    }
}

TEST(Diag, FailureInstallsTheDefaultAndReachesTheCaller)
{
    const TemporaryDirectory directory;
    const std::string config = writeFile(directory.path() / "log.properties",
                                         "log4cplus.rootLogger=TRACE, A\nlog4cplus.appender.A=Throwing\n");
    CChildProcess child({APPLICATION_CHILD, "log-failure", config});
    EXPECT_EQ(child.wait(), 0);
    EXPECT_THAT(child.out(), HasSubstr("Default DiagLogger configuration initialized in "));
    EXPECT_THAT(child.err(), HasSubstr("ERROR - Exception occured while opening diag config file\n"
                                       "caught 42\nDiagLogger 0 DiagDebugLog\n"));
}

TEST(Diag, PrintsErrorsToTheAskedStream)
{
    const struct
    {
        int err;
        const char* text;
    } rows[] = {
        {0, ""},
        {13, "Error 0000000d - Permission denied\n"},
        {4660, "Error 00001234 - Unknown error or invalid error code\n"},
        {-2, "Error fffffffe - No such entity\n"},
        {INT_MIN, "Error 80000000 - Unknown error or invalid error code\n"},
    };
    for (const auto& row : rows)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(Kiv::Diag::stdOutPrintfError(row.err), row.err);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.text);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(Kiv::Diag::stdErrPrintfError(row.err), row.err);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.text);
    }
    testing::internal::CaptureStderr();
    Kiv::Diag::stdErrPrintf("%d %s", 7, "rooms");
    Kiv::Diag::stdErrPrintf(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "7 rooms");
}

namespace
{

/// Keeps the last record as one line.
class CLineAppender : public log4cplus::Appender
{
public:
    ~CLineAppender() override { destructorImpl(); }
    void close() override {}
    std::string line;

private:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        line = std::to_string(event.getLogLevel()) + " " + event.getFile() + ":" + std::to_string(event.getLine()) +
               " " + event.getFunction() + " " + event.getMessage();
    }
};

} // namespace

TEST(Logging, RecordCarriesThePlaceAndIsMadeOnlyWhenEnabled)
{
    log4cplus::Logger logger = log4cplus::Logger::getInstance("LoggingTest");
    const log4cplus::helpers::SharedObjectPtr<CLineAppender> appender(new CLineAppender);
    logger.addAppender(log4cplus::SharedAppenderPtr(appender.get()));
    logger.setAdditivity(false);
    logger.setLogLevel(log4cplus::ERROR_LOG_LEVEL);
    int made = 0;
    const auto logAtLevel = [&](log4cplus::LogLevel level) {
        Kiv::Diag::logAt(logger, level, {"../some/file", 29, "CSomething"},
                         [&] { return Kiv::Diag::formatted("text %d", ++made); });
    };
    logAtLevel(log4cplus::INFO_LOG_LEVEL);
    EXPECT_EQ(made, 0);
    EXPECT_EQ(appender->line, "");
    logAtLevel(log4cplus::ERROR_LOG_LEVEL);
    EXPECT_EQ(appender->line, "40000 ../some/file:29 CSomething text 1");
}

TEST(Logging, FormattedTextEndsWhereABufferOf256BytesEnds)
{
    const std::string longText(300, 'x');
    EXPECT_EQ(Kiv::Diag::formatted("%s", longText.c_str()), longText.substr(0, 255));
    EXPECT_EQ(Kiv::Diag::formatted("%s %d", "short", 1), "short 1");
}
