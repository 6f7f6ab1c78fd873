#include <kiv/Inspection.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <kiv/AlarmTimer.h>
#include <kiv/StateMachine.h>
#include <kiv/Transition.h>
#include <kiv/errno_translation.h>

#include "support/InspectionClient.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using namespace Kiv;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr unsigned char eventGo = 3;
constexpr unsigned char eventBack = 4;

/// Idle and Busy "1"\ of an asynchronous machine that goes to and fro.
struct Toggle
{
    explicit Toggle(CStateMachine::eProcessingType type = CStateMachine::ProcessingAsync) : machine(type)
    {
        machine.setInitialState(idle);
        idle->addEventTransitionTo(busy, eventGo, "go");
        busy->addEventTransitionTo(idle, eventBack, "back");
    }
    ~Toggle() { machine.stop(); }
    Toggle(const Toggle&) = delete;
    Toggle& operator=(const Toggle&) = delete;

    CStateMachine machine;
    CState* const idle = new CState("Idle", &machine);
    CState* const busy = new CState("Busy \"1\"\\", &machine);
};

int negated(int systemError) { return -static_cast<int>(errnoToErrCode(systemError)); }

} // namespace

class Inspection : public testing::Test
{
protected:
    std::string socketOf(const std::string& name) const { return directory.path().string() + "/kiv-" + name + ".sock"; }

    TemporaryDirectory directory;
};

TEST_F(Inspection, TellsWhatWasShown)
{
    Toggle toggle;
    CAlarmTimer timer(250);
    timer.setName("pulse");
    CInspection inspection("greenhouse", directory.path());
    ASSERT_EQ(inspection.result(), 0);
    EXPECT_EQ(inspection.path(), socketOf("greenhouse"));
    inspection.show(toggle.machine, "climate");
    inspection.show(timer);
    inspection.show("level", [] { return std::string("21.5 \xff"); });
    toggle.machine.start();

    CInspectionClient client(inspection.path());
    EXPECT_THAT(client.nextLine(), StartsWith("{\"kind\":\"hello\",\"protocol\":1,\"name\":\"greenhouse\",\"pid\":"));
    const std::string state = client.ask("state");
    EXPECT_THAT(state, HasSubstr("{\"name\":\"climate\",\"pending\":0,\"dropped\":0,\"active\":[0],\"async\":true,"
                                 "\"states\":[{\"name\":\"Idle\",\"path\":\"Idle\",\"type\":\"state\",\"parent\":-1,"
                                 "\"initial\":true,\"parallel\":false},{\"name\":\"Busy \\\"1\\\"\\\\\","));
    EXPECT_THAT(state, HasSubstr("{\"name\":\"go\",\"source\":0,\"target\":1,\"finished\":false,\"events\":[3]}"));
    EXPECT_THAT(state, HasSubstr("\"timers\":[{\"name\":\"pulse\",\"interval_ms\":250,\"running\":false}]"));
    EXPECT_THAT(state, HasSubstr("\"values\":[{\"name\":\"level\",\"value\":\"21.5 \\ufffd\"}]"));
    EXPECT_THAT(client.ask("diagram mermaid climate"), HasSubstr("stateDiagram-v2\\u000a"));
    for (const char* wrong :
         {"", "states", "state now", "diagram svg climate", "diagram dot pump", "post 3", "post x climate"})
        EXPECT_THAT(client.ask(wrong), StartsWith("{\"kind\":\"error\"")) << wrong;
}

TEST_F(Inspection, WatchersSeeWhatHappensInItsOrder)
{
    Toggle toggle;
    CInspection inspection("greenhouse", directory.path());
    inspection.show(toggle.machine);
    toggle.machine.start();
    CInspectionClient client(inspection.path());
    client.nextLine();
    EXPECT_THAT(client.ask("watch"), StartsWith("{\"kind\":\"state\""));
    client.until("\"changes\""); // the first tells values and timers; from then on the machine is listened to
    toggle.machine.postEvent(eventGo);
    const std::string seen = client.until("\"what\":\"entered\"");
    std::size_t at = 0;
    for (const char* record : {R"("what":"handled","event":3)", R"("what":"left","subject":"Idle")",
                               R"("what":"fired","subject":"go: Idle ->)", R"("what":"entered","subject":"Busy)"})
    {
        const std::size_t found = seen.find(record, at);
        ASSERT_NE(found, std::string::npos) << record << " in " << seen;
        at = found;
    }
    EXPECT_THAT(seen, HasSubstr("\"active\":[1],\"lost\":0"));
}

TEST_F(Inspection, PostsOnlyWhatTheProgramAllows)
{
    Toggle toggle;
    CInspection inspection("greenhouse", directory.path());
    inspection.show(toggle.machine, "climate");
    inspection.allow(toggle.machine, eventGo);
    toggle.machine.start();
    CInspectionClient client(inspection.path());
    client.nextLine();
    EXPECT_EQ(client.ask("post 4 climate"), R"({"kind":"error","text":"the program does not allow this event"})");
    EXPECT_EQ(client.ask("post 3 climate"), R"({"kind":"posted","event":3})");
    EXPECT_TRUE(waitUntil([&] { return toggle.busy->isActive(); }));
}

TEST_F(Inspection, SocketIsTheOwnersAndReplacesThatOfTheDeadOnly)
{
    {
        // What a killed process leaves: a socket to which nobody listens.
        const int left = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socketOf("pump").c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(left, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ::close(left);
    }
    auto first = std::make_unique<CInspection>("pump", directory.path());
    EXPECT_EQ(first->result(), 0);
    struct stat attributes = {};
    ASSERT_EQ(::stat(socketOf("pump").c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mode & 0777U, 0600U);

    EXPECT_EQ(CInspection("pump", directory.path()).result(), negated(EADDRINUSE));
    EXPECT_THAT(CInspectionClient(socketOf("pump")).nextLine(), HasSubstr("\"hello\""));
    first.reset();
    EXPECT_FALSE(CInspectionClient(socketOf("pump")).isConnected());
    EXPECT_NE(::stat(socketOf("pump").c_str(), &attributes), 0);
}

TEST_F(Inspection, WhatCannotBeOpenedIsTold)
{
    EXPECT_EQ(CInspection("a/b", directory.path()).result(), negated(EINVAL));
    EXPECT_EQ(CInspection("", directory.path()).result(), negated(EINVAL));
    EXPECT_EQ(CInspection("pump", directory.path().string() + "/none").result(), negated(ENOENT));
    EXPECT_EQ(CInspection("pump", directory.path(), "no such group").result(), negated(ENOENT));
    EXPECT_EQ(CInspection("pump", '/' + std::string(100, 'x')).result(), negated(ENAMETOOLONG));
    CInspection closed("a b", directory.path());
    Toggle toggle;
    closed.show(toggle.machine);
    closed.allow(toggle.machine, eventGo);
    EXPECT_EQ(closed.path(), "");
}

TEST_F(Inspection, ReadersWhoMisbehaveLoseTheirConnection)
{
    CInspection inspection("greenhouse", directory.path());
    CInspectionClient endless(inspection.path());
    endless.nextLine();
    endless.send(std::string(600, 'x'));
    EXPECT_THAT(endless.nextLine(), HasSubstr("255 bytes"));
    EXPECT_EQ(endless.nextLine(), "(closed)");

    std::vector<std::unique_ptr<CInspectionClient>> crowd;
    for (int i = 0; i < 8; ++i)
    {
        crowd.push_back(std::make_unique<CInspectionClient>(inspection.path()));
        EXPECT_THAT(crowd.back()->nextLine(), HasSubstr("hello"));
    }
    CInspectionClient ninth(inspection.path());
    EXPECT_THAT(ninth.nextLine(), HasSubstr("too many"));
    EXPECT_EQ(ninth.nextLine(), "(closed)");
    crowd.pop_back();
    EXPECT_TRUE(waitUntil([&] {
        CInspectionClient next(inspection.path());
        return next.nextLine().find("hello") != std::string::npos;
    }));
}

TEST_F(Inspection, AFunctionThatHangsHoldsUpNeitherShowNorTheEnd)
{
    auto release = std::make_shared<std::atomic<bool>>(false);
    auto entered = std::make_shared<std::atomic<bool>>(false);
    auto left = std::make_shared<std::atomic<bool>>(false);
    {
        Toggle toggle;
        CInspection inspection("greenhouse", directory.path());
        inspection.show(toggle.machine);
        inspection.show("stuck", [release, entered, left] {
            *entered = true;
            while (!*release)
                std::this_thread::yield();
            *left = true;
            return std::string("late");
        });
        CInspectionClient client(inspection.path());
        client.nextLine();
        client.send("watch\n");
        ASSERT_TRUE(waitUntil([&] { return entered->load(); }));
        inspection.show("another", [] { return std::string(); });
    }
    *release = true;
    EXPECT_TRUE(waitUntil([&] { return left->load(); }));
}

TEST_F(Inspection, StormOfWatchersLosesNoEvent)
{
    constexpr int rounds = 200;
    Toggle toggle;
    CInspection inspection("greenhouse", directory.path());
    inspection.show(toggle.machine, "climate");
    toggle.machine.start();
    std::atomic<bool> over{false};
    std::vector<std::thread> watchers;
    for (int i = 0; i < 3; ++i)
        watchers.emplace_back([&] {
            while (!over)
            {
                CInspectionClient client(inspection.path());
                client.nextLine();
                client.ask("watch");
                client.ask("diagram dot climate");
            }
        });
    for (int round = 0; round < rounds; ++round)
    {
        toggle.machine.postEvent(eventGo);
        EXPECT_TRUE(waitUntil([&] { return toggle.busy->isActive(); })) << round;
        toggle.machine.postEvent(eventBack);
        EXPECT_TRUE(waitUntil([&] { return toggle.idle->isActive(); })) << round;
    }
    over = true;
    for (std::thread& watcher : watchers)
        watcher.join();
    EXPECT_EQ(toggle.machine.droppedEvents(), 0U);
}
