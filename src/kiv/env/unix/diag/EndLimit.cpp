#include "kiv/env/unix/diag/EndLimit.h"

#include <atomic>
#include <csignal>
#include <ctime>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

/// clone(2) by the name under which no sanitizer replaces it: theirs takes every call for a fork.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...);

namespace Kiv
{
namespace Diag
{

namespace
{

constexpr int limitSeconds = 5;
constexpr int stepsPerSecond = 10;

std::atomic<CEndLimit::End> endAtAlarm{nullptr};

void onAlarm(int) { endAtAlarm.load()(); }

} // namespace

bool CEndLimit::start(End end)
{
    const pid_t self = getpid(); // a forked process has no limit yet
    if (__atomic_exchange_n(&process, self, __ATOMIC_ACQ_REL) == self)
        return false;
    atEnd = end;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    // All that a thread of the same process shares, and the handle of the thread-local storage is left alone.
    const int thread = __clone(waitAndEnd, stack + sizeof stack,
                               CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (thread < 0)
        startAlarm(end);
    return true;
}

int CEndLimit::waitAndEnd(void* limit)
{
    // In steps: a process that was stopped meanwhile loses one of them at most.
    for (int step = 0; step < limitSeconds * stepsPerSecond; ++step)
    {
        timespec time;
        time.tv_sec = 0;
        time.tv_nsec = 1000000000 / stepsPerSecond;
        syscall(SYS_nanosleep, &time, nullptr);
    }
    static_cast<CEndLimit*>(limit)->atEnd();
    return 0;
}

void CEndLimit::startAlarm(End end)
{
    endAtAlarm = end;
    struct sigaction action
    {};
    action.sa_handler = onAlarm;
    action.sa_flags = SA_ONSTACK;
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarms;
    sigemptyset(&alarms);
    sigaddset(&alarms, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarms, nullptr);
    alarm(limitSeconds);
}

} // namespace Diag
} // namespace Kiv
