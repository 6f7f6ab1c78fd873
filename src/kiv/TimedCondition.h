/// A condition variable whose waits end by a deadline.
#ifndef KIV_TIMEDCONDITION_H
#define KIV_TIMEDCONDITION_H

#include <condition_variable>
#include <mutex>

#include <kiv/Deadline.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

/// std::condition_variable with a CDeadline for the limit.
///
/// For what a program's threads wait for among themselves; to hand values over use CEventQueue. Waits end on the clock
/// of their deadline, so one on ClockBoottime ends in time after a suspend, too, within a quarter of a second. In tests
/// they follow the virtual clock of the test kit, which is what std::condition_variable cannot do.
///
/// Threads: safe. Nobody may wait when it is destroyed.
/// Errors: none.
class KIV_API CTimedCondition
{
public:
    CTimedCondition() = default;
    CTimedCondition(const CTimedCondition&) = delete;
    CTimedCondition& operator=(const CTimedCondition&) = delete;

    /// Unlocks, waits until woken or until the deadline, and locks again. True when woken, or without cause as every
    /// condition variable does; false when the time ran out.
    bool wait(std::unique_lock<std::mutex>& lock, const CDeadline& deadline);

    /// Waits until `isSo()` is true, which is asked under the lock. Its last answer: false when the time ran out.
    template<class Predicate>
    bool wait(std::unique_lock<std::mutex>& lock, const CDeadline& deadline, Predicate isSo)
    {
        while (!isSo())
            if (!wait(lock, deadline))
                return isSo();
        return true;
    }

    /// Ends the wait of one that waits.
    void wakeOne();
    /// Ends the waits of all.
    void wakeAll();

private:
    std::condition_variable condition;
};

} // namespace Kiv

#endif
