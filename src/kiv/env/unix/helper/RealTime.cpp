#include <kiv/RealTime.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include <sys/mman.h>
#include <unistd.h>

#include <kiv/ErrorToString.h>
#include <kiv/diag.h>

#include "kiv/env/unix/diag/logging.h"
#include "kiv/env/unix/helper/SystemCall.h"
#include "kiv/env/unix/helper/ThreadScheduling.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

constexpr const char* thisFile = "src/kiv/env/unix/helper/RealTime.cpp";
constexpr std::size_t mostStack = std::size_t{4} * 1024 * 1024;
constexpr int mostPriority = 99;

std::atomic<std::size_t> stackWanted{0};

/// 0 is the calling thread.
int setPolicy(pid_t thread, eRealTimePolicy policy, int priority)
{
    sched_param parameters = {};
    parameters.sched_priority = priority;
    return sched_setscheduler(thread, policy, &parameters) == 0 ? 0 : negatedErrno();
}

int setMask(pid_t thread, const cpu_set_t& processors)
{
    return sched_setaffinity(thread, sizeof processors, &processors) == 0 ? 0 : negatedErrno();
}

bool isSound(eRealTimePolicy policy, int priority)
{
    if (policy == RealTimeNone)
        return priority == 0;
    return (policy == RealTimeFifo || policy == RealTimeRoundRobin) && priority >= 1 && priority <= mostPriority;
}

/// Empty when a number is too high for the kernel's set.
std::optional<cpu_set_t> maskOf(const std::vector<unsigned int>& processors)
{
    cpu_set_t mask;
    CPU_ZERO(&mask);
    for (const unsigned int processor : processors)
    {
        if (processor >= CPU_SETSIZE)
            return std::nullopt;
        CPU_SET(processor, &mask);
    }
    return mask;
}

/// What a call on a thread of its own comes to; -11 when the system refuses one.
template<class Call>
int tried(Call call)
{
    constexpr int tryAgain = -11;
    int result = tryAgain;
    try
    {
        std::thread([&] { result = call(); }).join();
    }
    catch (const std::system_error&)
    {}
    return result;
}

void warn(const char* name, const char* what, int result)
{
    Diag::logAt(Diag::diagLogger(), log4cplus::WARN_LOG_LEVEL, {thisFile, __LINE__, "apply"}, [&] {
        return Diag::formatted("THREAD: %s: %s refused, it runs without: %s (%d)", name, what,
                               ErrorToString(static_cast<ErrCode>(result)), result);
    });
}

int policyOf(pid_t thread) { return sched_getscheduler(thread); }

} // namespace

int CThreadScheduling::setPriority(eRealTimePolicy policy, int priority, pid_t running)
{
    if (!isSound(policy, priority))
        return invalidArgument;
    const int result =
        running != 0 ? setPolicy(running, policy, priority) : tried([&] { return setPolicy(0, policy, priority); });
    if (result != 0)
        return result;
    wantedPolicy = policy;
    wantedPriority = priority;
    return 0;
}

int CThreadScheduling::setProcessors(const std::vector<unsigned int>& processors, pid_t running)
{
    const auto mask = maskOf(processors);
    if (!mask)
        return invalidArgument;
    const int result = running != 0 ? setMask(running, *mask) : tried([&] { return setMask(0, *mask); });
    if (result == 0)
        wantedProcessors = mask;
    return result;
}

CThreadScheduling::Refusals CThreadScheduling::apply() const
{
    Refusals refusals;
    if (wantedPolicy)
        refusals.priority = setPolicy(0, *wantedPolicy, wantedPriority);
    if (wantedProcessors)
        refusals.processors = setMask(0, *wantedProcessors);
    return refusals;
}

void logRefusals(const CThreadScheduling::Refusals& refusals, const char* name)
{
    if (refusals.priority != 0)
        warn(name, "real-time priority", refusals.priority);
    if (refusals.processors != 0)
        warn(name, "its processors", refusals.processors);
}

bool isPolicyInherited()
{
    const int policy = policyOf(0);
    const bool isPassedOn = policy == SCHED_FIFO || policy == SCHED_RR;
    static std::atomic<bool> isSaid{false};
    if (!isPassedOn && isRealTimeThread(0) && !isSaid.exchange(true))
        Diag::logAt(Diag::diagLogger(), log4cplus::WARN_LOG_LEVEL, {thisFile, __LINE__, __func__}, [] {
            return std::string("THREAD: the starter's real-time policy cannot be inherited, new threads are ordinary");
        });
    return isPassedOn;
}

bool isRealTimeThread(pid_t thread)
{
    const int policy = policyOf(thread) & ~SCHED_RESET_ON_FORK;
    constexpr int deadlinePolicy = 6; // SCHED_DEADLINE, for which glibc has no name
    return policy == SCHED_FIFO || policy == SCHED_RR || policy == deadlinePolicy;
}

int realTimePriorityOf(pid_t thread)
{
    sched_param parameters = {};
    return isRealTimeThread(thread) && sched_getparam(thread, &parameters) == 0 ? parameters.sched_priority : 0;
}

void touchStack()
{
    const std::size_t wanted = stackWanted;
    if (wanted == 0)
        return;
    auto* const bytes = static_cast<volatile char*>(__builtin_alloca(wanted));
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (std::size_t i = 0; i < wanted; i += page)
        bytes[wanted - 1 - i] = 0; // downwards, as the stack grows
}

int setRealTimePriority(eRealTimePolicy policy, int priority)
{
    return isSound(policy, priority) ? setPolicy(0, policy, priority) : invalidArgument;
}

int setProcessors(const std::vector<unsigned int>& processors)
{
    const auto mask = maskOf(processors);
    return mask ? setMask(0, *mask) : invalidArgument;
}

bool isRealTime() { return isRealTimeThread(0); }

int realTimePriority() { return realTimePriorityOf(0); }

int lockMemory(std::size_t stackBytes)
{
    // Two calls: MCL_ONFAULT spares what is mapped later, such as 8 MiB for each stack, not what is there already.
    if (mlockall(MCL_CURRENT) != 0 || mlockall(MCL_FUTURE | MCL_ONFAULT) != 0)
    {
        const int result = negatedErrno();
        munlockall();
        return result;
    }
    stackWanted = std::min(stackBytes, mostStack);
    touchStack();
    return 0;
}

} // namespace Kiv
