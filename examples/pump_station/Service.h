/// The station as a service of the machine's service manager: it tells when it is ready, stops, and is alive.
#ifndef KIV_PUMPSTATION_SERVICE_H
#define KIV_PUMPSTATION_SERVICE_H

#include <kiv/AlarmTimer.h>
#include <kiv/ServiceNotify.h>

namespace PumpStation
{

class CPlant;
class CRun;

/// While a run is under way, feeds the manager's watchdog, but only when the state machine has answered. So a machine
/// that hangs in an action, a stepper that no longer comes back and a process that stands still all end in a restart.
///
/// Alarm handlers take turns, so the machine is asked between two steps of the plant.
///
/// Threads: one thread makes, starts, stops and destroys it.
class CService : public Kiv::IAlarmHandler
{
public:
    /// Plant and run are there as long as the service. Make it before any other thread is there.
    CService(CPlant& plant, const CRun& run);

    /// Tells that the station is ready. After the start of the run.
    void start();

    /// Tells that the station stops. After the end of the run.
    void stop();

    /// Called by the timer on its thread.
    bool onAlarm(Kiv::CAlarmTimer* timer) override;

private:
    CPlant& plant;
    const CRun& run;
    Kiv::CServiceNotify manager;
    Kiv::CAlarmTimer timer; // goes first: it calls this object
};

} // namespace PumpStation

#endif
