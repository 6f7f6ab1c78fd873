#include "Run.h"

#include "Plant.h"
#include "Report.h"

namespace PumpStation
{

CRun::CRun(CPlant& steppedPlant, int interval, int speed, bool isQuiet)
    : plant(steppedPlant), millisecondsPerAlarm(std::int64_t{interval} * speed), quiet(isQuiet),
      timer(static_cast<unsigned int>(interval), 0, this)
{
    timer.setName("stepper");
}

void CRun::start() { timer.start(); }

bool CRun::onAlarm(Kiv::CAlarmTimer*)
{
    millisecondsDue += millisecondsPerAlarm;
    while (result == RunUnderWay && plant.secondsElapsed() * std::int64_t{1000} < millisecondsDue)
        result = stopRequested ? RunInterrupted : step();
    return result == RunUnderWay;
}

eRunOutcome CRun::step()
{
    if (!plant.step())
        return RunFailed;
    if (plant.now() % 60 == 0 && !quiet)
        printStatus(plant);
    if (!plant.isAtEnd())
        return RunUnderWay;
    return plant.finish() ? RunComplete : RunFailed;
}

} // namespace PumpStation
