#include "SingleThread.h"

#include <cstdio>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Sim
{

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
    const pid_t self = getpid();
    const pid_t child = fork();
    if (child < 0)
        return std::perror("kiv-board: cannot start a process"), 1;
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
