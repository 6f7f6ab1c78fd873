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
/// while post() waits for it, so they need no lock.
class CPumpController : public sigslot::has_slots<>
{
public:
    CPumpController(IWiring& wiring, CPumps& pumps, CStationClock& clock, const CStationLog& log,
                    const TimeSettings& times);

    void start();

    /// Leaves the active states, which stops the pumps.
    void stop();

    /// Posts an event and waits until the machine has dealt with it and with all that came of it. So what follows from
    /// an event never depends on how fast the next one comes. False if the machine does not get there within ten
    /// seconds.
    bool post(eStationEvent event);

    /// Asks the machine, between two events: true when it has come to rest, false as for post().
    bool isTurning();

    CStationMachine& stateMachine() { return machine; }

    bool hasBegunFlushing() const { return flushBegun; }
    std::uint64_t eventsHandled() const { return posted - machine.droppedEvents(); }
    std::uint64_t eventsDropped() const { return machine.droppedEvents(); }

    /// The active states below a region, outermost first: "Automatic.OnePump", "HighLevel".
    std::string controlState() const;
    std::string supervisionState() const;

private:
    bool waitUntilSettled();
    void connectActions();
    void connectLamps();

    void onLampTest(Kiv::CAbstractState*);
    void onFirstPumpTest(Kiv::CAbstractState*);
    void onSecondPumpTest(Kiv::CAbstractState*);
    void onIdle(Kiv::CAbstractState*);
    void onOnePump(Kiv::CAbstractState*);
    void onTwoPumps(Kiv::CAbstractState*);
    void onSpraying(Kiv::CAbstractState*);
    void onPumpsReleased(Kiv::CAbstractState*);
    void onWaiting(Kiv::CAbstractState*);
    void onEnded(Kiv::CAbstractState*);

    CPumps& pumps;
    CStationClock& clock;
    const TimeSettings& times;
    CLamp runLamp;
    CLamp faultLamp;
    CLamp alarmLamp;
    CGate settled; // open when the machine has nothing left to do
    std::uint64_t posted = 0;
    bool flushBegun = false;
    CStationMachine machine; // goes first, and its worker with it
};

} // namespace PumpStation

#endif
