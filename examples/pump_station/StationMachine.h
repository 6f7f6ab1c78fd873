/// The station's state machine: its events, its states and its transitions, without what they do.
#ifndef KIV_PUMPSTATION_STATIONMACHINE_H
#define KIV_PUMPSTATION_STATIONMACHINE_H

#include <kiv/State.h>
#include <kiv/StateMachine.h>

namespace PumpStation
{

/// What the plant tells the machine. Whatever holds at the end of a step of the model is posted, whether it is new or
/// not; the states in which it matters have transitions for it.
enum eStationEvent : unsigned char
{
    EventLevelDry = 1,      ///< the level is at the end of flushing or below
    EventLevelStop,         ///< at the stopping level of the pumps or below
    EventLevelStartFirst,   ///< at the starting level of the duty pump or above
    EventLevelStartSecond,  ///< at the starting level of the standby pump or above
    EventLevelHigh,         ///< at the beginning of the high-level alarm or above
    EventLevelHighGone,     ///< at the end of the high-level alarm or below
    EventOverflow,          ///< the basin runs over
    EventOverflowGone,      ///< it does not
    EventFlushDue,          ///< it is time to flush the basin
    EventPhaseOver,         ///< the phase that the controller began on the clock is over
    EventMainBlocked,       ///< the rising main is blocked
    EventFaultAcknowledged, ///< somebody has cleared it and says so
    EventRecordEnded,       ///< there will be no further step
    EventMark               ///< follows each of these, to find out when the machine has dealt with it
};

/// The tree of states, as README.md draws it. The tree owns the states; they are public for those who connect to their
/// signals or ask which of them are active.
///
/// Threads: as Kiv::CStateMachine; it runs on a worker of its own.
class CStationMachine : public Kiv::CStateMachine
{
public:
    CStationMachine();

    /// The three regions are active together. When each has reached its final state the machine goes to `ended`.
    Kiv::CState* const station = new Kiv::CState("Station", this);
    Kiv::CFinalState* const ended = new Kiv::CFinalState("Ended", this);

    /// First region: what the pumps do.
    Kiv::CState* const control = new Kiv::CState("Control", station);
    Kiv::CState* const selfTest = new Kiv::CState("SelfTest", control);
    Kiv::CState* const automatic = new Kiv::CState("Automatic", control); // comes back to where it was left
    Kiv::CState* const blocked = new Kiv::CState("Blocked", control);
    Kiv::CFinalState* const off = new Kiv::CFinalState("Off", control);

    Kiv::CState* const lampTest = new Kiv::CState("LampTest", selfTest);
    Kiv::CState* const firstPumpTest = new Kiv::CState("FirstPumpTest", selfTest);
    Kiv::CState* const secondPumpTest = new Kiv::CState("SecondPumpTest", selfTest);
    Kiv::CFinalState* const passed = new Kiv::CFinalState("Passed", selfTest);

    Kiv::CState* const idle = new Kiv::CState("Idle", automatic);
    Kiv::CState* const onePump = new Kiv::CState("OnePump", automatic);
    Kiv::CState* const twoPumps = new Kiv::CState("TwoPumps", automatic);
    Kiv::CState* const flushing = new Kiv::CState("Flushing", automatic);

    Kiv::CState* const spraying = new Kiv::CState("Spraying", flushing);
    Kiv::CState* const drawdown = new Kiv::CState("Drawdown", flushing);
    Kiv::CFinalState* const flushed = new Kiv::CFinalState("Flushed", flushing);

    /// Second region: whether somebody has to be called.
    Kiv::CState* const supervision = new Kiv::CState("Supervision", station);
    Kiv::CState* const normal = new Kiv::CState("Normal", supervision);
    Kiv::CState* const highLevel = new Kiv::CState("HighLevel", supervision);
    Kiv::CState* const overflow = new Kiv::CState("Overflow", supervision);
    Kiv::CFinalState* const unwatched = new Kiv::CFinalState("Unwatched", supervision);

    /// Third region: waits for the next event, and is entered anew with each mark.
    Kiv::CState* const marks = new Kiv::CState("Marks", station);
    Kiv::CState* const waiting = new Kiv::CState("Waiting", marks);
    Kiv::CFinalState* const over = new Kiv::CFinalState("Over", marks);

private:
    void chooseInitialStates();
    void addSelfTest();
    void addAutomatic();
    void addSupervision();
    void addMarks();
};

} // namespace PumpStation

#endif
