// As if Qt's keywords were in force: the header may be included after Qt's and leaves the macros as they were.
#define emit
#define signals public
#define slots
#include <kiv/sigslot.h>
#ifndef emit
#error "the header took a macro away"
#endif
#undef emit
#undef signals
#undef slots

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{
thread_local int allocationsLeft = -1; // negative: no limit
}

[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (allocationsLeft == 0)
        throw std::bad_alloc();
    if (allocationsLeft > 0)
        --allocationsLeft;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace
{

using Signal = sigslot::signal1<std::string*>;

struct CMixin
{
    virtual ~CMixin() = default;
    void mixedIn(std::string* log) { *log += mark; }

    char mark = '+';
};

/// Writes its name into the argument, then does what the test wants.
class CProbe : public CMixin, public sigslot::has_slots<sigslot::multi_threaded_local>
{
public:
    explicit CProbe(std::string text = "") : name(std::move(text)) {}
    CProbe(const CProbe&) = default;
    ~CProbe() override { disconnect_all(); }

    void onSignal(std::string* log)
    {
        *log += name;
        const std::function<void()> now = action; // survives the probe
        if (now)
            now();
    }

    std::string name;
    std::function<void()> action;
};

std::string emitted(Signal& signal)
{
    std::string log;
    signal(&log);
    return log;
}

/// Four probes a, b, c, d on one signal.
class SigslotWalk : public ::testing::Test
{
protected:
    SigslotWalk() { build(); }

    void build()
    {
        signal = std::make_unique<Signal>();
        probes.clear();
        for (const char* name : {"a", "b", "c", "d"})
            connect(name);
    }

    void connect(const char* name)
    {
        probes.push_back(std::make_unique<CProbe>(name));
        signal->connect(probes.back().get(), &CProbe::onSignal);
    }

    std::unique_ptr<Signal> signal;
    std::vector<std::unique_ptr<CProbe>> probes;
};

class CBaseReceiver : public sigslot::has_slots<>
{
public:
    void inherited(std::string* log) { *log += "inherited"; }
    virtual void overridden(std::string* log) { *log += "base"; }
    void overloaded(int) {}
    void overloaded(std::string* log) { *log += "overloaded"; }
};

class CReceiver : public CMixin, public CBaseReceiver
{
public:
    void overridden(std::string* log) override { *log += "derived"; }
    void constant(std::string* log) const { *log += std::string("constant ") + mark; }
    void silent(std::string* log) noexcept { log->push_back('s'); }
};

} // namespace

TEST(Sigslot, CallsAnyOperationOfTheReceiverOrItsBases)
{
    CReceiver receiver;
    const struct
    {
        const char* expected;
        std::function<void(Signal&)> connect;
    } rows[] = {
        {"inherited", [&](Signal& signal) { signal.connect(&receiver, &CReceiver::inherited); }},
        {"derived", [&](Signal& signal) { signal.connect(&receiver, &CBaseReceiver::overridden); }},
        {"overloaded", [&](Signal& signal) { signal.connect(&receiver, &CReceiver::overloaded); }},
        {"+", [&](Signal& signal) { signal.connect(&receiver, &CReceiver::mixedIn); }},
        {"constant +", [&](Signal& signal) { signal.connect(&receiver, &CReceiver::constant); }},
        {"s", [&](Signal& signal) { signal.connect(&receiver, &CReceiver::silent); }},
    };
    Signal all;
    std::string expected;
    for (const auto& row : rows)
    {
        Signal one;
        row.connect(one);
        EXPECT_EQ(emitted(one), row.expected);
        row.connect(all);
        expected += row.expected;
    }
    EXPECT_EQ(emitted(all), expected);
}

TEST(Sigslot, CallsInConnectionOrderAndAsOftenAsConnected)
{
    CProbe a("a");
    CProbe b("b");
    Signal signal;
    EXPECT_EQ(emitted(signal), "");
    for (CProbe* probe : {&b, &a, &b, static_cast<CProbe*>(nullptr)})
        signal.connect(probe, &CProbe::onSignal);
    std::string log;
    signal.emit(&log);
    EXPECT_EQ(log, "bab");
    signal.disconnect(&b);
    signal.disconnect(nullptr);
    EXPECT_EQ(emitted(signal), "a");
    signal.disconnect_all();
    EXPECT_EQ(emitted(signal), "");
}

TEST(Sigslot, EitherSideMayGoFirst)
{
    auto first = std::make_unique<Signal>();
    Signal second;
    CProbe stays("s");
    {
        CProbe goes("g");
        for (CProbe* probe : {&stays, &goes, &stays})
        {
            first->connect(probe, &CProbe::onSignal);
            second.connect(probe, &CProbe::onSignal);
        }
        EXPECT_EQ(emitted(*first), "sgs");
    }
    EXPECT_EQ(emitted(*first), "ss");
    first.reset();
    EXPECT_EQ(emitted(second), "ss");
    stays.disconnect_all();
    EXPECT_EQ(emitted(second), "");
}

TEST(Sigslot, SaysWhomItWouldCall)
{
    Signal signal;
    CProbe connected;
    CProbe other;
    signal.connect(&connected, &CProbe::onSignal);
    EXPECT_TRUE(signal.is_connected(&connected));
    EXPECT_FALSE(signal.is_connected(&other) || signal.is_connected(nullptr));
    signal.disconnect(&connected);
    EXPECT_FALSE(signal.is_connected(&connected));
}

TEST(Sigslot, CopyOfAReceiverIsConnectedWhereverItsSourceWas)
{
    Signal first;
    Signal second;
    CProbe source("s");
    CProbe other("o");
    for (CProbe* probe : {&source, &other, &source})
        first.connect(probe, &CProbe::onSignal);
    second.connect(&source, &CProbe::onSignal);
    {
        CProbe copy(source);
        copy.name = "c";
        EXPECT_EQ(emitted(first), "soscc");
        EXPECT_EQ(emitted(second), "sc");
        source.disconnect_all();
        EXPECT_EQ(emitted(first), "occ");
    }
    EXPECT_EQ(emitted(first), "o");
}

TEST(Sigslot, ConnectingWithoutMemoryChangesNothing)
{
    Signal signal;
    CProbe probe("p");
    int failures = 0;
    for (int allocations = 0; emitted(signal).empty(); ++allocations)
    {
        allocationsLeft = allocations;
        try
        {
            signal.connect(&probe, &CProbe::onSignal);
        }
        catch (const std::bad_alloc&)
        {
            ++failures;
            allocationsLeft = -1;
            EXPECT_EQ(emitted(signal), "") << "connected in spite of the failure";
            EXPECT_FALSE(signal.is_connected(&probe));
        }
        allocationsLeft = -1;
    }
    EXPECT_EQ(failures, 2) << "the signal and the receiver need memory each";
    EXPECT_EQ(emitted(signal), "p");
    signal.disconnect(&probe);
    EXPECT_EQ(emitted(signal), "");
}

TEST(Sigslot, CallsWhatIsNoReceiverAsLongAsTheConnectionLasts)
{
    struct CPlain
    {
        void add(int* value) { ++*value; }
        void count() { ++calls; }
        int calls = 0;
    } plain;
    auto signal = std::make_unique<sigslot::signal1<int*>>();
    int value = 0;
    {
        const auto added = signal->connect(&plain, &CPlain::add);
        const auto counted = signal->connect(&plain, &CPlain::count);
        const auto lambda = signal->connect([ten = std::make_unique<int>(10)](int* sum) { *sum += *ten; });
        const auto function = signal->connect(+[](int* sum) { *sum += 100; });
        (*signal)(&value);
        EXPECT_EQ(value, 111);
        EXPECT_EQ(plain.calls, 1);
    }
    (*signal)(&value);
    EXPECT_EQ(value, 111);

    sigslot::connection once; // which ends inside its own call, and what it holds outlives that
    once = signal->connect([&once, kept = std::make_shared<int>(7)](int* sum) {
        once.disconnect();
        *sum = *kept;
    });
    auto moved = std::move(once);
    once = std::move(moved);
    (*signal)(&value);
    (*signal)(&(value += 1));
    EXPECT_EQ(value, 8);
    once = signal->connect([] {});
    signal.reset(); // the signal may go first
}

TEST_F(SigslotWalk, EmissionNeedsNoMemory)
{
    std::string log;
    allocationsLeft = 0;
    (*signal)(&log);
    allocationsLeft = -1;
    EXPECT_EQ(log, "abcd");
}

TEST_F(SigslotWalk, ChangesDuringAnEmission)
{
    const auto drop = [this](std::size_t index) { return [this, index] { probes[index].reset(); }; };
    const auto connectE = [this] { connect("e"); };
    const auto startAnew = [&] {
        signal->disconnect_all();
        connectE();
    };
    const auto dropThenConnect = [&] {
        probes[3].reset();
        connectE();
    };
    const auto connectThenDrop = [&] {
        connectE();
        probes[3].reset();
    };
    const auto connectMixedIn = [this] {
        probes[0]->action = nullptr;
        signal->connect(probes[0].get(), &CProbe::mixedIn);
    };
    const auto growStorage = [this] {
        for (int i = 0; i < 100; ++i)
            signal->connect(probes[1].get(), &CProbe::onSignal);
        signal->disconnect(probes[1].get());
    };
    const struct
    {
        const char* name;
        std::size_t actor;
        std::function<void()> action;
        const char* during;
        const char* after;
    } rows[] = {
        {"a receiver destroys itself", 1, drop(1), "abcd", "acd"},
        {"the last one destroys itself", 3, drop(3), "abcd", "abc"},
        {"the next one is destroyed", 1, drop(2), "abd", "abd"},
        {"an earlier one is destroyed", 2, drop(0), "abcd", "bcd"},
        {"all are destroyed", 1, [this] { probes.clear(); }, "ab", ""},
        {"all are disconnected, one is connected anew", 1, startAnew, "ab", "e"},
        {"the last but one connects", 2, connectE, "abcde", "abcde"},
        {"the last one connects", 3, connectE, "abcd", "abcde"},
        {"the last successor goes before another comes", 2, dropThenConnect, "abc", "abce"},
        {"the last successor goes after another came", 2, connectThenDrop, "abce", "abce"},
        {"an operation of another base is connected", 0, connectMixedIn, "abcd+", "abcd+"},
        {"storage grows", 0, growStorage, "acd", "acd"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        build();
        probes[row.actor]->action = row.action;
        EXPECT_EQ(emitted(*signal), row.during);
        for (const auto& probe : probes)
        {
            if (probe)
                probe->action = nullptr;
        }
        EXPECT_EQ(emitted(*signal), row.after);
    }
}

TEST_F(SigslotWalk, InnerEmissionChangesWhatTheOuterOneCalls)
{
    probes[1]->action = [this] {
        probes[1]->action = nullptr;
        probes[2]->action = [this] {
            probes[2].reset();
            connect("e");
        };
        std::string inner;
        (*signal)(&inner);
        EXPECT_EQ(inner, "abcde");
    };
    EXPECT_EQ(emitted(*signal), "abde");
}

TEST_F(SigslotWalk, ExceptionEndsTheEmissionAndReleasesTheLock)
{
    probes[1]->action = [] { throw std::runtime_error("stuck valve"); };
    std::string log;
    EXPECT_THROW((*signal)(&log), std::runtime_error);
    EXPECT_EQ(log, "ab");
    std::thread([this] {
        probes[1]->action = nullptr;
        EXPECT_EQ(emitted(*signal), "abcd");
    }).join();
}

TEST_F(SigslotWalk, SignalDestroyedInItsOwnEmission)
{
    for (const bool throws : {false, true})
    {
        build();
        probes[1]->action = [this] {
            probes[1]->action = nullptr;
            (*signal)(&probes[0]->name); // an emission within the emission
        };
        probes[2]->action = [&] {
            signal.reset();
            if (throws)
                throw std::runtime_error("gone");
        };
        std::string log;
        if (throws)
            EXPECT_THROW((*signal)(&log), std::runtime_error);
        else
            (*signal)(&log);
        EXPECT_EQ(log, "ab");
        EXPECT_EQ(probes[0]->name, "aabc");
    }
}

TEST_F(SigslotWalk, DisconnectingWaitsForTheEmissionOfAnotherThread)
{
    std::atomic<bool> inside{false};
    std::atomic<bool> left{false};
    probes[1]->action = [&] {
        inside = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        left = true;
    };
    std::thread emitter([&] { emitted(*signal); });
    while (!inside)
        std::this_thread::yield();
    probes[1]->disconnect_all();
    EXPECT_TRUE(left);
    emitter.join();
    EXPECT_EQ(emitted(*signal), "acd");
}

TEST(SigslotThreads, EmissionAgainstConnectAndDestruction)
{
    Signal first;
    Signal second;
    std::atomic<bool> done{false};
    const auto churn = [&] {
        for (int i = 0; i < 1000; ++i)
        {
            CProbe probe("x");
            first.connect(&probe, &CProbe::onSignal);
            second.connect(&probe, &CProbe::onSignal);
            if (i % 2 == 0)
                first.disconnect(&probe);
        }
    };
    const auto emitBoth = [&](Signal& signal) {
        while (!done)
        {
            emitted(signal);
            std::this_thread::yield(); // lets the others at the lock
        }
    };
    std::thread emitters[] = {std::thread(emitBoth, std::ref(first)), std::thread(emitBoth, std::ref(second))};
    std::thread churners[] = {std::thread(churn), std::thread(churn)};
    for (std::thread& churner : churners)
        churner.join();
    done = true;
    for (std::thread& emitter : emitters)
        emitter.join();
    EXPECT_EQ(emitted(first) + emitted(second), "");
}

/// Runs both at the same time, as nearly as threads allow.
void race(const std::function<void()>& one, const std::function<void()>& other)
{
    std::atomic<int> ready{0};
    const auto start = [&ready](const std::function<void()>& body) {
        ++ready;
        while (ready < 2)
            std::this_thread::yield();
        body();
    };
    std::thread second(start, other);
    start(one);
    second.join();
}

TEST(SigslotThreads, SignalsAndReceiversDestroyedAtTheSameTime)
{
    for (int round = 0; round < 1000; ++round)
    {
        std::vector<std::unique_ptr<Signal>> signals;
        std::vector<std::unique_ptr<CProbe>> probes;
        for (int i = 0; i < 3; ++i)
        {
            signals.push_back(std::make_unique<Signal>());
            probes.push_back(std::make_unique<CProbe>("p"));
        }
        for (const auto& signal : signals)
        {
            for (std::size_t i = 0; i < 2 * probes.size(); ++i)
                signal->connect(probes[i % probes.size()].get(), &CProbe::onSignal);
        }
        race([&] { signals.clear(); }, [&] { probes.clear(); });
    }
}

TEST(SigslotThreads, SignalDestroyedInItsEmissionWhileReceiversDie)
{
    for (int round = 0; round < 1000; ++round)
    {
        auto signal = std::make_unique<Signal>();
        CProbe killer("k");
        auto probe = std::make_unique<CProbe>("p");
        signal->connect(&killer, &CProbe::onSignal);
        signal->connect(probe.get(), &CProbe::onSignal);
        killer.action = [&] {
            for (int i = 0; i < round % 10; ++i)
                std::this_thread::yield();
            signal.reset();
        };
        std::string log;
        race([&] { (*signal)(&log); }, [&] { probe.reset(); });
        EXPECT_EQ(log, "k");
    }
}
