#include <kiv/StateMachineValidation.h>

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/TinySimpleFSM.h>

using Kiv::CFinalState;
using Kiv::CHistoryState;
using Kiv::CState;
using Kiv::CStateMachine;
using Kiv::CTransition;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

/// Off, and On{Run{Slow, Fast, Done} | Watch{Quiet}} with a history in Run: nothing is wrong with it.
struct CMixer
{
    CStateMachine machine;
    CState* off = new CState("Off", &machine);
    CState* on = new CState("On", &machine);
    CState* run = new CState("Run", on);
    CState* slow = new CState("Slow", run);
    CState* fast = new CState("Fast", run);
    CFinalState* done = new CFinalState("Done", run);
    CState* watch = new CState("Watch", on);
    CState* quiet = new CState("Quiet", watch);
    CHistoryState* history = nullptr;

    CMixer()
    {
        machine.setInitialState(off);
        on->setChildMode(CState::ChildModeParallel);
        history = run->addHistoryState();
        history->setDefaultState(slow);
        watch->setInitialState(quiet);
        off->addEventTransitionTo(on, 1, "start");
        slow->addEventTransitionTo(fast, 2, "faster");
        fast->addEventTransitionTo(done, 3, "end");
        run->addFinishedTransitionTo(off);
        on->addEventTransitionTo(off, 4, "stop");
    }
};

std::vector<std::string> sentences(const CStateMachine& machine, const std::vector<unsigned char>& posted = {})
{
    std::vector<std::string> result;
    for (const Kiv::MachineFinding& finding : validate(machine, posted))
        result.push_back(finding.sentence);
    return result;
}

} // namespace

TEST(StateMachineValidation, SoundMachineHasNoFindings)
{
    CMixer mixer;
    EXPECT_THAT(sentences(mixer.machine, {1, 2, 3, 4}), IsEmpty());
    mixer.off->addEventTransitionTo(mixer.off, 5, "again");
    mixer.off->addEventTransitionTo(mixer.fast, 6, "straight to fast");
    mixer.off->addEventTransitionTo(mixer.history, 7, "resume");
    EXPECT_THAT(sentences(mixer.machine), IsEmpty());
}

TEST(StateMachineValidation, EachFaultIsOneSentenceWithTheStatesPath)
{
    const struct
    {
        const char* row;
        std::function<void(CMixer&)> spoil;
        Kiv::eFindingType type;
        const char* path;
        const char* sentence;
    } rows[] = {
        {"group without initial state", [](CMixer& m) { m.watch->setInitialState(nullptr); },
         Kiv::FindingNoInitialState, "On.Watch",
         "On.Watch has no initial state, so entering it enters none of its states."},
        {"foreign initial state", [](CMixer& m) { m.watch->setInitialState(m.slow); }, Kiv::FindingForeignInitialState,
         "On.Watch", "The initial state of On.Watch, On.Run.Slow, is none of its states."},
        {"no default state", [](CMixer& m) { m.history->setDefaultState(nullptr); }, Kiv::FindingNoDefaultState,
         "On.Run",
         "The history state of On.Run has no default state, so entering it for the first time enters none of its "
         "states."},
        {"two history states", [](CMixer& m) { m.run->addHistoryState()->setDefaultState(m.slow); },
         Kiv::FindingTwoHistoryStates, "On.Run",
         "On.Run has 2 history states, of which only the last one added, Run_History, remembers anything."},
        {"unreachable state", [](CMixer& m) { (new CState("Lost", m.run))->addTransitionTo(m.off); },
         Kiv::FindingUnreachableState, "On.Run.Lost", "No way leads to On.Run.Lost, so it is never entered."},
        {"unreachable group, not its states", [](CMixer& m) { new CState("in", new CState("Lost", &m.machine)); },
         Kiv::FindingUnreachableState, "Lost", "No way leads to Lost, so it is never entered."},
        {"to an ancestor", [](CMixer& m) { m.slow->addTransitionTo(m.on, "up"); }, Kiv::FindingImpossibleTransition,
         "On.Run.Slow",
         "The transition \"up\" of On.Run.Slow leads to On, which contains the source, so it never fires."},
        {"to the machine", [](CMixer& m) { m.off->addTransitionTo(&m.machine, "up"); },
         Kiv::FindingImpossibleTransition, "Off",
         "The transition \"up\" of Off leads to Statemachine, which contains the source, so it never fires."},
        {"without target", [](CMixer& m) { m.off->addTransitionTo(nullptr, "void"); }, Kiv::FindingImpossibleTransition,
         "Off", "The transition \"void\" of Off has no target, so it never fires."},
        {"from the machine", [](CMixer& m) { m.machine.addTransitionTo(m.off, "reset"); },
         Kiv::FindingImpossibleTransition, "Statemachine",
         "The transition \"reset\" of Statemachine leads away from the machine itself, which is never active, so it "
         "never fires."},
        {"in another state's list", [](CMixer& m) { m.on->addTransition(new CTransition(m.off, "stray")); },
         Kiv::FindingImpossibleTransition, "On", "The transition \"stray\" of Off was added to On instead."},
        {"inwards", [](CMixer& m) { m.run->addTransitionTo(m.fast, "in"); }, Kiv::FindingInwardTransition, "On.Run",
         "The transition \"in\" of On.Run leads to On.Run.Fast inside its source, which it leaves inactive."},
        {"chain", [](CMixer& m) { m.machine.registerEventTransiton(2, m.fast->transitions()[0]); },
         Kiv::FindingChainedTransitions, "On.Run.Slow",
         "Event 2 fires the transition \"faster\" of On.Run.Slow and then, at once, the transition \"end\" of "
         "On.Run.Fast, which was registered later."},
        {"duplicate name", [](CMixer& m) { m.slow->addTransitionTo(new CState("Fast", m.run), ""); },
         Kiv::FindingDuplicateName, "On.Run.Fast", "2 states are called On.Run.Fast, so nothing tells them apart."},
        {"equal names of different paths", [](CMixer& m) { new CState("Slow", m.on); }, {}, nullptr, nullptr},
        {"shadowed", [](CMixer& m) { m.slow->addEventTransitionTo(m.done, 2, "end"); }, Kiv::FindingShadowedTransition,
         "On.Run.Slow",
         "Event 2 never fires the transition \"end\" of On.Run.Slow, because the transition \"faster\" of On.Run.Slow "
         "was "
         "registered earlier and has no guard."},
        {"not shadowed behind a guard",
         [](CMixer& m) {
             m.slow->transitions()[0]->setGuard("cold", [] { return false; });
             m.slow->addEventTransitionTo(m.done, 2, "end");
         },
         {},
         nullptr,
         nullptr},
        {"shadowed by the same guard",
         [](CMixer& m) {
             m.slow->transitions()[0]->setGuard("cold", [] { return false; });
             m.slow->addEventTransitionTo(m.done, 2, "end")->setGuard("cold", [] { return false; });
         },
         Kiv::FindingShadowedTransition, "On.Run.Slow",
         "Event 2 never fires the transition \"end\" of On.Run.Slow, because the transition \"faster\" of On.Run.Slow "
         "was "
         "registered earlier and has the same guard."},
        {"inner and outer",
         [](CMixer& m) {
             m.machine.setEventName(4, "halt");
             m.slow->addEventTransitionTo(m.fast, 4, "rush");
         },
         Kiv::FindingInnerAndOuterTransition, "On.Run.Slow",
         "Event halt fires the transition \"rush\" of On.Run.Slow and that of On, in which it lies, too, or the outer "
         "one "
         "alone, as they were registered; dispatch as drawn fires the inner one."},
        {"inner and outer as drawn",
         [](CMixer& m) {
             m.machine.setDispatch(CStateMachine::DispatchAsDrawn);
             m.slow->addEventTransitionTo(m.fast, 4, "rush");
         },
         {},
         nullptr,
         nullptr},
        {"no initial state of the machine", [](CMixer& m) { m.machine.setInitialState(nullptr); },
         Kiv::FindingNoInitialState, "Statemachine", "Statemachine has no initial state, so start() does nothing."},
    };
    for (const auto& row : rows)
    {
        CMixer mixer;
        row.spoil(mixer);
        const auto findings = validate(mixer.machine);
        if (!row.path)
        {
            EXPECT_THAT(sentences(mixer.machine), IsEmpty()) << row.row;
            continue;
        }
        ASSERT_EQ(findings.size(), 1U) << row.row << ": " << testing::PrintToString(sentences(mixer.machine));
        EXPECT_EQ(findings[0].type, row.type) << row.row;
        EXPECT_EQ(findings[0].path, row.path) << row.row;
        EXPECT_EQ(findings[0].sentence, row.sentence) << row.row;
    }
    EXPECT_THAT(sentences(CStateMachine()), ElementsAre("Statemachine has no states, so start() does nothing."));
}

TEST(StateMachineValidation, ARingOnOneEventIsToldBesideItsChains)
{
    CMixer mixer;
    mixer.fast->addEventTransitionTo(mixer.slow, 2, "slower");
    const auto found = sentences(mixer.machine);
    ASSERT_EQ(found.size(), 2U) << testing::PrintToString(found);
    EXPECT_EQ(found[1],
              "Event 2 leads from On.Run.Slow back to it in a ring, of which one event goes several links in any "
              "order of registration; dispatch as drawn goes one.");
    mixer.machine.setDispatch(CStateMachine::DispatchAsDrawn);
    EXPECT_THAT(sentences(mixer.machine), IsEmpty());
}

TEST(StateMachineValidation, PostedEventsAreComparedWithTheTransitions)
{
    CMixer mixer;
    EXPECT_THAT(sentences(mixer.machine, {1, 2, 4, 200}),
                ElementsAre("The transition \"end\" of On.Run.Fast waits for event 3, which nobody posts.",
                            "Event 200 fires no transition of Statemachine, so posting it changes nothing."));
}

TEST(StateMachineValidation, WaysInDecideWhatAGroupNeeds)
{
    CMixer direct;
    auto* extra = new CState("Extra", &direct.machine);
    auto* inner = new CState("Inner", extra);
    direct.off->addTransitionTo(inner, "always to a child");
    EXPECT_THAT(sentences(direct.machine), IsEmpty()) << "nobody leaves the choice to the group";
    extra->addHistoryState();
    CState* const pause = new CState("Pause", &direct.machine);
    extra->addTransitionTo(pause, "pause");
    pause->addTransitionTo(extra, "resume");
    EXPECT_THAT(sentences(direct.machine), IsEmpty()) << "it has something to remember by then";
    direct.off->addTransitionTo(extra, "too early");
    EXPECT_THAT(sentences(direct.machine),
                ElementsAre("The history state of Extra has no default state, so entering it for the first time enters "
                            "none of its states."));
}

TEST(StateMachineValidation, AWayIntoOneRegionEntersTheOthersByThemselves)
{
    CStateMachine machine;
    auto* start = new CState("Start", &machine);
    machine.setInitialState(start);
    auto* both = new CState("Both", &machine);
    both->setChildMode(CState::ChildModeParallel);
    auto* left = new CState("Left", both);
    start->addTransitionTo(new CState("L", left), "into the left region");
    auto* right = new CState("Right", both);
    auto* idle = new CState("Idle", right);
    EXPECT_THAT(sentences(machine), ElementsAre(HasSubstr("Both.Right has no initial state")));
    right->setInitialState(idle);
    EXPECT_THAT(sentences(machine), IsEmpty());
}

TEST(StateMachineValidation, ChainedTransitionsInTheOtherOrderAreFine)
{
    CStateMachine machine;
    auto* a = new CState("A", &machine);
    auto* b = new CState("B", &machine);
    auto* c = new CState("C", &machine);
    machine.setInitialState(a);
    b->addEventTransitionTo(c, 5, "bc");
    a->addEventTransitionTo(b, 5, "ab");
    EXPECT_THAT(machine.transitionsOf(5), ElementsAre(b->transitions()[0], a->transitions()[0]));
    EXPECT_THAT(machine.transitionsOf(6), IsEmpty());
    EXPECT_THAT(sentences(machine), IsEmpty());
}
