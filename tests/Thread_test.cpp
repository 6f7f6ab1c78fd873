#include <kiv/Thread.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "support/RecordingAppender.h"
#include "support/WaitUntil.h"

using Kiv::CThread;
using testing::ElementsAre;

namespace
{
thread_local bool memoryIsOut = false;
}

[[gnu::noinline]] void* operator new(std::size_t size)
{
    void* const memory = memoryIsOut ? nullptr : std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace
{

/// Runs a function that gets the thread; stops and waits before its members go, as a subclass should.
class FunctionThread : public CThread
{
public:
    using Body = std::function<void(FunctionThread&)>;
    explicit FunctionThread(Body threadBody, const char* name = "worker", int priority = 3)
        : CThread(name, priority), body(std::move(threadBody))
    {}
    ~FunctionThread() override
    {
        requestStop();
        waitForCompletion(10000);
    }
    void run() override { body(*this); }

private:
    Body body;
};

void loopWhileActive(CThread& thread)
{
    while (thread.isActive())
        CThread::sleep(1);
}

/// Leaves its end to the base's destructor, so the body touches nothing but statics.
template<void (*body)(CThread&)>
class CarelessThread : public CThread
{
public:
    CarelessThread() : CThread("careless") {}
    void run() override { body(*this); }
};

std::string logText(const CThread& thread, const std::string& rest)
{
    return "THREAD: ID: " + std::to_string(thread.getId()) + " " + rest;
}

} // namespace

TEST(Thread, RunsUntilAskedToStopUnderItsOwnIdAndName)
{
    std::atomic<std::uint64_t> idInside{0};
    FunctionThread thread(
        [&](CThread& self) {
            idInside = CThread::currentThreadId();
            loopWhileActive(self);
        },
        "pump control");
    EXPECT_FALSE(thread.isActive());
    EXPECT_EQ(thread.getId(), 0U);
    EXPECT_TRUE(thread.waitForCompletion(0)) << "never started";

    thread.start();
    EXPECT_TRUE(thread.isActive());
    const std::uint64_t id = thread.getId();
    std::string commandName;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(id) + "/comm"), commandName);
    EXPECT_EQ(commandName, "pump control");
    EXPECT_FALSE(thread.waitForCompletion(5));

    thread.requestStop();
    EXPECT_FALSE(thread.isActive());
    EXPECT_TRUE(thread.waitForCompletion(10000));
    EXPECT_EQ(idInside, id);
    EXPECT_NE(id, static_cast<std::uint64_t>(gettid()));
    EXPECT_EQ(thread.getId(), id);
}

TEST(Thread, IsInactiveOnceTheBodyReturnsAndCanBeStartedAgain)
{
    std::atomic<int> runs{0};
    FunctionThread thread([&](CThread&) { ++runs; });
    for (int run = 1; run <= 200; ++run)
    {
        thread.start();
        EXPECT_TRUE(waitUntil([&] { return !thread.isActive(); }));
        EXPECT_TRUE(thread.waitForCompletion(10000));
        EXPECT_EQ(runs, run);
    }
}

TEST(Thread, StartWhileRunningOnlyMakesItActiveAgain)
{
    std::atomic<bool> maySee{false};
    std::atomic<int> runs{0};
    FunctionThread thread([&](CThread& self) {
        ++runs;
        while (!maySee)
            CThread::sleep(1);
        loopWhileActive(self);
    });
    thread.start();
    thread.requestStop();
    thread.start();
    maySee = true;
    EXPECT_FALSE(thread.waitForCompletion(20));
    EXPECT_TRUE(thread.isActive());
    EXPECT_EQ(runs, 1);
}

TEST(Thread, LogsItsStartAndItsEnd)
{
    const LogRecorder log(log4cplus::Logger::getRoot());
    std::string start;
    {
        FunctionThread thread([](CThread&) {});
        thread.start();
        start = logText(thread, "worker ");
    }
    {
        const FunctionThread neverStarted([](CThread&) {}, "idle");
    }
    const std::string longName(400, 'x');
    {
        const FunctionThread neverStarted([](CThread&) {}, longName.c_str());
    }
    EXPECT_THAT(log.texts(), ElementsAre(start + "start", start + "finished", "THREAD: ID: 0 idle finished",
                                         ("THREAD: ID: 0 " + longName).substr(0, 255)));
    EXPECT_EQ(log.records().front().level, log4cplus::TRACE_LOG_LEVEL);
    EXPECT_EQ(log.records().front().file, "../../src/kiv/env/qt/core/ThreadQt");
}

namespace
{
std::atomic<int> carelessRuns{0};
void countRunAndLoop(CThread& thread)
{
    ++carelessRuns;
    loopWhileActive(thread);
}
} // namespace

TEST(Thread, DestroyedAtOnceAfterStartItHasRunOnce)
{
    carelessRuns = 0;
    const LogRecorder log(log4cplus::Logger::getRoot());
    for (int i = 0; i < 2000; ++i)
    {
        CarelessThread<countRunAndLoop> thread;
        thread.start();
    }
    // A machine that stands still for a tenth of a second may find a body terminated in its very first steps.
    const std::vector<std::string> texts = log.texts();
    const auto terminated = std::count_if(texts.begin(), texts.end(), [](const std::string& text) {
        return text.find("careless terminate") != text.npos;
    });
    EXPECT_LE(carelessRuns, 2000);
    EXPECT_GE(carelessRuns + terminated, 2000);
    EXPECT_LT(terminated, 20);
}

namespace
{
std::atomic<bool> unwound{false};
void sleepOn(CThread&)
{
    struct Guard
    {
        ~Guard() { unwound = true; }
    } const guard;
    CThread::sleep(3600 * 1000);
}
} // namespace

TEST(Thread, BodyThatSleepsOnIsTerminatedAndUnwound)
{
    unwound = false;
    const LogRecorder log(log4cplus::Logger::getRoot());
    std::string prefix;
    {
        CarelessThread<sleepOn> thread;
        thread.start();
        prefix = logText(thread, "careless ");
    }
    EXPECT_THAT(log.texts(), ElementsAre(prefix + "start", prefix + "terminate"));
    EXPECT_TRUE(waitUntil([] { return unwound.load(); }));
}

TEST(Thread, DestructionNeedsNoMemory)
{
    const LogRecorder log(log4cplus::Logger::getRoot());
    unwound = false;
    auto running = std::make_unique<CarelessThread<sleepOn>>();
    auto idle = std::make_unique<CarelessThread<sleepOn>>();
    running->start();
    memoryIsOut = true;
    running.reset();
    idle.reset();
    memoryIsOut = false;
    EXPECT_TRUE(waitUntil([] { return unwound.load(); }));
}

namespace
{
std::atomic<bool> released{false};
std::atomic<bool> toldToStop{false};
void spinUntilReleased([[maybe_unused]] CThread& thread)
{
    while (!released)
    {}
#ifdef __SANITIZE_ADDRESS__
    toldToStop = true; // the vptr check of this build looks into the object before any call
#else
    toldToStop = !thread.isActive();
#endif
}
} // namespace

// The body never reaches a cancellation point, so it outlives its object and returns by itself, with the termination
// still pending; its question for isActive() must not look into what is left of the object.
TEST(Thread, BodyThatOutlivesItsObjectEndsInPeace)
{
    using Spinner = CarelessThread<spinUntilReleased>;
    released = toldToStop = false;
    alignas(Spinner) static unsigned char storage[sizeof(Spinner)];
    auto* const thread = new (storage) Spinner;
    thread->start();
    const std::string task = "/proc/self/task/" + std::to_string(thread->getId());
    thread->~Spinner();
    EXPECT_EQ(access(task.c_str(), F_OK), 0) << "the body should still run";
    released = true;
    EXPECT_TRUE(waitUntil([&] { return access(task.c_str(), F_OK) != 0; }));
    EXPECT_TRUE(toldToStop);
    const CarelessThread<loopWhileActive> next; // its destruction deletes the one that was given up
}

TEST(Thread, ManyThreadsOfAllPrioritiesStopTogether)
{
    std::vector<std::unique_ptr<FunctionThread>> threads;
    for (int priority = 0; priority <= 7; ++priority)
    {
        threads.push_back(std::make_unique<FunctionThread>(loopWhileActive, "priority", priority));
        threads.back()->start();
    }
    for (auto& thread : threads)
    {
        EXPECT_TRUE(thread->isActive());
        thread->requestStop();
    }
    for (auto& thread : threads)
        EXPECT_TRUE(thread->waitForCompletion(10000));
}
