// The way of an event: into the queue, out of it, and through the table.
#include "kiv/machine/StateMachinePrivate.h"
#include "kiv/machine/Walk.h"

namespace Kiv
{

namespace
{

constexpr unsigned int roomTimeoutMs = 100;
constexpr unsigned int idleTimeoutMs = 100;

void prepareTree(CState& group)
{
    CWalk::prepare(group);
    for (CTransition* transition : group.transitions())
        CWalk::prepare(*transition);
    for (CAbstractState* child : group.children())
        if (child->stateType() == StateTypeState)
            prepareTree(static_cast<CState&>(*child));
}

} // namespace

void StateMachinePrivate::post(const Event& event)
{
    const bool mayWait = isAsync() && !isWorker();
    if (!queue.write(event, mayWait ? roomTimeoutMs : 0))
        drop(event);
}

[[gnu::cold]] void StateMachinePrivate::drop(const Event& event)
{
    dropped.fetch_add(1, std::memory_order_relaxed);
    if (event.transition)
        machine->sigTransitionDropped(event.transition);
    else
        machine->sigEventDropped(event.event);
}

bool StateMachinePrivate::take(Event& event)
{
    return !abandonQueue && queue.read(event, isAsync() ? idleTimeoutMs : 0);
}

void StateMachinePrivate::process()
{
    Event next;
    while (take(next))
    {
        if (next.transition)
            CWalk::fire(*next.transition);
        else
            handle(next.event);
    }
    if (isAsync() && !isActive())
        return;
    if (CAbstractState* const child = machine->currentChild())
        child->doProcessing();
}

void StateMachinePrivate::handle(unsigned char eventNo)
{
    if (machine->sigEventHandled.is_connected())
        machine->sigEventHandled(eventNo);
    table.forEach(
        eventNo, [this] { return machine->isLogging(); }, [this](CTransition& each) { CWalk::fire(each, *machine); });
}

void StateMachinePrivate::prepare()
{
    prepareTree(*machine);
    table.mark();
}

void StateMachinePrivate::withdraw(const CTransition* transition)
{
    table.remove(transition);
    queue.changeWaiting([&](Event& event) {
        if (event.transition == transition)
            event.transition = &nothing;
    });
}

} // namespace Kiv
