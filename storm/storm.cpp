// Starts children that end in all the ways that there are, and looks whether each does, in time and as it has to.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Child.h"
#include "Plan.h"

// GLib, on which Qt's threads stand, closes descriptors where ThreadSanitizer does not see it.
extern "C" const char* __tsan_default_suppressions() { return "race:^eventfd$\n"; }

namespace
{

using namespace Storm;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr const char* usage =
    "usage: storm [--seconds N | --children N] [--kind KIND]... [--seed N] [--same] [--jobs N] [--limit N] [--plan]\n"
    "  --children N  so many of each kind, 1 as a rule; --seconds N: as many as that gives\n"
    "  --kind KIND   this kind, and others that are named, instead of all\n"
    "  --seed N      the seed of the first child of each kind; the next one has the next\n"
    "  --same        all children have the first one's seed\n"
    "  --jobs N      so many at a time, 4 as a rule\n"
    "  --limit N     a child that lives longer, 60 s as a rule, hangs: it stays there, stopped, for a debugger\n"
    "  --plan        prints what the children would do\n";

struct Options
{
    unsigned seconds = 0;
    unsigned children = 0;
    std::vector<eKind> kinds;
    std::optional<std::uint64_t> seed;
    bool sameSeed = false;
    unsigned jobs = 4;
    unsigned limit = 60;
    bool onlyPlan = false;
};

constexpr std::size_t floodSize = 1U << 20U;
constexpr unsigned keptAtMost = 20;

/// What a child printed, the first part of it, and how it ended.
struct Run
{
    std::string text;
    std::size_t printed = 0;
    int end = -1; ///< as rightEnds() has them
    bool hung = false;
};

// ---- one child

std::array<std::string, 3> sanitizerOptions(const std::string& directory)
{
    const std::string common = "log_path=" + directory + "/sanitizer:exitcode=66:handle_segv=0:handle_abort=0:";
    return {"ASAN_OPTIONS=" + common + "detect_leaks=0:detect_stack_use_after_return=1:allocator_may_return_null=1",
            "UBSAN_OPTIONS=" + common + "print_stacktrace=1",
            "TSAN_OPTIONS=" + common + "atexit_sleep_ms=0:report_signal_unsafe=0:report_thread_leaks=0"};
}

/// What starts this process in the background has it ignore what a user types.
void listenToAllSignals()
{
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM})
        std::signal(signal, SIG_DFL);
}

/// In a session of its own, with both streams into `output`; no core is written.
pid_t startChild(const Plan& plan, const std::string& directory, int output)
{
    std::array<std::string, 3> options = sanitizerOptions(directory);
    std::array<std::string, 5> words{"storm", "--child", nameOf(plan.kind), std::to_string(plan.seed), directory};
    std::array<char*, words.size() + 1> argv{};
    std::transform(words.begin(), words.end(), argv.begin(), [](std::string& word) { return word.data(); });
    std::vector<char*> environment;
    for (char** variable = environ; *variable; ++variable)
        environment.push_back(*variable);
    for (std::string& option : options) // before the others: the first one of a name counts
        environment.insert(environment.begin(), option.data());
    environment.push_back(nullptr);
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    listenToAllSignals();
    setsid(); // a stopped group of the same session would be sent SIGHUP when this process ends
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    execve("/proc/self/exe", argv.data(), environment.data());
    _exit(skippedStatus);
}

void readSome(int descriptor, Run& run)
{
    char chunk[65536];
    for (ssize_t got = 0; (got = read(descriptor, chunk, sizeof chunk)) > 0;)
    {
        run.printed += static_cast<std::size_t>(got);
        if (run.text.size() < floodSize)
            run.text.append(chunk, static_cast<std::size_t>(got));
    }
}

Run watch(pid_t pid, int output, unsigned limit)
{
    Run run;
    const auto end = Clock::now() + std::chrono::seconds(limit);
    for (int status = 0;;)
    {
        pollfd ready{output, POLLIN, 0};
        poll(&ready, 1, 5);
        readSome(output, run);
        if (waitpid(pid, &status, WNOHANG) == pid)
        {
            run.end = WIFEXITED(status) ? WEXITSTATUS(status) : signalEnd + WTERMSIG(status);
            readSome(output, run);
            return run;
        }
        if (Clock::now() > end)
        {
            run.hung = true;
            return run;
        }
        if ((ready.revents & POLLHUP) != 0)
            usleep(2000);
    }
}

std::string contentsOf(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// What is wrong with a child that has ended; empty if all is well.
std::string faultOf(const Plan& plan, const Run& run, const fs::path& directory)
{
    for (const auto& entry : fs::directory_iterator(directory))
        if (entry.path().filename().string().rfind("sanitizer", 0) == 0)
            return "sanitizer report\n" + contentsOf(entry.path()).substr(0, 6000);
    const std::vector<int> right = rightEnds(plan);
    if (std::find(right.begin(), right.end(), run.end) == right.end())
        return "ended with " + std::to_string(run.end) + " instead of " + std::to_string(right.back());
    if (run.printed > floodSize)
        return "printed " + std::to_string(run.printed) + " bytes";
    const int signal = plan.meanwhile ? 0 : signalOf(plan);
    const auto shown = [&run](int number) {
        return run.text.find("SIGNAL " + std::to_string(number) + " -") != std::string::npos;
    };
    if (signal != 0 && meetsSignalReports(plan, signal) && !shown(signal))
        return "no report of the signal";
    for (const int other : {SIGSEGV, SIGABRT, SIGFPE, SIGILL})
        if (other != signal && shown(other))
            return "false report of signal " + std::to_string(other);
    if (plan.reportStuck)
        return "";
    const std::string report = contentsOf(directory / "crash");
    const bool isDue = signal != 0 && meetsCrashReport(plan, signal);
    if (isDue != (report.find("=== end ===") != std::string::npos))
        return (isDue ? "no complete crash report\n" : "false crash report\n") + report.substr(0, 3000);
    return "";
}

// ---- the storm

class CStorm
{
public:
    CStorm(Options fromOptions, std::string ownName)
        : options(std::move(fromOptions)), self(std::move(ownName)),
          firstSeed(options.seed.value_or(static_cast<std::uint64_t>(std::time(nullptr)) % 1000000 * 1000)),
          end(Clock::now() + std::chrono::seconds(options.seconds))
    {
        std::string name = fs::temp_directory_path() / "kiv_storm_XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error(std::strerror(errno));
        directory = name;
    }

    bool run()
    {
        std::vector<std::thread> jobs;
        for (unsigned job = 0; job < options.jobs; ++job)
            jobs.emplace_back([this] { work(); });
        for (std::thread& job : jobs)
            job.join();
        return summary();
    }

private:
    struct Count
    {
        unsigned children = 0;
        unsigned skipped = 0;
        unsigned hung = 0;
        unsigned wrong = 0;
    };

    void work()
    {
        for (std::uint64_t number = 0; (number = started++) < total();)
        {
            if (options.seconds != 0 && Clock::now() > end)
                return;
            const std::uint64_t round = options.sameSeed ? 0 : number / options.kinds.size();
            runOne(makePlan(options.kinds[number % options.kinds.size()], firstSeed + round), number);
        }
    }

    std::uint64_t total() const
    {
        return options.seconds != 0 ? ~std::uint64_t{0} : std::uint64_t{options.children} * options.kinds.size();
    }

    void runOne(const Plan& plan, std::uint64_t number)
    {
        const fs::path own = directory / std::to_string(number);
        fs::create_directory(own);
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error(std::strerror(errno));
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        const pid_t pid = startChild(plan, own, ends[1]);
        close(ends[1]);
        const Run run = watch(pid, ends[0], options.limit);
        close(ends[0]);
        judge(plan, run, pid, own);
    }

    void judge(const Plan& plan, const Run& run, pid_t pid, const fs::path& own)
    {
        const std::string fault = run.hung || run.end == skippedStatus ? std::string() : faultOf(plan, run, own);
        const std::lock_guard<std::mutex> guard(lock);
        Count& count = counts[static_cast<unsigned>(plan.kind)];
        ++count.children;
        if (run.hung)
        {
            ++count.hung;
            keep(plan, pid);
        }
        else if (run.end == skippedStatus)
            ++count.skipped;
        else if (!fault.empty())
        {
            ++count.wrong;
            std::printf("WRONG %s\n  %s\n", describe(plan).c_str(), fault.c_str());
            showHow(plan);
            const std::size_t tail = std::min<std::size_t>(run.text.size(), 1500);
            std::printf("  its last words: %s\n", run.text.substr(run.text.size() - tail).c_str());
        }
        if (!run.hung)
        {
            kill(-pid, SIGKILL); // what it left behind
            fs::remove_all(own);
        }
        std::fflush(stdout);
    }

    void keep(const Plan& plan, pid_t pid)
    {
        const bool isKept = kept++ < keptAtMost;
        kill(-pid, isKept ? SIGSTOP : SIGKILL);
        std::printf("HUNG %s\n", describe(plan).c_str());
        if (isKept)
            std::printf("  kept stopped: gdb -p %d; its end: kill -KILL -%d\n", pid, pid);
        showHow(plan);
    }

    void showHow(const Plan& plan) const
    {
        std::printf("  again: %s --kind %s --seed %llu\n", self.c_str(), nameOf(plan.kind),
                    static_cast<unsigned long long>(plan.seed));
    }

    bool summary()
    {
        bool allWell = true;
        std::printf("%-8s %9s %6s %6s %8s\n", "kind", "children", "hung", "wrong", "skipped");
        for (const eKind kind : options.kinds)
        {
            const Count& count = counts[static_cast<unsigned>(kind)];
            std::printf("%-8s %9u %6u %6u %8u\n", nameOf(kind), count.children, count.hung, count.wrong, count.skipped);
            allWell = allWell && count.hung == 0 && count.wrong == 0;
        }
        if (kept == 0)
            fs::remove_all(directory);
        return allWell;
    }

    const Options options;
    const std::string self;
    const std::uint64_t firstSeed;
    const Clock::time_point end;
    fs::path directory;
    std::atomic<std::uint64_t> started{0};
    std::mutex lock; // guards what follows, and standard output
    std::array<Count, KindCount> counts{};
    unsigned kept = 0;
};

[[noreturn]] void misused()
{
    std::fputs(usage, stderr);
    std::exit(2);
}

Options parse(const std::vector<std::string>& words)
{
    Options options;
    const bool isKindNamed = std::find(words.begin(), words.end(), "--kind") != words.end();
    for (std::size_t i = 0; i < words.size(); ++i)
    {
        const std::string& word = words[i];
        const auto value = [&]() -> const std::string& {
            return ++i < words.size() ? words[i] : (misused(), words[0]);
        };
        const auto number = [&] { return std::strtoull(value().c_str(), nullptr, 10); };
        if (word == "--seconds")
            options.seconds = static_cast<unsigned>(number());
        else if (word == "--children")
            options.children = static_cast<unsigned>(number());
        else if (word == "--jobs")
            options.jobs = static_cast<unsigned>(number());
        else if (word == "--limit")
            options.limit = static_cast<unsigned>(number());
        else if (word == "--seed")
            options.seed = number();
        else if (word == "--same")
            options.sameSeed = true;
        else if (word == "--plan")
            options.onlyPlan = true;
        else if (const auto kind = word == "--kind" ? kindOf(value()) : std::nullopt)
            options.kinds.push_back(*kind);
        else
            misused();
    }
    for (int kind = 0; options.kinds.size() < KindCount && !isKindNamed; ++kind)
        options.kinds.push_back(static_cast<eKind>(kind));
    if (options.children == 0)
        options.children = 1;
    return options;
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 4 && words[0] == "--child")
        return runChild(makePlan(kindOf(words[1]).value(), std::stoull(words[2])), words[3]);
    if (words.size() == 3 && words[0] == "--outside")
        return sendSignals(makePlan(kindOf(words[1]).value(), std::stoull(words[2]))), 0;
    const Options options = parse(words);
    if (options.onlyPlan)
    {
        for (const eKind kind : options.kinds)
            for (unsigned i = 0; i < options.children; ++i)
                std::puts(describe(makePlan(kind, options.seed.value_or(0) + i)).c_str());
        return 0;
    }
    return CStorm(options, argv[0]).run() ? 0 : 1;
}
