#include <kiv/Macho.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- a chart with everything; it writes down what happens
//
//   Plant ── Idle
//         ├─ Work (Remembered) ── Left ── L1, L2   initial: Left, L1
//         │                    └─ Right (Kept)
//         ├─ Fault              entered by adapting entry only
//         └─ Relay              its entry and initial actions ask for more

struct Begin
{};
struct Toggle
{};
struct GoRight
{
    int load;
};
struct Trip
{
    int code;
    std::unique_ptr<int>* report;
};
struct Resume
{
    bool isDeep;
};
struct Again
{};
struct Count
{
    int step;
};
struct Detour
{
    int to;
};

struct Idle;
struct Work;
struct Left;
struct L1;
struct L2;
struct Right;
struct Fault;
struct Relay;

struct Plant : Macho::Root<Macho::Events<Begin, Toggle, GoRight, Trip, Resume, Again, Count, Detour>,
                           Macho::States<Idle, Work, Left, L1, L2, Right, Fault, Relay>, Macho::InitialState<Idle>>
{
    explicit Plant(std::vector<std::string>& record) : log(record) {}

    void say(const std::string& what) { log.push_back(what); }

    void on(Macho::Entry) { say("+Plant"); }
    void on(Macho::Exit) { say("-Plant"); }
    void on(Macho::Other) { say("other"); }
    void on(const Toggle&) { say("toggle?"); }
    Macho::ToAdapted<Fault, int, std::unique_ptr<int>> on(const Trip& trip);
    void on(const Count& count) { sum += count.step; }
    Macho::Next<Macho::ToAdapted<Relay, int>> on(const Detour& detour);

    std::vector<std::string>& log;
    std::string throwing;
    int sum = 0;
};

/// Tells of entry, exit, construction and destruction.
template<class Super, class... Options>
struct Told : Macho::State<Super, Options...>
{
    static void told(Plant& plant, const std::string& what)
    {
        plant.say(what);
        if (plant.throwing == what)
            throw std::runtime_error(what);
    }
};

struct Idle : Told<Plant>
{
    void on(Macho::Entry, Plant& plant) { told(plant, "+Idle"); }
    void on(Macho::Exit, Plant& plant) { told(plant, "-Idle"); }
    Macho::To<Work> on(const Begin&) { return {}; }
    Macho::Next<Macho::ToHistory<Work>, Macho::ToDeepHistory<Work>> on(const Resume& resume)
    {
        if (resume.isDeep)
            return Macho::ToDeepHistory<Work>();
        return Macho::ToHistory<Work>();
    }
};

struct Work : Told<Plant, Macho::InitialState<Left>, Macho::Remembered>
{
    void on(Macho::Entry, Plant& plant) { told(plant, "+Work"); }
    void on(Macho::Initial, Plant& plant) { told(plant, "*Work"); }
    void on(Macho::Exit, Plant& plant) { told(plant, "-Work"); }
    Macho::To<Idle> on(const Begin&) { return {}; }
    Macho::To<Work> on(const Again&) { return {}; }
    Macho::ToAdapted<Right, int> on(const GoRight& event) { return {event.load}; }
    int visits = 0;
};

struct Left : Told<Work, Macho::InitialState<L1>>
{
    void on(Macho::Entry, Plant& plant, Work& work)
    {
        ++work.visits;
        told(plant, "+Left");
    }
    void on(Macho::Exit, Plant& plant) { told(plant, "-Left"); }
};

struct L1 : Told<Left>
{
    void on(Macho::Entry, Plant& plant) { told(plant, "+L1"); }
    void on(Macho::Exit, Plant& plant) { told(plant, "-L1"); }
    Macho::To<L2> on(const Toggle&, Plant& plant)
    {
        told(plant, "toggle");
        return {};
    }
};

struct L2 : Told<Left>
{
    void on(Macho::Entry, Plant& plant) { told(plant, "+L2"); }
    void on(Macho::Exit, Plant& plant) { told(plant, "-L2"); }
    Macho::To<Left> on(const Toggle&) { return {}; }
    void on(const Count& count, const Work& work, Plant& plant) { plant.sum += 100 * count.step + work.visits; }
};

struct Right : Told<Work, Macho::Kept>
{
    explicit Right(int givenLoad = -1) : load(givenLoad), total(std::make_unique<int>(0)) {}
    void on(Macho::Entry, Plant& plant) { told(plant, "+Right " + std::to_string(load)); }
    void on(Macho::Exit, Plant& plant) { told(plant, "-Right"); }
    void on(const Count& count, Plant& plant) { plant.sum = *total += count.step; }
    Macho::To<Right> on(const Toggle&) { return {}; }

    int load;
    std::unique_ptr<int> total;
};

struct Fault : Told<Plant>
{
    Fault(int tripCode, std::unique_ptr<int> tripReport) : code(tripCode), report(std::move(tripReport))
    {
        if (code < 0)
            throw std::runtime_error("Fault");
    }
    void on(Macho::Entry, Plant& plant)
    {
        told(plant, "+Fault " + std::to_string(code) + " " + std::to_string(*report));
    }
    void on(Macho::Exit, Plant& plant) { told(plant, "-Fault"); }
    Macho::To<Idle> on(const Begin&) { return {}; }

    int code;
    std::unique_ptr<int> report;
};

/// Sends the machine on: 0 stay, 1 from the initial action into a sub-state's fault, more: again with one less.
struct Relay : Told<Plant>
{
    explicit Relay(int stepsToGo) : steps(stepsToGo) {}
    Macho::Next<Macho::ToAdapted<Relay, int>> on(Macho::Entry, Plant& plant)
    {
        told(plant, "+Relay " + std::to_string(steps));
        if (steps > 1)
            return Macho::ToAdapted<Relay, int>(steps - 1);
        return {};
    }
    Macho::Next<Macho::To<L2>> on(Macho::Initial)
    {
        if (steps == 1)
            return Macho::To<L2>();
        return Macho::Stay();
    }
    void on(Macho::Exit, Plant& plant) { told(plant, "-Relay"); }

    int steps;
};

Macho::ToAdapted<Fault, int, std::unique_ptr<int>> Plant::on(const Trip& trip)
{
    return {trip.code, std::move(*trip.report)};
}

Macho::Next<Macho::ToAdapted<Relay, int>> Plant::on(const Detour& detour)
{
    if (detour.to < 0)
        return {};
    return Macho::ToAdapted<Relay, int>(detour.to);
}

class Machine : public ::testing::Test
{
protected:
    using CPlant = Macho::CMachine<Plant>;

    std::vector<std::string> taken() { return std::exchange(log, {}); }

    template<class Event>
    std::vector<std::string> handled(const Event& event)
    {
        log.clear();
        machine.handle(event);
        return taken();
    }

    std::vector<std::string> log;
    CPlant machine{log};
};

TEST_F(Machine, EntersFromTheOutsideAndLeavesFromTheInside)
{
    EXPECT_STREQ(machine.stateName(), "(stopped)");
    EXPECT_FALSE(machine.isIn<Plant>());
    EXPECT_THAT(handled(Begin()), IsEmpty());
    machine.start();
    EXPECT_THAT(taken(), ElementsAre("+Plant", "+Idle"));
    machine.start();
    EXPECT_THAT(taken(), IsEmpty());
    EXPECT_THAT(handled(Begin()), ElementsAre("-Idle", "+Work", "*Work", "+Left", "+L1"));
    EXPECT_THAT(handled(Toggle()), ElementsAre("toggle", "-L1", "+L2"));
    EXPECT_STREQ(machine.stateName(), "L2");
    EXPECT_TRUE(machine.isIn<L2>() && machine.isIn<Left>() && machine.isIn<Work>() && machine.isIn<Plant>());
    EXPECT_FALSE(machine.isIn<L1>() || machine.isIn<Right>() || machine.isIn<Idle>());
    EXPECT_THAT(handled(Toggle()), ElementsAre("-L2", "-Left", "+Left", "+L1"));
    EXPECT_THAT(handled(Again()), ElementsAre("-L1", "-Left", "-Work", "+Work", "*Work", "+Left", "+L1"));
    machine.stop();
    EXPECT_THAT(taken(), ElementsAre("-L1", "-Left", "-Work", "-Plant"));
    EXPECT_EQ(machine.state(), machine.chart().stateCount);
    machine.stop();
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(Machine, GivesAnEventToTheInnermostStateThatHandlesIt)
{
    machine.start();
    EXPECT_THAT(handled(Toggle()), ElementsAre("toggle?"));
    EXPECT_THAT(handled(Again()), ElementsAre("other"));
    machine.handle(Count{1});
    EXPECT_EQ(machine.root().sum, 1);
    machine.handle(Begin());
    machine.handle(Toggle());
    machine.handle(CPlant::AnyEvent(Count{2})); // L2's, which reads the data of Work
    EXPECT_EQ(machine.root().sum, 1 + 200 + 1);
    EXPECT_EQ(std::as_const(machine).find<Work>()->visits, 1);
    EXPECT_THAT(handled(Begin()), ElementsAre("-L2", "-Left", "-Work", "+Idle"));
    EXPECT_EQ(machine.find<Work>(), nullptr);
}

TEST_F(Machine, HistoryIsTheSubStateThatWasActiveLast)
{
    machine.start();
    EXPECT_THAT(handled(Resume{true}), ElementsAre("-Idle", "+Work", "*Work", "+Left", "+L1")) << "without history";
    machine.handle(Toggle());
    machine.handle(Begin());
    EXPECT_THAT(handled(Resume{false}), ElementsAre("-Idle", "+Work", "+Left", "+L1")) << "shallow";
    machine.handle(Toggle());
    machine.handle(Begin());
    EXPECT_THAT(handled(Resume{true}), ElementsAre("-Idle", "+Work", "+Left", "+L2")) << "deep";
    machine.handle(GoRight{7});
    machine.handle(Begin());
    EXPECT_THAT(handled(Resume{false}), ElementsAre("-Idle", "+Work", "+Right 7"));
    machine.stop();
    machine.start();
    EXPECT_THAT(handled(Resume{true}), ElementsAre("-Idle", "+Work", "*Work", "+Left", "+L1")) << "stop() forgets";
}

TEST_F(Machine, AdaptingEntryConstructsTheTargetFromWhatIsHandedOver)
{
    auto report = std::make_unique<int>(42);
    machine.start();
    machine.handle(Begin());
    EXPECT_THAT(handled(Trip{5, &report}), ElementsAre("-L1", "-Left", "-Work", "+Fault 5 42"));
    EXPECT_EQ(report, nullptr);
    report = std::make_unique<int>(43);
    EXPECT_THAT(handled(Trip{6, &report}), ElementsAre("-Fault", "+Fault 6 43")) << "from itself into itself";
    EXPECT_EQ(machine.find<Fault>()->code, 6);
}

TEST_F(Machine, KeptInstancesOutliveTheirExit)
{
    machine.start();
    machine.handle(Begin());
    EXPECT_THAT(handled(GoRight{1}), ElementsAre("-L1", "-Left", "+Right 1"));
    machine.handle(Count{5});
    EXPECT_THAT(handled(Toggle()), ElementsAre("-Right", "+Right 1")) << "default entry finds what was kept";
    machine.handle(Begin());
    machine.handle(Resume{false});
    machine.handle(Count{5});
    EXPECT_EQ(machine.root().sum, 10);
    EXPECT_THAT(handled(GoRight{2}), ElementsAre("-Right", "+Right 2")) << "adapting entry makes it anew";
    machine.handle(Count{5});
    EXPECT_EQ(machine.root().sum, 5);
}

TEST_F(Machine, EntriesMayAskForTheNextTransition)
{
    machine.start();
    EXPECT_THAT(handled(Detour{-1}), IsEmpty());
    EXPECT_THAT(handled(Detour{0}), ElementsAre("-Idle", "+Relay 0"));
    EXPECT_THAT(handled(Detour{3}), ElementsAre("-Relay", "+Relay 3", "-Relay", "+Relay 2", "-Relay", "+Relay 1",
                                                "-Relay", "+Work", "+Left", "+L2"))
        << "the target's super-states are entered without their initial actions";
}

TEST_F(Machine, HandlersThatThrowChangeNothing)
{
    machine.start();
    machine.handle(Begin());
    machine.root().throwing = "toggle";
    EXPECT_THROW(machine.handle(Toggle()), std::runtime_error);
    machine.root().throwing.clear();
    EXPECT_FALSE(machine.isHalted());
    EXPECT_STREQ(machine.stateName(), "L1");
    EXPECT_THAT(handled(Toggle()), ElementsAre("toggle", "-L1", "+L2"));
}

TEST_F(Machine, ActionsThatThrowHaltItWhereItHadCome)
{
    auto report = std::make_unique<int>(1);
    const auto throws = [&](const std::string& where, const auto& event) {
        machine.start();
        machine.handle(Begin());
        machine.root().throwing = where;
        EXPECT_THROW(machine.handle(event), std::runtime_error) << where;
        machine.root().throwing.clear();
        EXPECT_TRUE(machine.isHalted());
        EXPECT_THAT(handled(Toggle()), IsEmpty());
        const std::string state = machine.stateName();
        machine.stop();
        EXPECT_FALSE(machine.isHalted());
        return state + ":" + ::testing::PrintToString(taken());
    };
    EXPECT_EQ(throws("-L1", Again()), R"(L1:{ "-L1", "-Left", "-Work", "-Plant" })");
    EXPECT_EQ(throws("-Left", Again()), R"(Left:{ "-Left", "-Work", "-Plant" })");
    EXPECT_EQ(throws("+Left", Again()), R"(Left:{ "-Left", "-Work", "-Plant" })");
    EXPECT_EQ(throws("*Work", Again()), R"(Work:{ "-Work", "-Plant" })");
    EXPECT_EQ(throws("", Trip{-1, &report}), R"(Plant:{ "-Plant" })") << "constructor";
    EXPECT_EQ(throws("+Relay 1", Detour{2}), R"(Relay:{ "-Relay", "-Plant" })") << "in the middle of a chain";
    machine.start();
    EXPECT_THAT(handled(Begin()), ElementsAre("-Idle", "+Work", "*Work", "+Left", "+L1"));
}

TEST_F(Machine, IsDestroyedInAnyStateWithoutExitActions)
{
    const auto destroyed = [this](auto prepare) {
        auto other = std::make_unique<CPlant>(log);
        other->start();
        prepare(*other);
        log.clear();
        other.reset(); // leaks and double frees show under a sanitizer
        EXPECT_THAT(taken(), IsEmpty());
    };
    auto report = std::make_unique<int>(1);
    destroyed([](CPlant&) {});
    destroyed([&](CPlant& plant) { plant.handle(Trip{1, &report}); });
    destroyed([](CPlant& plant) {
        plant.handle(Begin());
        plant.handle(GoRight{1});
        plant.handle(Begin());
    });
}

TEST_F(Machine, MachinesShareNothing)
{
    std::vector<std::string> otherLog;
    CPlant other(otherLog);
    machine.start();
    other.start();
    machine.handle(Begin());
    EXPECT_STREQ(other.stateName(), "Idle");
    EXPECT_THAT(otherLog, ElementsAre("+Plant", "+Idle"));
}

// ---- what is known without a machine

struct Ping
{};
struct CalledOtherwise;
struct Plain;
struct Small : Macho::Root<Macho::Events<Ping>, Macho::States<Plain, CalledOtherwise>, Macho::InitialState<Plain>>
{
    void on(const Ping&) {}
};
struct Plain : Macho::State<Small>
{
    Macho::To<CalledOtherwise> on(const Ping&) { return {}; }
};
struct CalledOtherwise : Macho::State<Small, Macho::Remembered>
{
    static constexpr const char* name = "over there";
    Macho::Next<Macho::To<Plain>, Macho::ToHistory<CalledOtherwise>> on(Macho::Initial) { return {}; }
};

// Data that a handler forgets is not made up.
static_assert(!std::is_default_constructible_v<Macho::ToAdapted<struct Anything, int>>);

TEST(MachoChart, ListsStatesEventsAndArrows)
{
    const Macho::Chart& chart = Macho::CMachine<Small>::chart();
    ASSERT_EQ(chart.stateCount, 3U);
    EXPECT_STREQ(chart.states[0].name, "Small");
    EXPECT_STREQ(chart.states[1].name, "Plain");
    EXPECT_STREQ(chart.states[2].name, "over there");
    EXPECT_EQ(chart.states[0].initialState, 1U);
    EXPECT_TRUE(chart.states[2].isRemembered);
    ASSERT_EQ(chart.eventCount, 1U);
    EXPECT_STREQ(chart.events[0], "Ping");
    std::vector<std::string> arrows;
    for (std::size_t i = 0; i < chart.arrowCount; ++i)
        arrows.push_back(std::string(chart.states[chart.arrows[i].source].name) + " -> " +
                         chart.states[chart.arrows[i].target].name + " " + std::to_string(chart.arrows[i].kind) +
                         (chart.arrows[i].event == Macho::Chart::initialAction ? " initial" : ""));
    EXPECT_THAT(arrows, ElementsAre("Plain -> over there 0", "over there -> Plain 0 initial",
                                    "over there -> over there 1 initial"));
}

TEST(MachoMachine, IsNoLargerThanWhatItHasToHold) { EXPECT_LE(sizeof(Macho::CMachine<Small>), 24U); }

} // namespace
