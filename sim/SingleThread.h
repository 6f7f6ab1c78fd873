/// Work in a process with one thread: only such a one may change its user namespace, and libraries start threads.
#ifndef KIV_SIM_SINGLETHREAD_H
#define KIV_SIM_SINGLETHREAD_H

#include <csignal>
#include <functional>

#include <sys/types.h>

namespace Sim
{

/// SIGCHLD and the signals that ask a program to end.
sigset_t watchedSignals();

/// As the shell has it: the exit status, or 128 plus the number of the signal that ended the process.
int exitStatus(int waitStatus);

/// Passes a signal on to a child. Not one from the terminal: the child has it too.
void passOn(int signal, int code, pid_t child);

/// Calls `work` in a child process and returns its result, the exit status. The watched signals are blocked in the
/// child and passed on to it; it is killed when this process is.
int runSingleThreaded(const std::function<int()>& work);

} // namespace Sim

#endif
