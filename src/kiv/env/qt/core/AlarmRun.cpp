// What a timer's thread does, see AlarmTimerQtV2.cpp for who meets whom here.
#include "kiv/env/qt/core/AlarmTimerPrivate.h"

#include <sys/prctl.h>

#include "kiv/env/qt/core/AlarmTurns.h"
#include "kiv/env/qt/core/FinalOverrider.h"

namespace Kiv
{

namespace
{
constexpr std::chrono::milliseconds announcementLimit{1000};
} // namespace

thread_local CAlarmTimerThread* CAlarmTimerThread::runningHere = nullptr;

void CAlarmTimerThread::body()
{
    const auto log = [this](log4cplus::LogLevel level, int line, const char* before, const char* after = "") {
        CAlarmTimerPrivate::log(level, line, "run", [&] { return before + timer->nameCopy() + after; });
    };
    runningHere = this;
    CWaitInterruption::here() = &interruption;
    prctl(PR_SET_TIMERSLACK, 1UL);
    timer->nameThread(*this);
    log(log4cplus::INFO_LOG_LEVEL, __LINE__, "Timer thread started for timer ");
    while (const auto alarm = timer->nextAlarm(*this))
    {
        log(log4cplus::TRACE_LOG_LEVEL, __LINE__, "Alarm for timer ");
        if (!deliver(*alarm))
        {
            if (!skipped)
                log(log4cplus::INFO_LOG_LEVEL, __LINE__, "Timer function for timer ", " returned STOP_TIMER");
            break;
        }
    }
    timer->endRun(*this);
    log(log4cplus::INFO_LOG_LEVEL, __LINE__, "Timer thread finished for timer ");
}

bool CAlarmTimerThread::deliver(const AlarmCall& alarm)
{
    const CTerminationWindow window;
    return alarm.function(alarm.timer);
}

std::optional<AlarmCall> CAlarmTimerPrivate::nextAlarm(CAlarmTimerThread& run)
{
    const CPlainLock guard(state);
    while (!run.over && remaining != 0)
    {
        if (deadline.isExpired())
        {
            countAlarm();
            return AlarmCall{owner, finalOverrider(*owner, &CAlarmTimer::alarm)};
        }
        wakeup.wait(state, deadline);
    }
    run.over = true;
    return std::nullopt;
}

void CAlarmTimerPrivate::countAlarm()
{
    const unsigned msecs = interval;
    if (msecs == 0)
        deadline = CDeadline::in(std::chrono::milliseconds(0)); // a later interval counts from here, not from the start
    else
        deadline += std::chrono::milliseconds(msecs);
    if (cycleCount != 0)
        --remaining;
}

void CAlarmTimerPrivate::endRun(CAlarmTimerThread& run)
{
    const CPlainLock guard(state);
    run.over = true;
    const CDeadline limit = CDeadline::in(announcementLimit);
    while (!run.isAnnounced && wakeup.wait(state, limit)) // stop() sees to it, as long as its thread goes on
    {}
}

bool CAlarmTimerPrivate::dispatch(CAlarmTimer* timer, CAlarmTimerThread* run)
{
    const CAlarmTurn turn(inTurn ? CAlarmTurns::instance() : ownTurns, run != nullptr ? &run->over : nullptr);
    if (run != nullptr && run->over)
    {
        run->skipped = true;
        return false;
    }
    if (handler != nullptr)
        return handler->onAlarm(timer);
    const cb::Callback0<bool> call = callbackCopy();
    return call.empty() || call();
}

void CAlarmTimerPrivate::nameThread(CAlarmTimerThread& run) const
{
    // Not before the start: Qt would convert the name with what it takes down when the process exits meanwhile.
    const CPlainLock guard(state);
    run.setObjectName(QString::fromStdString(name));
    prctl(PR_SET_NAME, name.c_str());
}

} // namespace Kiv
