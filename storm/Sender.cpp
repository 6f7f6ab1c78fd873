// The process beside a child that sends it the signals of its plan.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include <sys/syscall.h>
#include <unistd.h>

#include "Child.h"
#include "Dice.h"

namespace Storm
{

namespace
{

class CSender
{
public:
    explicit CSender(const Plan& ofPlan) : plan(ofPlan), dice(~ofPlan.seed) {}

    void run()
    {
        for (unsigned pulses = plan.pulses ? 1 + dice.below(4) : 0; pulses > 0; --pulses)
        {
            send(SIGSTOP, dice.below(20));
            send(SIGCONT, 5 + dice.below(dice.onceIn(3) ? 400 : 40));
        }
        if (plan.cause == CauseSignal || plan.meanwhile)
            send(plan.signal, dice.below(plan.meanwhile ? 40 : 20));
        if (plan.twice)
            send(plan.signal, dice.below(5));
        const bool isStuck = plan.logging == LoggingFullOutput || plan.logging == LoggingFullFifo;
        if (isDeferring && isStuck && (plan.cause == CauseSignal || plan.meanwhile))
            insist();
    }

private:
#ifdef __SANITIZE_THREAD__
    static constexpr bool isDeferring = true;
#else
    static constexpr bool isDeferring = false;
#endif

    /// ThreadSanitizer calls a handler when the interrupted thread comes out of the C library, which one that writes
    /// into a full pipe never does. So all threads are asked.
    void insist()
    {
        for (int round = 0; round < 20; ++round)
        {
            usleep(500000);
            for (const std::filesystem::path& thread : threads())
                if (getppid() == target && listens(thread, plan.signal))
                    syscall(SYS_tgkill, target, std::stoi(thread.filename()), plan.signal);
        }
    }

    void send(int signal, unsigned afterMsecs)
    {
        usleep(afterMsecs * 1000);
        if (getppid() != target)
            _exit(0);
        const bool isForAThread = signal != SIGSTOP && signal != SIGCONT && dice.onceIn(2);
        if (!isForAThread || syscall(SYS_tgkill, target, listeningThread(signal), signal) != 0)
            kill(target, signal);
    }

    std::vector<std::filesystem::path> threads() const
    {
        std::vector<std::filesystem::path> found;
        std::error_code gone;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(target) + "/task", gone))
            found.push_back(entry.path());
        return found;
    }

    static bool listens(const std::filesystem::path& thread, int signal)
    {
        std::ifstream status(thread / "status");
        for (std::string line; std::getline(status, line);)
            if (line.rfind("SigBlk:", 0) == 0 && (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1U) == 0)
                return true;
        return false;
    }

    /// Any thread that does not block the signal, -1 if the first one that is looked at does.
    pid_t listeningThread(int signal)
    {
        const std::vector<std::filesystem::path> all = threads();
        if (all.empty())
            return -1;
        const std::filesystem::path& thread = all[dice.below(static_cast<unsigned>(all.size()))];
        return listens(thread, signal) ? std::stoi(thread.filename()) : -1;
    }

    const Plan& plan;
    CDice dice;
    const pid_t target = getppid();
};

} // namespace

void sendSignals(const Plan& plan)
{
    char go = 0;
    if (read(STDIN_FILENO, &go, 1) == 1)
        CSender(plan).run();
}

} // namespace Storm
