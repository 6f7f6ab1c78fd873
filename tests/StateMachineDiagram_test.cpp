#include <kiv/StateMachineDiagram.h>

#include <algorithm>
#include <chrono>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/TinySimpleFSM.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

using Kiv::CFinalState;
using Kiv::CState;
using Kiv::CStateMachine;
using testing::HasSubstr;
using testing::Not;

namespace
{

std::size_t count(const std::string& text, const std::string& part)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size()))
        ++found;
    return found;
}

/// The picture that Graphviz makes; it has to make it without a word of complaint.
std::string svgOf(const CStateMachine& machine)
{
    TemporaryDirectory directory;
    const std::string path = directory.path() / "machine.dot";
    std::ofstream(path) << stateMachineDiagram(machine, Kiv::DiagramDot);
    CChildProcess dot({GRAPHVIZ_DOT, "-Tsvg", path});
    EXPECT_EQ(dot.wait(), 0);
    EXPECT_EQ(dot.err(), "");
    return dot.out();
}

/// A mixer: work in two regions, a fault, and an end.
class StateMachineDiagram : public testing::Test
{
protected:
    StateMachineDiagram()
    {
        machine.setInitialState(work);
        work->setChildMode(CState::ChildModeParallel);
        motor->addHistoryState()->setDefaultState(slow);
        valve->setInitialState(shut);
        slow->addEventTransitionTo(fast, 3, "speed up");
        machine.registerEventTransiton(7, fast->addEventTransitionTo(slow, 4, "slow down"));
        fast->addTransitionTo(burst);
        work->addEventTransitionTo(fault, 255, "fault");
        fault->addEventTransitionTo(fast, 9);
        work->addFinishedTransitionTo(ended);
    }

    CStateMachine machine;
    CState* work = new CState("Work", &machine);
    CState* motor = new CState("Motor", work);
    CState* slow = new CState("Slow", motor);
    CState* fast = new CState("Fast", motor);
    CFinalState* burst = new CFinalState("Burst", motor);
    CState* valve = new CState("Valve", work);
    CState* shut = new CState("Shut", valve);
    CState* fault = new CState("Fault", &machine);
    CFinalState* ended = new CFinalState("Ended", &machine);
};

} // namespace

TEST_F(StateMachineDiagram, MermaidTextShowsEverything)
{
    EXPECT_EQ(stateMachineDiagram(machine, Kiv::DiagramMermaid), R"(stateDiagram-v2
    [*] --> Work
    state Work {
        state Motor {
            [*] --> Motor_History
            state "H" as Motor_History
            Motor_History --> Slow
            Slow
            Fast
            Burst
            Burst --> [*]
            Slow --> Fast : speed up (3)
            Fast --> Slow : slow down (4, 7)
            Fast --> Burst
        }
        --
        state Valve {
            [*] --> Shut
            Shut
        }
    }
    Fault
    Ended
    Ended --> [*]
    Work --> Fault : fault (255)
    Work --> Ended : WorkFinished
    Fault --> Fast : (9)
)");
}

TEST_F(StateMachineDiagram, PlantUmlTextShowsEverything)
{
    EXPECT_EQ(stateMachineDiagram(machine, Kiv::DiagramPlantUml), R"(@startuml
hide empty description
[*] --> Work
state Work {
    state Motor {
        [*] --> Motor_History
        state "H" as Motor_History <<history>>
        Motor_History --> Slow
        state Slow
        state Fast
        state Burst
        Burst --> [*]
        Slow --> Fast : speed up (3)
        Fast --> Slow : slow down (4, 7)
        Fast --> Burst
    }
    --
    state Valve {
        [*] --> Shut
        state Shut
    }
}
state Fault
state Ended
Ended --> [*]
Work --> Fault : fault (255)
Work --> Ended : WorkFinished
Fault --> Fast : (9)
@enduml
)");
}

TEST_F(StateMachineDiagram, GraphvizDrawsGroupsStatesAndArrows)
{
    const std::string svg = svgOf(machine);
    for (const char* group : {"Work", "Motor", "Valve"})
        EXPECT_THAT(svg, HasSubstr("<title>cluster " + std::string(group) + "</title>"));
    for (const char* text : {">Slow<", ">H<", ">◉ Burst<", ">◉ Ended<", "speed up (3)", "slow down (4, 7)", "(9)"})
        EXPECT_THAT(svg, HasSubstr(text));
    EXPECT_EQ(count(svg, "class=\"edge\""), 10U); // six transitions, three initial states, one default
}

TEST_F(StateMachineDiagram, ShowsGuardsTimeoutsInternalTransitionsDeepHistoryAndEventNames)
{
    using namespace std::chrono_literals;
    machine.setEventNames<int>({{3, "up"}, {4, "down"}});
    motor->historyState()->setHistoryType(Kiv::HistoryDeep);
    slow->transitions()[0]->setGuard("warm", [] { return true; });
    slow->addTimeoutTransitionTo(burst, 90s);
    slow->addTimeoutTransitionTo(fast, 2min, "late")->setGuard("]\"", [] { return true; });
    shut->addInternalTransition(
        8, [] {}, "count");
    const std::string uml = stateMachineDiagram(machine, Kiv::DiagramPlantUml);
    for (const char* line :
         {"state \"H*\" as Motor_History <<history*>>", "Slow --> Fast : speed up (up) <U+005B>warm<U+005D>",
          "Fast --> Slow : slow down (down, 7)", "Slow --> Burst : (after 90 s)",
          "Slow --> Fast : late (after 2 min) <U+005B><U+005D><U+0022><U+005D>",
          "Shut --> Shut : internal<U+003A> count (8)"})
        EXPECT_THAT(uml, HasSubstr(line));
    const std::string mermaid = stateMachineDiagram(machine, Kiv::DiagramMermaid);
    EXPECT_THAT(mermaid, HasSubstr("state \"H#42;\" as Motor_History\n"));
    EXPECT_THAT(mermaid, HasSubstr("Slow --> Fast : speed up (up) #91;warm#93;"));
    const std::string svg = svgOf(machine);
    for (const char* text : {"H*", "speed up (up) [warm]", "late (after 2 min) [", "internal: count (8)"})
        EXPECT_THAT(svg, HasSubstr(text));
}

TEST_F(StateMachineDiagram, ActiveStatesAreHighlightedWhileTheyAreActive)
{
    const std::string idle = stateMachineDiagram(machine, Kiv::DiagramMermaid);
    EXPECT_THAT(idle, Not(HasSubstr("class")));
    EXPECT_EQ(count(svgOf(machine), "#ffca28"), 0U);
    machine.start();
    const std::string running = stateMachineDiagram(machine, Kiv::DiagramMermaid);
    EXPECT_THAT(running, HasSubstr("    class Slow,Shut active\n"));
    EXPECT_THAT(running, HasSubstr("    class Work,Motor,Valve activeGroup\n"));
    EXPECT_THAT(stateMachineDiagram(machine, Kiv::DiagramPlantUml), HasSubstr("state Slow #FFE082;line:E65100"));
    EXPECT_EQ(count(svgOf(machine), "#ffca28"), 2U);
    machine.stop();
    EXPECT_EQ(stateMachineDiagram(machine, Kiv::DiagramMermaid), idle);
}

TEST_F(StateMachineDiagram, ArrowsThatLeadIntoOrOutOfTheirOwnEndsAreDrawn)
{
    motor->addEventTransitionTo(motor, 20, "again");
    motor->addEventTransitionTo(fast, 21, "inwards");
    fast->addEventTransitionTo(work, 22, "outwards");
    fast->addEventTransitionTo(shut, 23, "across");
    shut->addEventTransitionTo(shut, 24, "same");
    const std::string svg = svgOf(machine);
    for (const char* label : {"again (20)", "inwards (21)", "outwards (22)", "across (23)", "same (24)"})
        EXPECT_EQ(count(svg, label), 1U) << label;
    // Neither region may hold what leads from one to the other.
    EXPECT_THAT(stateMachineDiagram(machine, Kiv::DiagramMermaid), HasSubstr("\n    Fast --> Shut : across (23)\n"));
}

TEST_F(StateMachineDiagram, NamesMayHoldAnything)
{
    auto* quoted = new CState("say \"hi\"; a->b: \\n {#1}", &machine);
    quoted->addTransitionTo(new CState("", &machine), "<b>:;\n#");
    quoted->addTransitionTo(new CState("end", &machine), "\\");
    quoted->addTransitionTo(new CState("2nd", &machine), "ä");
    quoted->addTransitionTo(new CState("&lt;\x01/'__\"", &machine), "\t");
    const std::string svg = svgOf(machine);
    EXPECT_THAT(svg, HasSubstr(">say &quot;hi&quot;; a&#45;&gt;b: \\n {#1}<"));
    EXPECT_THAT(svg, HasSubstr("&lt;b&gt;:;"));
    EXPECT_THAT(svg, HasSubstr(">&amp;lt; /&#39;__&quot;<"));
    const std::string mermaid = stateMachineDiagram(machine, Kiv::DiagramMermaid);
    EXPECT_THAT(mermaid, HasSubstr("    state \"say #34;hi#34;#59; a-#62;b#58; #92;n #123;#35;1#125;\" as say__hi"));
    EXPECT_THAT(mermaid, HasSubstr(" --> state_ : #60;b#62;#58;#59; #35;\n"));
    EXPECT_THAT(mermaid, HasSubstr("    state \"end\" as end_\n"));
    EXPECT_THAT(mermaid, HasSubstr("    state \"2nd\" as state2nd\n"));
    EXPECT_THAT(mermaid, HasSubstr(" --> _lt_______\n"));
    const std::string plantUml = stateMachineDiagram(machine, Kiv::DiagramPlantUml);
    EXPECT_THAT(plantUml, Not(HasSubstr("\"\"")));
    EXPECT_THAT(plantUml, HasSubstr("state \"<U+0026>lt<U+003B> /<U+0027><U+005F><U+005F><U+0022>\" as _lt"));
}

TEST_F(StateMachineDiagram, EqualNamesStayDifferentStates)
{
    auto* first = new CState("fault", &machine);
    first->addTransitionTo(new CState("Fault", valve));
    const std::string mermaid = stateMachineDiagram(machine, Kiv::DiagramMermaid);
    EXPECT_THAT(mermaid, HasSubstr("            Fault\n"));
    EXPECT_THAT(mermaid, HasSubstr("    state \"Fault\" as Fault_2\n"));
    EXPECT_THAT(mermaid, HasSubstr("    state \"fault\" as fault_3\n"));
    EXPECT_THAT(mermaid, HasSubstr("    fault_3 --> Fault"));
    EXPECT_EQ(count(svgOf(machine), ">Fault</text>"), 2U);
}

TEST_F(StateMachineDiagram, WhatLeadsNowhereIsLeftOut)
{
    CStateMachine other;
    auto* elsewhere = new CState("Elsewhere", &other);
    const std::string before = stateMachineDiagram(machine, Kiv::DiagramDot);
    fast->addEventTransitionTo(nullptr, 30, "void");
    fast->addEventTransitionTo(elsewhere, 31, "away");
    fast->addEventTransitionTo(&machine, 32, "up");
    machine.addTransitionTo(work, "down");
    EXPECT_EQ(stateMachineDiagram(machine, Kiv::DiagramDot), before);
    EXPECT_THAT(svgOf(CStateMachine()), HasSubstr("</svg>"));
    EXPECT_EQ(stateMachineDiagram(CStateMachine(), Kiv::DiagramMermaid), "stateDiagram-v2\n");
}

TEST_F(StateMachineDiagram, HandMadeFinishedTransitionSaysSo)
{
    Kiv::CTransition* onward = motor->addTransitionTo(fault, "onward");
    motor->sigFinished.connect(
        onward, static_cast<void (Kiv::CTransition::*)(Kiv::CAbstractState*)>(&Kiv::CTransition::trigger));
    EXPECT_THAT(stateMachineDiagram(machine, Kiv::DiagramMermaid), HasSubstr(": onward (finished)\n"));
}
