#include "AlarmTurns.h"

#include <algorithm>
#include <mutex>

namespace Kiv
{

CAlarmTurns& CAlarmTurns::instance()
{
    static CAlarmTurns& turns = *new CAlarmTurns;
    return turns;
}

bool CAlarmTurns::take(const std::atomic<bool>* cancelled)
{
    const std::lock_guard<CPlainMutex> guard(lock);
    const std::uint64_t ticket = nextTicket++;
    queue.push_back(ticket);
    while (queue.front() != ticket)
    {
        if (cancelled != nullptr && *cancelled)
        {
            queue.erase(std::find(queue.begin(), queue.end(), ticket));
            return false;
        }
        changed.wait(lock, QDeadlineTimer(QDeadlineTimer::Forever));
    }
    return true;
}

void CAlarmTurns::pass()
{
    const std::lock_guard<CPlainMutex> guard(lock);
    queue.erase(queue.begin());
    changed.wakeAll();
}

void CAlarmTurns::wakeCancelled()
{
    const std::lock_guard<CPlainMutex> guard(lock);
    changed.wakeAll();
}

} // namespace Kiv
