// What builds without NDEBUG notice.
#undef NDEBUG
#include <kiv/Macho.h>

#include <functional>

#include <gtest/gtest.h>

namespace
{

struct Go
{};
struct Nest
{};
struct Ping;
struct Pong;

struct Table : Macho::Root<Macho::Events<Go, Nest>, Macho::States<Ping, Pong>, Macho::InitialState<Pong>>
{
    void on(const Nest&) { nested(); }
    Macho::To<Ping> on(const Go&) { return {}; }
    std::function<void()> nested;
    int rallies = 0;
};
struct Ping : Macho::State<Table>
{
    Macho::Next<Macho::To<Pong>> on(Macho::Entry, Table& table)
    {
        if (--table.rallies > 0)
            return Macho::To<Pong>();
        return {};
    }
};
struct Pong : Macho::State<Table>
{
    Macho::Next<Macho::To<Ping>> on(Macho::Entry, Table& table)
    {
        if (--table.rallies > 0)
            return Macho::To<Ping>();
        return {};
    }
};

class MachoDebugDeathTest : public ::testing::Test
{
protected:
    MachoDebugDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    Macho::CMachine<Table> machine;
};

TEST_F(MachoDebugDeathTest, EntriesThatAskForEachOtherInACircle)
{
    machine.start();
    machine.root().rallies = machine.longestChain; // just as long as it may be
    machine.handle(Go());
    machine.root().rallies = 2 * machine.longestChain;
    EXPECT_DEATH(machine.handle(Go()), "circle");
}

TEST_F(MachoDebugDeathTest, HandlersThatCallTheirOwnMachine)
{
    machine.start();
    machine.root().nested = [this] { machine.handle(Go()); };
    EXPECT_DEATH(machine.handle(Nest()), "of its own machine");
    machine.root().nested = [] { throw 1; };
    EXPECT_THROW(machine.handle(Nest()), int);
    machine.handle(Go()); // an exception has ended the call
}

} // namespace
