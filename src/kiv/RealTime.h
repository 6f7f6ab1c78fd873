/// Real-time scheduling and locked memory: what a thread needs so that a busy machine does not keep it waiting.
#ifndef KIV_REALTIME_H
#define KIV_REALTIME_H

#include <cstddef>
#include <vector>

#include <kiv/kiv_export.h>

/// A thread that runs under a real-time policy runs before all ordinary ones, and before real-time ones of a lower
/// priority; sched(7). Needed for it is the right to: root, CAP_SYS_NICE, or a limit RLIMIT_RTPRIO (LimitRTPRIO= of a
/// unit) that is not below the priority.
///
/// What the library does: a thread that it starts (a CThread, a timer's, a machine's worker) runs under the policy and
/// priority of the thread that starts it, when those are real-time ones and nothing else was set for it with
/// setRealTimePriority() of its object. So all threads of a program that is started by `chrt -r 5` are round-robin 5.
/// SCHED_DEADLINE is not inherited, and neither is a policy with SCHED_RESET_ON_FORK: such a thread starts ordinary
/// ones, if the kernel lets it start any, and the log says so once.
///
/// The functions here concern the calling thread; CThread, CAlarmTimer and CStateMachine have the same for theirs.
/// Results: 0 or a negated code. Threads: safe.
namespace Kiv
{

/// How the kernel chooses between threads that could run (sched(7)).
enum eRealTimePolicy : int
{
    RealTimeNone = 0,      ///< ordinary scheduling
    RealTimeFifo = 1,      ///< runs until it waits or a higher priority comes
    RealTimeRoundRobin = 2 ///< the same, but takes turns with others of its priority
};

/// Policy and priority, 1 (lowest) to 99, of the calling thread; RealTimeNone takes 0. -22 outside of that, -1 without
/// the right to it.
KIV_API int setRealTimePriority(eRealTimePolicy policy, int priority);

/// The calling thread runs on these processors only, counted from 0; -22 if none of them is there or allowed.
KIV_API int setProcessors(const std::vector<unsigned int>& processors);

/// True under a real-time policy, SCHED_DEADLINE included; for a self-test at the start.
KIV_API bool isRealTime();

/// The real-time priority of the calling thread, 0 under another policy.
KIV_API int realTimePriority();

/// Keeps all of the process's memory in RAM from now on, so that no access waits for a disk: what is mapped now at
/// once, what comes later when it is touched first. The calling thread's stack, and those of threads that the library
/// starts later, are touched down to `stackBytes` (at most 4 MiB), so that they do not grow at a bad moment.
///
/// -1 or -12 when the limit RLIMIT_MEMLOCK (LimitMEMLOCK= of a unit) does not allow it; it counts whole address ranges,
/// 8 MiB for each thread's stack, so it should be infinity. Call it at the start, before the real-time threads.
KIV_API int lockMemory(std::size_t stackBytes = std::size_t{256} * 1024);

} // namespace Kiv

#endif
