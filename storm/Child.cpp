#include "Child.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kiv/CrashReport.h>
#include <kiv/diag.h>

#include "StandIns.h"
#include "Things.h"

namespace Storm
{

namespace
{

void sleepFor(unsigned msecs) { std::this_thread::sleep_for(std::chrono::milliseconds(msecs)); }

/// Fills a pipe or FIFO up: the next byte waits for ever, since nobody reads.
void fill(int descriptor)
{
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    const std::array<char, 4096> bytes{};
    for (std::size_t size = bytes.size(); size > 0;)
        if (write(descriptor, bytes.data(), size) < 0)
            size = size > 1 ? 1 : 0;
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
}

/// The descriptors stay open until the process ends.
std::string makeFullFifo(const std::string& path)
{
    if (mkfifo(path.c_str(), 0600) == 0)
        fill(open(path.c_str(), O_RDWR | O_CLOEXEC));
    return path;
}

void fillStandardOutput()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    fill(ends[1]);
    dup2(ends[1], STDOUT_FILENO);
}

// ---- set-up

void setUpLogging(const Plan& plan, const std::string& directory)
{
    if (plan.logging == LoggingDefault)
        return Kiv::Diag::init();
    const std::string path = directory + "/logging.properties";
    std::ofstream file(path);
    file << "log4cplus.rootLogger=TRACE" << (plan.logging == LoggingNobody ? ", nobody\n" : ", out\n")
         << "log4cplus.appender.nobody=log4cplus::NullAppender\n";
    if (plan.logging == LoggingFullOutput)
    {
        fillStandardOutput();
        file << "log4cplus.appender.out=log4cplus::ConsoleAppender\n"
                "log4cplus.appender.out.ImmediateFlush=true\n";
    }
    else if (plan.logging != LoggingNobody)
    {
        const std::string log = directory + "/log";
        file << "log4cplus.appender.out=log4cplus::FileAppender\n"
                "log4cplus.appender.out.File="
             << (plan.logging == LoggingFullFifo ? makeFullFifo(log) : log) << "\n";
    }
    file << "log4cplus.appender.out.layout=log4cplus::PatternLayout\n"
            "log4cplus.appender.out.layout.ConversionPattern=%d %p [%t] %m%n\n";
    file.close();
    Kiv::Diag::init(path);
}

void installReports(const Plan& plan, const std::string& directory)
{
    const auto installCrashReport = [&] {
        const std::string path = directory + "/crash";
        if (Kiv::Diag::installCrashReport(plan.reportStuck ? makeFullFifo(path) : path) != 0)
            _exit(98);
    };
    if (plan.reports == ReportsSignalOverCrash || plan.reports == ReportsCrash)
        installCrashReport();
    if (plan.reports != ReportsNone && plan.reports != ReportsCrash)
        Kiv::Diag::installDiagnosticSignalHandlers();
    if (plan.reports == ReportsCrashOverSignal)
        installCrashReport();
}

void startAllocators(const Plan& plan, CDice& dice)
{
    for (unsigned left = plan.allocators; left > 0; --left)
        std::thread([own = CDice(dice.next())]() mutable {
            for (;; usleep(own.onceIn(32) ? 50 : 0)) // ThreadSanitizer delivers no signal to who never waits
                std::vector<std::string>(1 + own.below(8), std::string(own.below(3000), 'a'));
        }).detach();
}

// ---- from outside

/// A process that sends the signals of the plan to the one that starts it. It is this program again: what a copy of a
/// process with threads may do is next to nothing.
class COutside
{
public:
    explicit COutside(const Plan& plan)
    {
        if (plan.cause != CauseSignal && !plan.meanwhile && !plan.pulses)
            return;
        const std::string seed = std::to_string(plan.seed);
        if (pipe2(ends, O_CLOEXEC) != 0 || fork() != 0)
            return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[0], STDIN_FILENO);
        execl("/proc/self/exe", "storm", "--outside", nameOf(plan.kind), seed.c_str(), nullptr);
        _exit(1);
    }

    /// Now.
    void begin() { static_cast<void>(!write(ends[1], "", 1)); }

private:
    int ends[2] = {-1, -1};
};

// ---- the end

__attribute__((noinline, no_sanitize("address", "undefined", "thread"))) void fault()
{
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
}

/// What ends the process has been started, and nobody else is using it any more.
std::atomic<bool> mayEnd{false};

/// One thread ends the process; any other that comes here waits for that.
void endOnce(const Plan& plan)
{
    static std::atomic<bool> begun{false};
    while (begun.exchange(true))
        pause();
    while (!mayEnd)
        usleep(100);
    switch (plan.cause)
    {
    case CauseExit:
        std::exit(plan.status);
    case CauseQuickExit:
        std::quick_exit(plan.status);
    case CauseLeave:
        for (;;) // as _exit() does; that of ThreadSanitizer flushes the streams first
            syscall(SYS_exit_group, plan.status);
    case CauseAbort:
        std::abort();
    case CauseThrow:
        throw std::runtime_error("storm");
    case CauseFault:
        return fault();
    default:
        for (;;)
            pause();
    }
}

class CChild
{
public:
    CChild(const Plan& ofPlan, std::string inDirectory)
        : plan(ofPlan), directory(std::move(inDirectory)), dice(ofPlan.seed ^ 0x5707), outside(ofPlan)
    {
        scene.plan = plan;
        scene.end = [this] { endOnce(plan); };
    }

    int run()
    {
        setUpLogging(plan, directory);
        installReports(plan, directory);
        startAllocators(plan, dice);
        for (unsigned left = plan.things; left > 0; --left)
            keepByOwner(makeThing(scene, dice, false));
        if (plan.pulses)
            outside.begin();
        for (unsigned left = plan.steps; left > 0; --left)
            step();
        if (!plan.pulses)
            outside.begin();
        return end();
    }

private:
    /// The main thread does not touch the static ones and those of nobody any more.
    void keepByOwner(std::unique_ptr<IThing> thing)
    {
        /// Destroyed by any thread, when a signal handler calls exit() there.
        static struct Statics
        {
            ~Statics() { static_cast<void>(published.load()); }
            std::vector<std::unique_ptr<IThing>> things;
            std::atomic<unsigned> published{0};
        } statics;
        thing->start();
        switch (dice.below(3))
        {
        case OwnerMain:
            mine.push_back(std::move(thing));
            break;
        case OwnerNobody:
            static_cast<void>(thing.release());
            break;
        default:
            statics.things.push_back(std::move(thing));
            ++statics.published;
        }
    }

    void step()
    {
        refuseThreads = plan.kind == KindThreads;
        try
        {
            workOn(dice.below(static_cast<unsigned>(mine.size()) + 1));
        }
        catch (const std::bad_alloc&)
        {}
        refuseMemoryEvery = 0;
        refuseThreads = false;
        if (dice.onceIn(3))
            sleepFor(dice.below(8));
    }

    void workOn(unsigned index)
    {
        if (index == mine.size())
        {
            mine.push_back(makeThing(scene, dice, plan.cause != CauseSignal && !plan.meanwhile));
            return;
        }
        switch (dice.below(8))
        {
        case 0:
        case 1:
        case 2:
            return mine[index]->start();
        case 3:
        case 4:
            return mine[index]->stop();
        case 5:
            mine.erase(mine.begin() + index);
            return;
        default:
            return mine[index]->poke();
        }
    }

    int end()
    {
        sleepFor(dice.below(12));
        if (plan.cause == CauseReturn)
        {
            refuseMemoryEvery = plan.kind == KindMemory ? 1 + dice.below(3) : 0; // nothing on the way out needs any
            mine.clear();
            refuseMemoryEvery = 0;
            return plan.status;
        }
        if (plan.cause != CauseSignal && plan.place != PlaceMain)
            startEnder();
        mayEnd = true;
        if (plan.cause != CauseSignal && plan.place == PlaceMain)
            scene.end();
        while (plan.goesOn)
            step();
        for (;;)
            pause();
    }

    void startEnder()
    {
        static std::unique_ptr<IThing> lasting;
        ender = makeEnder(scene);
        IThing& starting = *ender;
        if (plan.owner == OwnerStatic)
            lasting = std::move(ender);
        else if (plan.owner == OwnerNobody)
            static_cast<void>(ender.release());
        starting.start();
    }

    const Plan& plan;
    const std::string directory;
    CDice dice;
    COutside outside;
    Scene& scene = *new Scene;
    std::vector<std::unique_ptr<IThing>> mine;
    std::unique_ptr<IThing> ender;
};

/// Becomes a process that waits for a process 1 and ends with its status.
void becomeInit(const Plan& plan, const std::string& directory)
{
    if (getpid() == 1)
        return;
    if (unshare(CLONE_NEWPID) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0)
        _exit(skippedStatus);
    const std::string seed = std::to_string(plan.seed);
    const pid_t init = fork();
    if (init == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execl("/proc/self/exe", "storm", "--child", nameOf(plan.kind), seed.c_str(), directory.c_str(), nullptr);
        _exit(skippedStatus);
    }
    int status = 0;
    while (init > 0 && waitpid(init, &status, 0) < 0 && errno == EINTR)
    {}
    _exit(init < 0 ? skippedStatus : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

} // namespace

int runChild(const Plan& plan, const std::string& directory)
{
    if (plan.kind == KindInit)
        becomeInit(plan, directory);
    CChild child(plan, directory);
    return child.run();
}

} // namespace Storm
