#include <kiv/ServiceNotify.h>

#include <filesystem>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "support/ServiceManager.h"
#include "support/TemporaryDirectory.h"

using std::chrono::microseconds;

namespace
{

/// The environment as a shell leaves it: nobody supervises.
class ServiceNotify : public testing::Test
{
protected:
    ServiceNotify() { clear(); }
    ~ServiceNotify() override { clear(); }

    static void clear()
    {
        for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            unsetenv(name);
    }

    const TemporaryDirectory directory;
    const std::string path = directory.path() / "notify";
};

} // namespace

TEST_F(ServiceNotify, WithoutManagerEverythingSucceeds)
{
    for (const char* name : {static_cast<const char*>(nullptr), ""})
    {
        if (name)
            setenv("NOTIFY_SOCKET", name, 1);
        Kiv::CServiceNotify service;
        EXPECT_FALSE(service.isManaged());
        EXPECT_EQ(service.error(), 0);
        EXPECT_EQ(service.notifyReady(), 0);
        EXPECT_EQ(service.feedWatchdog(), 0);
        EXPECT_EQ(service.watchdogInterval(), microseconds(0));
    }
}

TEST_F(ServiceNotify, EachMessageReachesBothKindsOfSocketAsOneDatagram)
{
    const std::string atTheLimit(sizeof sockaddr_un::sun_path - directory.path().native().size() - 2, 'x');
    for (const std::string& name : {path, "@" + path, (directory.path() / atTheLimit).native()})
    {
        const CServiceManager manager(name);
        Kiv::CServiceNotify service;
        EXPECT_TRUE(service.isManaged()) << name;
        EXPECT_EQ(service.notifyReady(), 0) << name;
        EXPECT_EQ(service.notifyStatus("pumps 1\nMAINPID=1 2\t\xc3\xa4"), 0);
        EXPECT_EQ(service.feedWatchdog(), 0);
        EXPECT_EQ(service.notify("STATUS=a\nERRNO=5"), 0);
        EXPECT_EQ(service.notifyStopping(), 0);
        for (const char* expected :
             {"READY=1", "STATUS=pumps 1 MAINPID=1 2 \xc3\xa4", "WATCHDOG=1", "STATUS=a\nERRNO=5", "STOPPING=1"})
            EXPECT_EQ(manager.next(), expected) << name;
    }
}

TEST_F(ServiceNotify, AddressesThatCannotBeUsedFailAtConstructionAndEveryMessage)
{
    const std::string longPath = "/" + std::string(sizeof sockaddr_un::sun_path - 1, 'x');
    const struct
    {
        std::string name;
        int code;
    } rows[] = {
        {"vsock:2:1234", -97}, {"notify", -97}, {"@", -97}, {"/", -97}, {longPath, -60}, {"@" + longPath, -60},
    };
    for (const auto& row : rows)
    {
        setenv("NOTIFY_SOCKET", row.name.c_str(), 1);
        Kiv::CServiceNotify service;
        EXPECT_TRUE(service.isManaged()) << row.name;
        EXPECT_EQ(service.error(), row.code) << row.name;
        EXPECT_EQ(service.notifyReady(), row.code) << row.name;
        EXPECT_EQ(service.feedWatchdog(), row.code) << row.name;
    }
}

TEST_F(ServiceNotify, ManagerThatGoesAndComesBackIsReachedAgain)
{
    auto manager = std::make_unique<CServiceManager>(path);
    Kiv::CServiceNotify service;
    manager.reset();
    EXPECT_EQ(service.notifyReady(), -361); // connection refused
    std::filesystem::remove(path);
    EXPECT_EQ(service.notifyReady(), -2);
    manager = std::make_unique<CServiceManager>(path);
    EXPECT_EQ(service.notifyReady(), 0);
    EXPECT_EQ(manager->next(), "READY=1");
}

TEST_F(ServiceNotify, ManagerThatDoesNotReadIsGivenUp)
{
    const CServiceManager manager(path);
    Kiv::CServiceNotify service;
    int result = 0;
    int taken = -1;
    for (; result == 0 && taken < 100000; ++taken)
        result = service.feedWatchdog();
    EXPECT_EQ(result, -11);
    for (int i = 0; i < taken; ++i)
        ASSERT_EQ(manager.next(), "WATCHDOG=1");
    EXPECT_EQ(service.notifyStopping(), 0);
    EXPECT_EQ(manager.next(), "STOPPING=1");
}

TEST_F(ServiceNotify, SpeaksWhenTheProcessHasNoDescriptorLeft)
{
    const CServiceManager manager(path);
    Kiv::CServiceNotify service;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_LT(dup(0), 0);
    EXPECT_EQ(service.feedWatchdog(), 0);
    const Kiv::CServiceNotify another;
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(another.error(), -24); // too many open files
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
}

TEST_F(ServiceNotify, WatchdogIntervalIsOfThisProcessOnly)
{
    const std::string self = std::to_string(getpid());
    const std::string other = std::to_string(getppid());
    const struct
    {
        const char* interval;
        const char* process;
        microseconds::rep expected;
    } rows[] = {
        {"30000000", nullptr, 30000000},
        {"30000000", self.c_str(), 30000000},
        {"30000000", other.c_str(), 0},
        {"30000000", "", 0},
        {"30000000", "18446744073709551617", 0},
        {"9223372036854775807", self.c_str(), 9223372036854775807},
        {"18446744073709551615", self.c_str(), 0}, // the manager's infinity
        {"18446744073709551617", self.c_str(), 0},
        {"0", self.c_str(), 0},
        {"", self.c_str(), 0},
        {"-1", self.c_str(), 0},
        {" 1", self.c_str(), 0},
        {"1s", self.c_str(), 0},
        {nullptr, self.c_str(), 0},
    };
    for (const auto& row : rows)
    {
        clear();
        if (row.interval)
            setenv("WATCHDOG_USEC", row.interval, 1);
        if (row.process)
            setenv("WATCHDOG_PID", row.process, 1);
        EXPECT_EQ(Kiv::CServiceNotify().watchdogInterval(), microseconds(row.expected))
            << (row.interval ? row.interval : "-") << " of " << (row.process ? row.process : "-");
    }
}
