#include <kiv/Callback.h>

#include <new>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace
{

std::string lastLine;

void logLine(const std::string& line) { lastLine = "plain " + line; }

struct CBase
{
    virtual ~CBase() = default;
    int add(int n) { return value += n; }
    int peek(int n) const { return value + n; }
    virtual int scaled(int n) { return n; }

    int value = 100;
};

struct CPadding
{
    virtual ~CPadding() = default;
    long padding = -1;
};

struct CHandler : CPadding, CBase
{
    int scaled(int n) override { return 10 * n; }
};

using IntCallback = cb::Callback1<int, int>;

static_assert(sizeof(IntCallback) == 32 + sizeof(void*), "a callback is its storage and a pointer");
static_assert(std::is_same_v<Kiv::cb::Callback0<bool>, cb::Callback0<bool>>);
static_assert(!std::is_convertible_v<std::string, IntCallback>);
static_assert(!std::is_constructible_v<IntCallback, int (*)()>, "the argument does not fit");

} // namespace

TEST(Callback, CallsWhateverItWasMadeFrom)
{
    CHandler handler;
    const CHandler constant;
    int added = 0;
    const struct
    {
        const char* name;
        IntCallback callback;
        int expected;
    } rows[] = {
        {"member of a base", {&handler, &CHandler::add}, 107},
        {"const member", {&handler, &CHandler::peek}, 114},
        {"const object", {&constant, &CBase::peek}, 107},
        {"overridden member", {&handler, &CBase::scaled}, 70},
        {"plain function", +[](int n) { return n + 1; }, 8},
        {"lambda", [&added](int n) { return added = 2 * n; }, 14},
        {"function that cannot throw", +[](int n) noexcept { return n + 2; }, 9},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(row.callback);
        EXPECT_EQ(row.callback(7), row.expected);
    }
    EXPECT_EQ(handler.value, 107);
    EXPECT_EQ(added, 14);
}

TEST(Callback, PassesReferencesThrough)
{
    const std::string* seen = nullptr;
    cb::Callback1<void, const std::string&> sink = [&seen](const std::string& line) { seen = &line; };
    const std::string line = "entered";
    sink(line);
    EXPECT_EQ(seen, &line);
    sink = logLine;
    sink(line);
    EXPECT_EQ(lastLine, "plain entered");
}

TEST(Callback, EmptyOneThrowsItsMessage)
{
    CHandler handler;
    cb::Callback0<bool> cleared = [] { return true; };
    cleared.clear();
    bool (*const noFunction)() = nullptr;
    cb::Callback0<bool> reset = [] { return true; };
    reset = noFunction;
    cb::Callback0<bool> copied = [] { return true; };
    copied = cleared;
    int (CHandler::*const noMember)(int) = nullptr;
    EXPECT_TRUE(IntCallback(&handler, noMember).empty());
    EXPECT_TRUE(IntCallback(static_cast<CHandler*>(nullptr), &CHandler::add).empty());
    for (const cb::Callback0<bool>& empty :
         {cb::Callback0<bool>(), cleared, reset, copied, cb::Callback0<bool>(nullptr)})
    {
        EXPECT_TRUE(empty.empty());
        EXPECT_FALSE(empty);
        try
        {
            empty();
            ADD_FAILURE() << "did not throw";
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_STREQ(error.what(), "Attempting to invoke null callback.");
        }
    }
}

TEST(Callback, CopyLivesInItsOwnStorage)
{
    alignas(IntCallback) unsigned char memory[sizeof(IntCallback)];
    CHandler handler;
    auto* const original = new (memory) IntCallback(&handler, &CHandler::add);
    IntCallback copy(*original);
    IntCallback assigned = [](int) { return 0; };
    assigned = *original;
    const IntCallback& itself = assigned;
    assigned = itself;
    original->~IntCallback();
    for (unsigned char& byte : memory)
        byte = 0xff;
    EXPECT_EQ(copy(1), 101);
    EXPECT_EQ(assigned(1), 102);
}
