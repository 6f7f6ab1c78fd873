#include "StationMachine.h"

namespace PumpStation
{

CStationMachine::CStationMachine() : Kiv::CStateMachine(ProcessingAsync)
{
    chooseInitialStates();
    addSelfTest();
    addAutomatic();
    addSupervision();
    addMarks();
}

void CStationMachine::chooseInitialStates()
{
    setInitialState(station);
    station->setChildMode(Kiv::CState::ChildModeParallel);
    control->setInitialState(selfTest);
    selfTest->setInitialState(lampTest);
    automatic->addHistoryState()->setDefaultState(idle);
    flushing->setInitialState(spraying);
    supervision->setInitialState(normal);
    marks->setInitialState(waiting);
}

void CStationMachine::addSelfTest()
{
    // The last one first: an event tries its transitions in turn, and would run through the whole test at once.
    secondPumpTest->addEventTransitionTo(passed, EventPhaseOver, "PhaseOver");
    firstPumpTest->addEventTransitionTo(secondPumpTest, EventPhaseOver, "PhaseOver");
    lampTest->addEventTransitionTo(firstPumpTest, EventPhaseOver, "PhaseOver");
    selfTest->addFinishedTransitionTo(automatic);
    selfTest->addEventTransitionTo(off, EventRecordEnded, "RecordEnded");
}

void CStationMachine::addAutomatic()
{
    idle->addEventTransitionTo(onePump, EventLevelStartFirst, "LevelStartFirst");
    onePump->addEventTransitionTo(twoPumps, EventLevelStartSecond, "LevelStartSecond");
    onePump->addEventTransitionTo(idle, EventLevelStop, "LevelStop");
    twoPumps->addEventTransitionTo(idle, EventLevelStop, "LevelStop");

    idle->addEventTransitionTo(flushing, EventFlushDue, "FlushDue");
    spraying->addEventTransitionTo(drawdown, EventPhaseOver, "PhaseOver");
    drawdown->addEventTransitionTo(flushed, EventLevelDry, "LevelDry");
    flushing->addFinishedTransitionTo(idle);

    automatic->addEventTransitionTo(blocked, EventMainBlocked, "MainBlocked");
    blocked->addEventTransitionTo(automatic, EventFaultAcknowledged, "FaultAcknowledged");
    automatic->addEventTransitionTo(off, EventRecordEnded, "RecordEnded");
    blocked->addEventTransitionTo(off, EventRecordEnded, "RecordEnded");
}

void CStationMachine::addSupervision()
{
    normal->addEventTransitionTo(highLevel, EventLevelHigh, "LevelHigh");
    highLevel->addEventTransitionTo(overflow, EventOverflow, "Overflow");
    overflow->addEventTransitionTo(highLevel, EventOverflowGone, "OverflowGone");
    highLevel->addEventTransitionTo(normal, EventLevelHighGone, "LevelHighGone");
    for (Kiv::CState* state : {normal, highLevel, overflow})
        state->addEventTransitionTo(unwatched, EventRecordEnded, "RecordEnded");
}

void CStationMachine::addMarks()
{
    waiting->addEventTransitionTo(waiting, EventMark, "Mark");
    waiting->addEventTransitionTo(over, EventRecordEnded, "RecordEnded");
    station->addFinishedTransitionTo(ended);
}

} // namespace PumpStation
