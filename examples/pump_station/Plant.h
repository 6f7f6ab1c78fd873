/// The whole pumping station: basin, pumps, clock and controller, one step after the other.
#ifndef KIV_PUMPSTATION_PLANT_H
#define KIV_PUMPSTATION_PLANT_H

#include <array>
#include <cstdint>

#include "Basin.h"
#include "PumpController.h"
#include "Pumps.h"
#include "StationClock.h"
#include "StationLog.h"

namespace PumpStation
{

class CInflowRecord;
class CPumpHours;
class IWiring;
struct Settings;

/// Steps the model through the recording and tells the controller what it sees.
///
/// Each event of a step waits until the controller has dealt with the one before, and so does the next step. So the
/// result does not depend on the machine's speed or load.
///
/// Threads: reentrant.
class CPlant
{
public:
    /// The arguments are there as long as the plant. After Kiv::Diag::init().
    CPlant(const Settings& settings, const CInflowRecord& record, IWiring& wiring, CPumpHours& hours);

    void start();
    void stop();

    /// There is no further step to be made.
    bool isAtEnd() const;

    /// One step. False if the wiring failed or the controller did not answer.
    bool step();

    /// After the last step: brings the controller to its end. False as for step().
    bool finish() { return control.post(EventRecordEnded); }

    /// Between two steps. False if the controller does not answer in time.
    bool isControllerTurning() { return control.isTurning(); }

    CStationMachine& stateMachine() { return control.stateMachine(); }

    int now() const { return clock.now(); }
    int secondsElapsed() const;
    std::int64_t inflow() const;
    int highestLevel() const { return highest; }
    int highestLevelTime() const { return highestTime; }

    const CBasin& basin() const { return water; }
    const CPumps& pumps() const { return machinery; }
    const CPumpController& controller() const { return control; }
    const CInflowRecord& recording() const { return record; }

private:
    void moveWater();
    void countHours();
    std::int64_t outflow() const;
    bool postEvents();
    bool isMainBlocked() const;
    bool isFaultAcknowledged() const;
    bool isFlushDue() const;

    const Settings& settings;
    const CInflowRecord& record;
    IWiring& wiring;
    CPumpHours& hours;
    CStationClock clock;
    CStationLog log;
    CBasin water;
    CPumps machinery;
    CPumpController control;
    std::array<int, pumpCount> startsCounted{};
    int highest;
    int highestTime;
};

} // namespace PumpStation

#endif
