// The way of an event: into the queue, out of it, and through the table.
#include <algorithm>

#include "kiv/machine/StateMachinePrivate.h"
#include "kiv/machine/Walk.h"

namespace Kiv
{

namespace
{

constexpr unsigned int roomTimeoutMs = 100;
constexpr unsigned int idleTimeoutMs = 100;

struct STotals
{
    std::size_t states = 0;
    std::size_t timeouts = 0;
};

/// Counts what lies in the group, itself included.
STotals prepareTree(CState& group)
{
    STotals totals{1, 0};
    CWalk::prepare(group);
    for (CTransition* transition : group.transitions())
    {
        CWalk::prepare(*transition);
        totals.timeouts += transition->timeout() ? 1U : 0U;
    }
    for (CAbstractState* child : group.children())
    {
        if (child->stateType() != StateTypeState)
            continue;
        const STotals inner = prepareTree(static_cast<CState&>(*child));
        totals.states += inner.states;
        totals.timeouts += inner.timeouts;
    }
    for (CAbstractState* history : group.historyStates())
        CWalk::prepare(static_cast<CHistoryState&>(*history), totals.states);
    return totals;
}

} // namespace

void StateMachinePrivate::post(const Event& event)
{
    const bool mayWait = isAsync() && !isWorker();
    if (!queue.write(event, mayWait ? roomTimeoutMs : 0))
        drop(event);
}

void CWalk::armTimeouts(CState& state, bool arm)
{
    const CStateMachine* const machine = state.machine();
    if (!machine)
        return;
    for (CTransition* transition : state.transitions())
    {
        if (!transition->timeout())
            continue;
        if (arm)
            machine->d->timeouts.arm(*transition);
        else
            machine->d->timeouts.disarm(*transition);
    }
}

[[gnu::cold]] void StateMachinePrivate::drop(const Event& event)
{
    dropped.fetch_add(1, std::memory_order_relaxed);
    if (event.transition)
        machine->sigTransitionDropped(event.transition);
    else
        machine->sigEventDropped(event.event);
}

/// The reader waits for an event until the machine has been idle for a while, or a time-out is due.
bool StateMachinePrivate::take(Event& event, CDeadline& idleEnd)
{
    if (abandonQueue)
        return false;
    if (!isAsync() || timeouts.next() == std::chrono::nanoseconds::max())
        return queue.read(event, isAsync() ? idleTimeoutMs : 0);
    if (idleEnd.isNever())
        idleEnd = CDeadline::in(std::chrono::milliseconds(idleTimeoutMs));
    return queue.read(event, CDeadline::at(std::min(idleEnd.instant(), timeouts.next())));
}

void StateMachinePrivate::process()
{
    Event next;
    CDeadline idleEnd; // set while there are time-outs, which interrupt the wait for events
    for (;;)
    {
        if (timeouts.next() != std::chrono::nanoseconds::max())
            fireDue();
        if (endRequested)
            return end();
        if (take(next, idleEnd))
        {
            handle(next);
            idleEnd = CDeadline::never();
        }
        else if (idleEnd.isNever() || idleEnd.isExpired() || !isActive())
            break;
    }
    if (isAsync() && !isActive())
        return;
    if (CAbstractState* const child = machine->currentChild())
        child->doProcessing();
}

/// What is armed meanwhile waits for the next time, so that this ends.
void StateMachinePrivate::fireDue()
{
    const auto now = CDeadline::now();
    while (CTransition* const due = abandonQueue || endRequested ? nullptr : timeouts.takeDue(now))
        CWalk::fire(*due);
}

void StateMachinePrivate::handle(const Event& event)
{
    if (event.transition)
        CWalk::fire(*event.transition);
    else if (event.value.isEmpty())
        handle(event.event);
    else
        handle(event.event, event.value);
}

void StateMachinePrivate::handle(unsigned char eventNo)
{
    if (machine->sigEventHandled.is_connected())
        machine->sigEventHandled(eventNo);
    if (table.isAsDrawn())
        return table.fireAsDrawn(eventNo, *machine);
    table.forEach(
        eventNo, [this] { return machine->isLogging(); }, [this](CTransition& each) { CWalk::fire(each, *machine); });
}

void StateMachinePrivate::handle(unsigned char eventNo, const CEventValue& value)
{
    struct CInWork
    {
        CInWork(const CEventValue*& inWork, const CEventValue& now) : place(inWork), before(inWork) { place = &now; }
        ~CInWork() { place = before; }
        const CEventValue*& place;
        const CEventValue* const before;
    } const inWork(valueInWork, value);
    handle(eventNo);
}

void StateMachinePrivate::end()
{
    endRequested = false;
    machine->leaveTopState();
}

void StateMachinePrivate::prepare()
{
    timeouts.reserve(prepareTree(*machine).timeouts);
    table.mark();
}

void StateMachinePrivate::withdraw(const CTransition* transition)
{
    table.remove(transition);
    timeouts.disarm(*transition);
    queue.changeWaiting([&](Event& event) {
        if (event.transition == transition)
            event.transition = &nothing;
    });
}

} // namespace Kiv
