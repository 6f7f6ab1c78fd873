// Random charts, written by macho_charts.py as types and as tables: what the machine does with the types, an
// interpreter of the tables does too, event by event. Hooks throw now and then.

#include <kiv/Macho.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// ---- what the charts are written with

template<int number>
struct E
{};

/// What both sides do alike: the log, and the decisions that hooks take.
class Script
{
public:
    void tell(const char* what, int state, int value)
    {
        log += std::string(" ") + what + std::to_string(state) + "=" + std::to_string(value);
        if (--hooksToGo == 0)
            throw std::runtime_error("hook");
    }

    unsigned choose(unsigned count) { return static_cast<unsigned>(dice() % (count + 1)); }

    /// Entries that ask for each other come to an end.
    unsigned chooseInAction(unsigned count) { return asksToGo-- > 0 ? choose(count) : count; }

    int given() { return static_cast<int>(dice() % 50); }

    /// For one event.
    void prepare(unsigned seed, int throwAtHook)
    {
        log.clear();
        dice.seed(seed);
        hooksToGo = throwAtHook;
        asksToGo = 5;
    }

    std::string log;

private:
    std::minstd_rand dice;
    int hooksToGo = 0;
    int asksToGo = 0;
};

int instances = 0;

/// Base of all states but the root: instances are counted.
struct Told
{
    Told() { ++instances; }
    explicit Told(int given) : value(given) { ++instances; }
    ~Told() { --instances; }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;
    int value = 0;
};

struct ModelWay
{
    int target;
    Macho::eEntryKind kind;
};

struct ModelAction
{
    bool exists;
    bool isAlways;
    bool takesSuperState;
    std::vector<ModelWay> ways;
};

struct ModelState
{
    int superState;
    int initial;
    bool isRemembered;
    bool isKept;
    bool tellsExit;
    ModelAction entry;
    ModelAction initialAction;
    std::vector<ModelAction> handlers;
};

template<class TopState, const std::vector<ModelState>& tables>
struct Subject
{
    using Top = TopState;
    static const std::vector<ModelState>& model() { return tables; }
};

#include "macho_charts.inc"

// ---- the interpreter

class CInterpreter
{
public:
    explicit CInterpreter(const std::vector<ModelState>& model)
        : states(model), values(model.size()), exists(model.size()), history(model.size(), -1)
    {}

    void start()
    {
        active = 0;
        isHalted = true; // unless nothing throws until the end
        if (act(0, states[0].entry, "+"))
            settle(0);
        goOn();
    }

    void stop()
    {
        isHalted = true;
        while (active >= 0)
            leave();
        isHalted = false;
        exists.assign(exists.size(), false);
        history.assign(history.size(), -1);
    }

    void handle(int event)
    {
        if (active < 0 || isHalted)
            return;
        int state = active;
        while (!handler(state, event).exists)
            state = states[index(state)].superState;
        const ModelAction& action = handler(state, event);
        const int outer = values[index(states[index(state)].superState)];
        script.tell("!", state, ++values[index(state)] + (action.takesSuperState ? 1000 * outer : 0));
        if (action.isAlways)
            ask(action.ways[0]);
        else if (!action.ways.empty())
            ask(action, script.choose(count(action)));
        goOn();
    }

    Script script;
    int active = -1;
    bool isHalted = false;

private:
    static std::size_t index(int state) { return static_cast<std::size_t>(state); }
    static unsigned count(const ModelAction& action) { return static_cast<unsigned>(action.ways.size()); }
    const ModelAction& handler(int state, int event) const { return states[index(state)].handlers[index(event)]; }

    void ask(const ModelWay& way)
    {
        next = &way;
        if (way.kind == Macho::EntryAdapting)
            data = script.given();
    }

    void ask(const ModelAction& action, unsigned choice)
    {
        if (choice < action.ways.size())
            ask(action.ways[choice]);
    }

    void goOn()
    {
        isHalted = true;
        while (next)
        {
            const ModelWay& way = *next;
            next = nullptr;
            transit(way);
        }
        isHalted = false;
    }

    std::vector<int> path(int state) const // from the root down
    {
        std::vector<int> result;
        for (; state != 0; state = states[index(state)].superState)
            result.insert(result.begin(), state);
        result.insert(result.begin(), 0);
        return result;
    }

    bool isActive(int state) const
    {
        const std::vector<int> all = path(active);
        return std::find(all.begin(), all.end(), state) != all.end();
    }

    void transit(const ModelWay& way)
    {
        std::vector<int> wanted = path(way.target);
        wanted.pop_back();
        while (!isActive(wanted.back()))
            wanted.pop_back();
        const int common = wanted.back();
        const int last = active;
        for (int state = last; state != common; state = states[index(state)].superState)
            if (states[index(state)].isRemembered && state != last)
                history[index(state)] = last;
        const bool isAdapting = way.kind == Macho::EntryAdapting;
        const int given = data;
        while (active != common)
            leave();
        if (!enterTo(states[index(way.target)].superState) || !enter(way.target, isAdapting, given))
            return;
        const int before = history[index(way.target)];
        if (before < 0 || way.kind == Macho::EntryDefault || isAdapting)
            settle(way.target);
        else
        {
            const int resumed = way.kind == Macho::EntryDeepHistory ? before : path(before)[path(way.target).size()];
            if (enterTo(resumed))
                settle(resumed);
        }
    }

    void leave()
    {
        if (states[index(active)].tellsExit)
            script.tell("-", active, values[index(active)]);
        if (!states[index(active)].isKept)
            exists[index(active)] = false;
        active = active == 0 ? -1 : states[index(active)].superState;
    }

    bool enterTo(int state)
    {
        for (const int step : path(state))
            if (!isActive(step) && !enter(step, false, 0))
                return false;
        return true;
    }

    bool enter(int state, bool isAdapting, int given)
    {
        if (!exists[index(state)] || isAdapting)
            values[index(state)] = isAdapting ? given : 0;
        exists[index(state)] = true;
        active = state;
        return act(state, states[index(state)].entry, "+");
    }

    /// False if another transition is asked for.
    bool act(int state, const ModelAction& action, const char* mark)
    {
        if (!action.exists)
            return true;
        script.tell(mark, state, values[index(state)]);
        if (!action.ways.empty())
            ask(action, script.chooseInAction(count(action)));
        return next == nullptr;
    }

    void settle(int state)
    {
        const ModelState& model = states[index(state)];
        if (act(state, model.initialAction, "*") && model.initial != state && enter(model.initial, false, 0))
            settle(model.initial);
    }

    const std::vector<ModelState>& states;
    std::vector<int> values;
    std::vector<bool> exists;
    std::vector<int> history; // -1: none
    const ModelWay* next = nullptr;
    int data = 0;
};

// ---- both, event by event

template<class Subject>
class MachoModel : public ::testing::Test
{};

TYPED_TEST_SUITE(MachoModel, Charts);

template<class Machine, std::size_t... number>
void handleNumber(Machine& machine, int event, std::index_sequence<number...> /*all*/)
{
    using AnyEvent = typename Machine::AnyEvent;
    static_cast<void>((
        (event == static_cast<int>(number) && (machine.handle(std::variant_alternative_t<number, AnyEvent>()), true)) ||
        ...));
}

template<class Side>
bool throws(Side side)
{
    try
    {
        side();
        return false;
    }
    catch (const std::runtime_error&)
    {
        return true;
    }
}

TYPED_TEST(MachoModel, DoesWhatTheInterpreterDoes)
{
    using Machine = Macho::CMachine<typename TypeParam::Top>;
    using Numbers = std::make_index_sequence<std::variant_size_v<typename Machine::AnyEvent>>;
    std::mt19937 random(1);
    for (int round = 0; round < 40; ++round)
    {
        Machine machine;
        CInterpreter model(TypeParam::model());
        std::string history;
        for (int step = 0; step < 100; ++step)
        {
            const unsigned seed = static_cast<unsigned>(random()) | 1;
            const int throwAt = random() % 8 == 0 ? static_cast<int>(random() % 6) + 1 : 0;
            const int event = static_cast<int>(random() % Numbers::size());
            const bool isStop = random() % 40 == 0 || (model.isHalted && random() % 4 == 0);
            machine.root().script.prepare(seed, throwAt);
            model.script.prepare(seed, throwAt);
            const bool isStart = model.active < 0;
            const bool real = throws([&] {
                isStart ? machine.start() : isStop ? machine.stop() : handleNumber(machine, event, Numbers());
            });
            const bool wanted = throws([&] { isStart ? model.start() : isStop ? model.stop() : model.handle(event); });
            history += isStart ? " start" : isStop ? " stop" : " " + std::to_string(event);
            const auto state = model.active < 0 ? machine.chart().stateCount : static_cast<std::size_t>(model.active);
            ASSERT_EQ(machine.root().script.log, model.script.log) << "round " << round << ":" << history;
            ASSERT_EQ(machine.state(), state) << "round " << round << ":" << history;
            ASSERT_EQ(real, wanted);
            ASSERT_EQ(machine.isHalted(), model.isHalted) << "round " << round << ":" << history;
            ASSERT_TRUE(machine.isStarted() || instances == 0);
        }
    }
    EXPECT_EQ(instances, 0);
}

} // namespace
