/// An alarm timer behind its interface, and one run of it; private.
#ifndef KIV_ALARMTIMERPRIVATE_H
#define KIV_ALARMTIMERPRIVATE_H

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <kiv/AlarmTimer.h>
#include <kiv/Deadline.h>

#include "kiv/env/qt/core/AlarmTurns.h"
#include "kiv/env/qt/core/TerminableThread.h"
#include "kiv/env/qt/core/WaitInterruption.h"
#include "kiv/env/unix/diag/StopRecord.h"
#include "kiv/env/unix/diag/logging.h"

namespace Kiv
{

/// What the log names as the source of all records of a timer.
constexpr const char* alarmTimerFile = "../../src/kiv/env/qt/core/AlarmTimerQtV2";

const log4cplus::Logger& timerLogger();

/// What a timer logs is of use only where somebody has asked for it; to a logger without any appender, log4cplus
/// answers with a complaint on standard error.
bool isListenedTo(log4cplus::Logger logger);

/// An alarm on its way, to the function that receives it.
struct AlarmCall
{
    CAlarmTimer* timer;
    bool (*function)(CAlarmTimer*);
};

class CAlarmTimerThread : public CTerminableThread
{
public:
    explicit CAlarmTimerThread(std::shared_ptr<CAlarmTimerPrivate> shared) : timer(std::move(shared)) {}

    /// The run that the caller is the thread of, if any.
    static CAlarmTimerThread* current() { return runningHere; }

    const std::shared_ptr<CAlarmTimerPrivate> timer;
    std::atomic<bool> over{false};
    bool isAnnounced = true; // guarded by the timer's `state`; false while stop() is logging that it stops this run
    CWaitInterruption interruption; // of a handler that waits for room in a queue
    bool skipped = false;           // its own thread's: the last alarm reached no handler because the run was over

protected:
    void body() override;

private:
    static bool deliver(const AlarmCall& alarm);

    static thread_local CAlarmTimerThread* runningHere;
};

class CAlarmTimerPrivate : public std::enable_shared_from_this<CAlarmTimerPrivate>
{
public:
    CAlarmTimerPrivate(CAlarmTimer* timer, unsigned alarmInterval, unsigned count, IAlarmHandler* alarmHandler);

    /// False if the system refuses a thread.
    bool start();
    void stop(const Diag::CSourcePlace& place);

    /// The CAlarmTimer is going; a thread that has not ended keeps what it needs.
    void abandon();

    /// Waits until the next alarm of `run` is due and counts it; nothing when the run is over.
    std::optional<AlarmCall> nextAlarm(CAlarmTimerThread& run);

    /// Calls who is to be called, in turn with all other timers.
    bool dispatch(CAlarmTimer* timer, CAlarmTimerThread* run);

    void endRun(CAlarmTimerThread& run);
    void nameThread(CAlarmTimerThread& run) const;
    void setCycleCount(unsigned count);
    void setName(const std::string& newName);
    void setCallback(const cb::Callback0<bool>& newCallback);
    bool isStarted() const;
    bool isOwnedBy(const CAlarmTimer* timer) const { return owner == timer; }
    cb::Callback0<bool> callbackCopy() const;
    std::string nameCopy() const;

    template<class MakeText>
    static void log(log4cplus::LogLevel level, int line, const char* function, MakeText&& makeText)
    {
        const Diag::CLogPass pass;
        if (pass && timerLogger().isEnabledFor(level) && isListenedTo(timerLogger()))
            Diag::logAt(timerLogger(), level, {alarmTimerFile, line, function}, std::forward<MakeText>(makeText));
    }

    std::atomic<unsigned> interval;
    std::atomic<bool> debug{false};
    std::atomic<bool> inTurn{true};

    int setRealTimePriority(eRealTimePolicy policy, int priority);
    int setProcessors(const std::vector<unsigned int>& processors);
    bool isRealTime() const;
    int realTimePriority() const;

private:
    static std::atomic<int> instanceCount;

    void countAlarm() KIV_REQUIRES(state);
    bool launchRun() KIV_REQUIRES(state);
    std::shared_ptr<CAlarmTimerThread> endRunInProgress();
    Diag::CStopRecord stopRecord(const Diag::CSourcePlace& place, const char* event) const;
    int announceStop(const Diag::CSourcePlace& place) const;
    static bool waitEnded(CAlarmTimerThread& run, int slices);
    void letFinish(CAlarmTimerThread& run);
    bool forget(const std::shared_ptr<CAlarmTimerThread>& run);

    CAlarmTimer* const owner; // exists as long as a run is not over
    IAlarmHandler* const handler;
    mutable CPlainMutex state;
    unsigned cycleCount KIV_GUARDED_BY(state);
    unsigned remaining KIV_GUARDED_BY(state) = 0;
    cb::Callback0<bool> callback KIV_GUARDED_BY(state);
    std::shared_ptr<CAlarmTimerThread> thread KIV_GUARDED_BY(state);
    CThreadScheduling scheduling KIV_GUARDED_BY(state);
    CAlarmTurns ownTurns; // where it takes none with other timers
    CSyncCondition wakeup;
    CDeadline deadline KIV_GUARDED_BY(state);
    std::string name KIV_GUARDED_BY(state);
};

} // namespace Kiv

#endif
