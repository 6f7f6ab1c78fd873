#include <kiv/MachoMirror.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/StateMachine.h>
#include <kiv/StateMachineDiagram.h>
#include <kiv/StateMachineTrace.h>
#include <kiv/StateMachineValidation.h>

namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct Begin
{};
struct Trip
{};
struct Resume
{};

struct Inner;
struct Outer;
struct Other;
struct Fault;

// Inner is listed before its super-state.
struct Machine : Macho::Root<Macho::Events<Begin, Trip, Resume>, Macho::States<Inner, Outer, Other, Fault>,
                             Macho::InitialState<Outer>>
{
    void on(Macho::Other) {}
    Macho::To<Fault> on(const Trip&) { return {}; }
};
struct Outer : Macho::State<Machine, Macho::InitialState<Inner>, Macho::Remembered>
{};
struct Inner : Macho::State<Outer>
{
    Macho::To<Other> on(const Begin&) { return {}; }
};
struct Other : Macho::State<Outer>
{
    static constexpr const char* name = "the other";
    Macho::Next<Macho::To<Inner>> on(Macho::Entry) { return {}; }
};
struct Fault : Macho::State<Machine>
{
    void on(const Trip&) {}
    Macho::Next<Macho::ToHistory<Outer>, Macho::ToDeepHistory<Outer>> on(const Resume&)
    {
        return Macho::ToHistory<Outer>();
    }
};

class MachoMirror : public ::testing::Test
{
protected:
    MachoMirror() { machine.observe(&mirror); }

    Macho::CMachine<Machine, Macho::CMirror> machine;
    Macho::CMirror mirror{machine.chart()};
};

TEST_F(MachoMirror, DrawsTheChartWithTheActiveStates)
{
    const auto drawn = [this] { return stateMachineDiagram(mirror.machine(), Kiv::DiagramMermaid); };
    EXPECT_EQ(drawn(), R"(stateDiagram-v2
    [*] --> Outer
    state Outer {
        [*] --> Inner
        state "H" as Outer_History
        Outer_History --> Inner
        Inner
        state "the other" as the_other
        Inner --> the_other : Begin
        the_other --> Inner : entry
    }
    Fault
    Outer --> Fault : Trip
    Fault --> Outer_History : Resume
    Fault --> Outer_History : Resume (deep)
)");
    machine.start();
    EXPECT_THAT(drawn(), HasSubstr("class Inner active"));
    EXPECT_THAT(drawn(), HasSubstr("class Outer activeGroup"));
    machine.handle(Begin());
    EXPECT_THAT(drawn(), HasSubstr("class the_other active"));
    machine.handle(Trip());
    EXPECT_THAT(drawn(), HasSubstr("class Fault active"));
    EXPECT_THAT(drawn(), ::testing::Not(HasSubstr("activeGroup")));
    EXPECT_THAT(validate(mirror.machine()), ::testing::IsEmpty());
}

TEST_F(MachoMirror, IsTracedAsTheTypedMachineGoes)
{
    Kiv::CStateMachineTrace trace(mirror.machine());
    trace.start();
    machine.start();
    machine.handle(Begin());
    machine.handle(Trip());
    machine.handle(Resume());
    machine.stop();
    std::vector<std::string> lines;
    const char* const verbs[] = {"+", "-", "! ", "event "};
    for (const Kiv::TraceRecord& record : trace.records())
        lines.push_back(verbs[record.type] +
                        (record.type == Kiv::TraceEventHandled ? std::to_string(record.eventNo) : record.subject));
    EXPECT_THAT(lines,
                ElementsAre("+Outer", "+Outer.Inner", "event 0", "! Begin: Outer.Inner -> Outer.the other",
                            "-Outer.Inner", "+Outer.the other", "event 1", "! Trip: Outer -> Fault", "-Outer.the other",
                            "-Outer", "+Fault", "event 2", "! Resume: Fault -> Outer.Outer_History", "-Fault", "+Outer",
                            "+Outer.the other", "-Outer.the other", "-Outer"));
}

} // namespace
