#include <kiv/TimedCondition.h>

#include "kiv/time/TimeSource.h"

namespace Kiv
{

bool CTimedCondition::wait(std::unique_lock<std::mutex>& lock, const CDeadline& deadline)
{
    if (deadline.isExpired())
        return false;
    if (ITimeSource* const source = Time::source())
        return waitOn(*source, this, lock, deadline);
    const std::chrono::steady_clock::time_point limit(Time::realWaitLimit(deadline));
    return condition.wait_until(lock, limit) == std::cv_status::no_timeout || !deadline.isExpired();
}

void CTimedCondition::wakeOne()
{
    if (ITimeSource* const source = Time::source())
        source->wake(this, false);
    condition.notify_one();
}

void CTimedCondition::wakeAll()
{
    if (ITimeSource* const source = Time::source())
        source->wake(this, true);
    condition.notify_all();
}

} // namespace Kiv
