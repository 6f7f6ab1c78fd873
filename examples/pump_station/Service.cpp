#include "Service.h"

#include <algorithm>
#include <chrono>

#include <kiv/diag.h>

#include "Plant.h"
#include "Run.h"

namespace PumpStation
{

namespace
{

using std::chrono::milliseconds;

constexpr milliseconds::rep oneHour = 3600000;

/// Half of what the manager allows, at least a millisecond and at most an hour.
unsigned int feedingInterval(std::chrono::microseconds allowed)
{
    const auto half = std::chrono::duration_cast<milliseconds>(allowed / 2).count();
    return static_cast<unsigned int>(std::clamp<milliseconds::rep>(half, 1, oneHour));
}

} // namespace

CService::CService(CPlant& watchedPlant, const CRun& watchedRun)
    : plant(watchedPlant), run(watchedRun), timer(feedingInterval(manager.watchdogInterval()), 0, this)
{
    timer.setName("watchdog");
}

// [service]
void CService::start()
{
    Kiv::Diag::stdErrPrintfError(manager.notifyReady());
    if (manager.isManaged() && manager.watchdogInterval().count() > 0)
        timer.start();
}

void CService::stop()
{
    Kiv::Diag::stdErrPrintfError(manager.notifyStopping());
    timer.stop();
}

bool CService::onAlarm(Kiv::CAlarmTimer*)
{
    if (run.outcome() != RunUnderWay)
        return false;
    if (plant.isControllerTurning())
        manager.feedWatchdog();
    return true;
}
// [service]

} // namespace PumpStation
