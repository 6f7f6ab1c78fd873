#include "PumpController.h"

#include <chrono>

#include "Pumps.h"
#include "Settings.h"
#include "StationClock.h"
#include "StationLog.h"

// Threads: the stepper's thread posts an event and waits at the gate; the machine's worker runs the on...() functions
// and opens the gate. Start and stop of the machine run them on the caller's thread, while the worker is not there.

namespace PumpStation
{

namespace
{

// Ten seconds in slices, so that a process that was stopped meanwhile and goes on does not find all of it gone.
constexpr int slicesOfPatience = 100;
constexpr std::chrono::milliseconds slice{100};

const Kiv::CAbstractState* childOf(const Kiv::CAbstractState* state)
{
    const auto* const group = dynamic_cast<const Kiv::CState*>(state);
    return group ? group->currentChild() : nullptr;
}

std::string activePath(const Kiv::CState* region)
{
    std::string path;
    for (const Kiv::CAbstractState* state = region->currentChild(); state; state = childOf(state))
        path += (path.empty() ? "" : ".") + state->name();
    return path;
}

} // namespace

CPumpController::CPumpController(IWiring& wiring, CPumps& stationPumps, CStationClock& stationClock,
                                 const CStationLog& log, const TimeSettings& timeSettings)
    : pumps(stationPumps), clock(stationClock), times(timeSettings), runLamp(RunLamp, "run lamp", wiring, log),
      faultLamp(FaultLamp, "fault lamp", wiring, log), alarmLamp(AlarmLamp, "alarm lamp", wiring, log)
{
    machine.setLogMessageCallback({&log, &CStationLog::machineLine});
    connectActions();
    connectLamps();
}

void CPumpController::connectActions()
{
    const auto onEntry = [this](Kiv::CAbstractState* state, void (CPumpController::*action)(Kiv::CAbstractState*)) {
        state->sigEntered.connect(this, action);
    };
    onEntry(machine.lampTest, &CPumpController::onLampTest);
    onEntry(machine.firstPumpTest, &CPumpController::onFirstPumpTest);
    onEntry(machine.secondPumpTest, &CPumpController::onSecondPumpTest);
    onEntry(machine.idle, &CPumpController::onIdle);
    onEntry(machine.onePump, &CPumpController::onOnePump);
    onEntry(machine.twoPumps, &CPumpController::onTwoPumps);
    onEntry(machine.spraying, &CPumpController::onSpraying);
    onEntry(machine.drawdown, &CPumpController::onTwoPumps);
    onEntry(machine.waiting, &CPumpController::onWaiting);
    onEntry(machine.ended, &CPumpController::onEnded);
    machine.selfTest->sigExited.connect(this, &CPumpController::onPumpsReleased);
    machine.automatic->sigExited.connect(this, &CPumpController::onPumpsReleased);
}

void CPumpController::connectLamps()
{
    for (CLamp* lamp : {&runLamp, &faultLamp, &alarmLamp})
        lamp->flashDuring(machine.lampTest);
    runLamp.flashDuring(machine.automatic);
    faultLamp.flashDuring(machine.blocked);
    alarmLamp.flashDuring(machine.highLevel);
    alarmLamp.flashDuring(machine.overflow);
}

void CPumpController::start() { machine.start(); }

void CPumpController::stop() { machine.stop(); }

bool CPumpController::post(eStationEvent event)
{
    ++posted;
    settled.close();
    machine.postEvent(event);
    machine.postEvent(EventMark);
    return waitUntilSettled();
}

bool CPumpController::isTurning()
{
    settled.close();
    machine.postEvent(EventMark);
    return waitUntilSettled();
}

bool CPumpController::waitUntilSettled()
{
    for (int waited = 0; waited < slicesOfPatience; ++waited)
        if (settled.waitUntilOpen(Kiv::CDeadline::in(slice)))
            return true;
    return false;
}

std::string CPumpController::controlState() const { return activePath(machine.control); }

std::string CPumpController::supervisionState() const { return activePath(machine.supervision); }

void CPumpController::onLampTest(Kiv::CAbstractState*) { clock.startPhase(times.lampTest); }

void CPumpController::onFirstPumpTest(Kiv::CAbstractState*)
{
    pumps.runOnly(0);
    clock.startPhase(times.pumpTest);
}

void CPumpController::onSecondPumpTest(Kiv::CAbstractState*)
{
    pumps.runOnly(1);
    clock.startPhase(times.pumpTest);
}

void CPumpController::onIdle(Kiv::CAbstractState*)
{
    pumps.runNone();
    pumps.changeDuty();
}

void CPumpController::onOnePump(Kiv::CAbstractState*) { pumps.runDuty(); }

void CPumpController::onTwoPumps(Kiv::CAbstractState*) { pumps.runBoth(); }

void CPumpController::onSpraying(Kiv::CAbstractState*)
{
    flushBegun = true;
    clock.startPhase(times.spraying);
}

void CPumpController::onPumpsReleased(Kiv::CAbstractState*) { pumps.runNone(); }

void CPumpController::onWaiting(Kiv::CAbstractState*)
{
    // A finished transition queues itself, maybe behind the mark. So the mark goes to the end until it is alone.
    if (machine.pendingEvents() > 0)
        machine.postEvent(EventMark);
    else
        settled.open();
}

void CPumpController::onEnded(Kiv::CAbstractState*) { settled.open(); }

} // namespace PumpStation
