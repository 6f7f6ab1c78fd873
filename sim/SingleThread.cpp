#include "SingleThread.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Sim
{

namespace
{

constexpr int restLooks = 2000; // a millisecond apart

/// What the kernel tells of the other threads: state and number of switches each; empty if one of them does not sleep.
std::string sleepOfOthers()
{
    std::string sleep;
    std::error_code noProc;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task", noProc))
    {
        const std::string thread = entry.path().filename();
        if (thread == std::to_string(getpid()))
            continue;
        std::ifstream status(entry.path() / "status");
        for (std::string line; std::getline(status, line);)
        {
            if (line.compare(0, 6, "State:") == 0 && line.find("S (") == line.npos)
                return "";
            if (line.find("ctxt_switches:") != line.npos)
                sleep += thread + line;
        }
    }
    return sleep + '.';
}

/// Waits until the threads that libraries have started are through with their own start and sleep. In the middle of it
/// they hold locks, of the allocator for example, which a child would have as they are, and for good.
void letOthersRest()
{
    std::string last;
    for (int look = 0; look < restLooks; ++look)
    {
        const std::string now = sleepOfOthers();
        if (!now.empty() && now == last)
            return;
        last = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

sigset_t watchedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD})
        sigaddset(&signals, signal);
    return signals;
}

int exitStatus(int waitStatus) { return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus); }

void passOn(int signal, int code, pid_t child)
{
    if (code != SI_KERNEL)
        kill(child, signal);
}

int runSingleThreaded(const std::function<int()>& work)
{
    const sigset_t watched = watchedSignals();
    sigprocmask(SIG_BLOCK, &watched, nullptr);
    letOthersRest();
    const pid_t self = getpid();
    const pid_t child = fork();
    if (child < 0)
    {
        std::perror("kiv-board: cannot start a process");
        return 1;
    }
    if (child == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int status = getppid() == self ? work() : 1;
        std::fflush(stdout);
        _exit(status); // the libraries' threads, for which exit() might wait, stayed behind
    }
    int status = 0;
    while (true)
    {
        siginfo_t signal = {};
        const int number = sigwaitinfo(&watched, &signal);
        if (number == SIGCHLD && waitpid(child, &status, WNOHANG) == child)
            return exitStatus(status);
        if (number > 0 && number != SIGCHLD)
            passOn(number, signal.si_code, child);
    }
}

} // namespace Sim
