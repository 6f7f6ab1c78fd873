/// A typed state machine for what looks at machines: diagrams and traces.
#ifndef KIV_MACHOMIRROR_H
#define KIV_MACHOMIRROR_H

#include <cstddef>
#include <memory>

#include <kiv/Macho.h>
#include <kiv/kiv_export.h>

namespace Kiv
{
class CStateMachine;
}

namespace Macho
{

class CMirrorPrivate;

/// A machine of the run-time framework with the shape of a typed one, which follows what the typed one does.
///
///   Macho::CMachine<Door, Macho::CMirror> door;
///   Macho::CMirror mirror(door.chart());
///   door.observe(&mirror);
///   Kiv::CStateMachineTrace trace(mirror.machine());
///
/// Everything that looks at a CStateMachine takes it: stateMachineDiagram() shows the active states highlighted, and a
/// CStateMachineTrace records states, transitions and events. It must not be started, driven or changed. An arrow bears
/// the name of its event; one that an entry or initial action asks for says "entry" or "initial". History states stand
/// for both kinds of history; an arrow to the deep one says so. What the root handles for all states is drawn from each
/// top-level state that does not handle the event itself. A trace knows events by their number in the root's list,
/// those from 255 on as 255.
///
/// Construction allocates, following does not. A machine that follows costs its typed original some tens of nanoseconds
/// a transition; for a diagram of the chart alone none has to be followed.
///
/// Threads: reentrant; following happens on the thread of the typed machine, and a diagram may be drawn meanwhile on
/// another. Observe before the typed machine starts, and end it before the mirror goes.
/// Errors: construction throws std::bad_alloc.
class KIV_API CMirror : public IObserver
{
public:
    /// `shape` is CMachine::chart().
    explicit CMirror(const Chart& shape);
    ~CMirror() override;
    CMirror(const CMirror&) = delete;
    CMirror& operator=(const CMirror&) = delete;

    /// The machine to look at.
    Kiv::CStateMachine& machine();
    const Kiv::CStateMachine& machine() const;

    void onEvent(std::size_t event) override;
    void onTransition(const ChartArrow& arrow) override;
    void onEntered(std::size_t state) override;
    void onLeft(std::size_t state) override;

private:
    std::unique_ptr<CMirrorPrivate> d;
};

} // namespace Macho

#endif
