// kiv look, at an inspection of this process.
#include <kiv/Inspection.h>

#include <atomic>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include <kiv/AlarmTimer.h>
#include <kiv/StateMachine.h>

#include "support/KivTool.h"
#include "support/TemporaryDirectory.h"

using namespace Kiv;
using testing::HasSubstr;
using testing::StartsWith;

class KivLook : public testing::Test
{
protected:
    KivLook()
    {
        machine.setInitialState(cold);
        cold->addEventTransitionTo(warm, 7, "heat");
        warm->addEventTransitionTo(cold, 7, "cool");
        timer.setName("sampling");
        inspection.show(machine, "oven");
        inspection.show(timer);
        inspection.show("door", [] { return std::string("\x1b[31mopen"); });
        machine.start();
    }
    ~KivLook() override { machine.stop(); }

    ToolResult look(const std::string& arguments) const
    {
        return runShell("kiv look --folder " + directory.path().string() + ' ' + arguments);
    }

    TemporaryDirectory directory;
    CStateMachine machine{CStateMachine::ProcessingAsync};
    CState* cold = new CState("Cold", &machine);
    CState* warm = new CState("Warm", &machine);
    CAlarmTimer timer{500};
    CInspection inspection{"kitchen", directory.path()};
};

TEST_F(KivLook, ListsWhatRunsAndShowsItOnce)
{
    EXPECT_THAT(look("").out, StartsWith("kitchen  process " + std::to_string(getpid()) + "  "));
    EXPECT_EQ(look("").status, 0);
    const ToolResult once = look("kitchen --once");
    EXPECT_EQ(once.err, "");
    EXPECT_THAT(once.out, HasSubstr("\noven  0 waiting, 0 dropped\n> Cold\n  Warm\n"));
    EXPECT_THAT(once.out, HasSubstr("\ntimer sampling: 500 ms, stopped\ndoor:  [31mopen\n")); // no control character
    EXPECT_THAT(look("kitchen --once --json").out, StartsWith("{\"kind\":\"state\""));
}

TEST_F(KivLook, DrawsADiagramAndRecordsATrace)
{
    EXPECT_THAT(look("kitchen --machine oven --diagram mermaid").out, HasSubstr("Cold --> Warm : heat (7)"));
    EXPECT_THAT(look("kitchen --machine oven --diagram svg").out, HasSubstr("<svg"));
    std::atomic<bool> over{false};
    std::thread poster([&] {
        while (!over)
        {
            machine.postEvent(7);
            std::this_thread::yield();
        }
    });
    const std::string trace = look("kitchen --trace 0.3").out;
    over = true;
    poster.join();
    EXPECT_THAT(trace, HasSubstr("\"traceEvents\":["));
    EXPECT_THAT(trace, HasSubstr("\"name\":\"fired heat: Cold -> Warm\""));
    EXPECT_THAT(trace, HasSubstr("\"cat\":\"state\",\"id\":\"Warm\",\"name\":\"Warm\",\"ph\":\"b\""));
}

TEST_F(KivLook, SaysWhatIsNotThere)
{
    EXPECT_THAT(look("garage"), Refuses(1, "nothing runs that is called garage"));
    EXPECT_THAT(look("kitchen --machine pump --diagram dot"), Refuses(3, "no such machine"));
    EXPECT_THAT(look("kitchen --diagram png"), Refuses(2, "png"));
    EXPECT_THAT(runShell("kiv look /nowhere/kiv-x.sock --once"), Refuses(3, "/nowhere/kiv-x.sock"));
    EXPECT_EQ(runShell("kiv look --folder /nowhere").status, 1);
}
