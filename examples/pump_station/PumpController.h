/// The controller: what the state machine's states do to pumps, lamps and clock, and the way in for the plant's events.
#ifndef KIV_PUMPSTATION_PUMPCONTROLLER_H
#define KIV_PUMPSTATION_PUMPCONTROLLER_H

#include <cstdint>
#include <string>

#include <kiv/sigslot.h>

#include "Gate.h"
#include "Lamp.h"
#include "StationMachine.h"

namespace PumpStation
{

class CPumps;
class CStationClock;
class CStationLog;
struct TimeSettings;

/// Runs the station's machine and receives its signals.
///
/// Threads: one thread at a time, that which makes the model's steps. The machine's worker uses pumps and clock only
/// between the first post() of a step and the return of finishStep() or endRun(), so they need no lock.
class CPumpController : public sigslot::has_slots<>
{
public:
    CPumpController(CPumps& pumps, CStationClock& clock, const CStationLog& log, const TimeSettings& times);

    void start();

    /// Leaves the active states, which stops the pumps.
    void stop();

    void post(eStationEvent event);

    /// Waits until the machine has handled what was posted and all that came of it. False if that takes more than ten
    /// seconds.
    bool finishStep();

    /// Brings the machine to its end and waits for that. False as for finishStep().
    bool endRun();

    bool hasFlushed() const { return flushedOnce; }
    std::uint64_t eventsHandled() const { return posted - machine.droppedEvents(); }
    std::uint64_t eventsDropped() const { return machine.droppedEvents(); }

    /// The active states below a region, outermost first: "Automatic.OnePump", "HighLevel".
    std::string controlState() const;
    std::string supervisionState() const;

private:
    void connectActions();
    void connectLamps();
    bool postAndWait(eStationEvent event);

    void onLampTest(Kiv::CAbstractState*);
    void onFirstPumpTest(Kiv::CAbstractState*);
    void onSecondPumpTest(Kiv::CAbstractState*);
    void onIdle(Kiv::CAbstractState*);
    void onOnePump(Kiv::CAbstractState*);
    void onTwoPumps(Kiv::CAbstractState*);
    void onSpraying(Kiv::CAbstractState*);
    void onFlushed(Kiv::CAbstractState*);
    void onPumpsReleased(Kiv::CAbstractState*);
    void onWaiting(Kiv::CAbstractState*);
    void onEnded(Kiv::CAbstractState*);

    CPumps& pumps;
    CStationClock& clock;
    const TimeSettings& times;
    CLamp runLamp;
    CLamp faultLamp;
    CLamp alarmLamp;
    CGate handled; // open when the machine is through with the step
    std::uint64_t posted = 0;
    bool flushedOnce = false;
    CStationMachine machine; // goes first, and its worker with it
};

} // namespace PumpStation

#endif
