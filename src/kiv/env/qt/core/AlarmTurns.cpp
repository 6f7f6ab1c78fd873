#include "kiv/env/qt/core/AlarmTurns.h"

#include <new>

namespace Kiv
{

CAlarmTurns& CAlarmTurns::instance()
{
    alignas(CAlarmTurns) static unsigned char storage[sizeof(CAlarmTurns)];
    static CAlarmTurns& turns = *new (storage) CAlarmTurns;
    return turns;
}

// The first call allocates a wait condition: it shall not be that of a destructor without memory.
[[maybe_unused]] static const CAlarmTurns& turnsFromTheBeginning = CAlarmTurns::instance();

bool CAlarmTurns::take(Place& place, const std::atomic<bool>* cancelled)
{
    const CPlainLock guard(lock);
    (first != nullptr ? last->next : first) = &place;
    last = &place;
    while (first != &place)
    {
        if (cancelled != nullptr && *cancelled)
        {
            leave(place);
            return false;
        }
        changed.wait(lock, CDeadline::never());
    }
    return true;
}

void CAlarmTurns::pass()
{
    const CPlainLock guard(lock);
    first = first->next;
    changed.wakeAll();
}

/// Of a place behind the first.
void CAlarmTurns::leave(const Place& place)
{
    Place* before = first;
    while (before->next != &place)
        before = before->next;
    before->next = place.next;
    if (last == &place)
        last = before;
}

void CAlarmTurns::wakeCancelled()
{
    const CPlainLock guard(lock);
    changed.wakeAll();
}

} // namespace Kiv
