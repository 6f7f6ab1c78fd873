// The pumping station as a service: what the service manager hears of it.

#include <csignal>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/ServiceManager.h"
#include "support/TemporaryDirectory.h"

namespace
{

/// A station whose log goes into a pipe, which the test can let run full.
class PumpStationService : public testing::Test
{
protected:
    PumpStationService()
    {
        mkfifo(logPath.c_str(), 0600);
        log = open(logPath.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        setLevel("INFO");
    }

    void setLevel(const std::string& level) const
    {
        std::ofstream(properties) << "log4cplus.rootLogger=WARN, file\nlog4cplus.logger.PumpStation=" << level
                                  << "\n"
                                     "log4cplus.appender.file=log4cplus::FileAppender\n"
                                     "log4cplus.appender.file.layout=log4cplus::SimpleLayout\n"
                                     "log4cplus.appender.file.File="
                                  << logPath << "\n";
    }

    ~PumpStationService() override { close(log); }

    /// The day takes a quarter of an hour, unless the station is told to stop.
    std::vector<std::string> command() const
    {
        const std::string script =
            R"(sed "s|^Log=.*|Log=$1|; s|^Hours=.*|Hours=$0.hours|; s|^Inflow=.*|Inflow=$2/inflow.csv|
                    s|^AlarmInterval=.*|AlarmInterval=10 ms|" "$2/pump_station.ini" > "$0"
               exec )" +
            shellCommand(PUMP_STATION) + R"( --quiet --speed 100 --config "$0")";
        return {"sh", "-c", script, directory.path() / "station.ini", properties, exampleFiles};
    }

    /// From now on whoever logs waits.
    void blockLog() const
    {
        const std::string chunk(4096, '\n');
        while (write(log, chunk.data(), chunk.size()) > 0)
        {}
        while (write(log, chunk.data(), 1) > 0)
        {}
    }

    const std::string exampleFiles = std::filesystem::path(PUMP_STATION).parent_path();
    TemporaryDirectory directory;
    const std::string logPath = directory.path() / "log";
    const std::string properties = directory.path() / "logging.properties";
    int log = -1;
};

} // namespace

TEST_F(PumpStationService, TellsReadyAliveAndStopping)
{
    const CServiceManager manager(directory.path() / "notify", "20000");
    CChildProcess child(command());
    EXPECT_EQ(manager.next(), "READY=1");
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
    child.kill(SIGTERM);
    auto last = manager.next();
    while (last == "WATCHDOG=1")
        last = manager.next();
    EXPECT_EQ(last, "STOPPING=1");
    EXPECT_EQ(child.wait(), 128 + SIGTERM);
    EXPECT_EQ(child.err(), "");
}

TEST_F(PumpStationService, MachineThatHangsIsNotAlive)
{
    setLevel("TRACE");
    const CServiceManager manager(directory.path() / "notify", "20000");
    CChildProcess child(command());
    EXPECT_EQ(manager.next(), "READY=1");
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
    blockLog();
    // What was under way may still be told; then there is silence, a hundred times as long as between two feedings.
    int told = 0;
    while (told < 3000 && manager.next(1))
        ++told;
    EXPECT_LT(told, 3000);
}

TEST_F(PumpStationService, UnreachableManagerIsNamedAndTheStationWorks)
{
    setenv("NOTIFY_SOCKET", (directory.path() / "nobody").c_str(), 1);
    std::vector<std::string> atFullSpeed = command();
    atFullSpeed[2].replace(atFullSpeed[2].find("--speed 100"), 11, "--speed 1000000");
    std::ofstream(properties) << "log4cplus.rootLogger=OFF\n";
    CChildProcess child(atFullSpeed);
    EXPECT_EQ(child.wait(), 0);
    unsetenv("NOTIFY_SOCKET");
    const std::string line = "Error fffffffe - No such entity\n";
    EXPECT_EQ(child.err(), line + line);
}
