/// A run through the recording, at a chosen speed, on an alarm timer's thread.
#ifndef KIV_PUMPSTATION_RUN_H
#define KIV_PUMPSTATION_RUN_H

#include <atomic>
#include <cstdint>

#include <kiv/AlarmTimer.h>

namespace PumpStation
{

class CPlant;

enum eRunOutcome : int
{
    RunUnderWay,
    RunComplete,    ///< through the whole recording
    RunInterrupted, ///< by requestStop()
    RunFailed       ///< the wiring failed, or the state machine did not answer
};

/// Makes at each alarm as many steps of the plant as are due by then, and prints a line for each simulated minute.
///
/// Threads: start() and the destructor belong to one thread, all else is safe from any.
class CRun : public Kiv::IAlarmHandler
{
public:
    /// `interval` in milliseconds, `speed` in simulated seconds for a real one. The plant belongs to the run until that
    /// has ended.
    CRun(CPlant& plant, int interval, int speed, bool quiet);

    void start();

    /// The run ends with the step in progress.
    void requestStop() { stopRequested = true; }

    /// Until the last step has been made and nothing of the run uses the plant any more.
    bool isRunning() const { return timer.isStarted(); }

    eRunOutcome outcome() const { return result; }

    /// Called by the timer on its thread.
    bool onAlarm(Kiv::CAlarmTimer* timer) override;

private:
    eRunOutcome step();

    CPlant& plant;
    const std::int64_t millisecondsPerAlarm; // of the model's time
    const bool quiet;
    std::int64_t millisecondsDue = 0;
    std::atomic<bool> stopRequested{false};
    std::atomic<eRunOutcome> result{RunUnderWay};
    Kiv::CAlarmTimer timer; // goes first: it calls this object
};

} // namespace PumpStation

#endif
