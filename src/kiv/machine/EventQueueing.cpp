// What a poster and an observer know of a machine's queue.
#include "kiv/machine/StateMachinePrivate.h"

namespace Kiv
{

bool CStateMachine::tryPostEvent(unsigned char eventNo)
{
    Event event;
    event.event = eventNo;
    return d->queue.write(event, 0);
}

unsigned int CStateMachine::mostPendingEvents() const { return d->queue.mostPending(); }

unsigned int CStateMachine::queueSize() const { return d->queue.capacity(); }

} // namespace Kiv
