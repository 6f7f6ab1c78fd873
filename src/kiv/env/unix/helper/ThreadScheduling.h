/// How a thread of the library is to be scheduled: set before it starts or while it runs; private.
#ifndef KIV_THREADSCHEDULING_H
#define KIV_THREADSCHEDULING_H

#include <optional>
#include <vector>

#include <sched.h>
#include <sys/types.h>

#include <kiv/RealTime.h>

namespace Kiv
{

/// Threads: the owner's lock guards it.
class CThreadScheduling
{
public:
    /// 0 or a code. `running` is the thread's kernel id, or 0 before the start: then a thread that is made for it tries
    /// whether it would be allowed. After a refusal all is as before.
    int setPriority(eRealTimePolicy policy, int priority, pid_t running);
    int setProcessors(const std::vector<unsigned int>& processors, pid_t running);

    /// Codes of what the thread could not have.
    struct Refusals
    {
        int priority = 0;
        int processors = 0;
    };

    bool hasPolicy() const { return wantedPolicy.has_value(); }

    /// By the thread itself, at its beginning; logs nothing.
    Refusals apply() const;

private:
    std::optional<eRealTimePolicy> wantedPolicy;
    int wantedPriority = 0;
    std::optional<cpu_set_t> wantedProcessors;
};

/// Logs what was refused, if anything; `name` is the thread's.
void logRefusals(const CThreadScheduling::Refusals& refusals, const char* name);

/// Whether a thread that the calling one starts may have the same policy, which then is a real-time one.
bool isPolicyInherited();

/// True if a thread runs under a real-time policy.
bool isRealTimeThread(pid_t thread);

/// Its real-time priority, or 0.
int realTimePriorityOf(pid_t thread);

/// What lockMemory() wants of every stack; nothing before it was called.
void touchStack();

} // namespace Kiv

#endif
