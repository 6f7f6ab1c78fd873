// The application's threads and the timer's thread meet in CAlarmTimerPrivate. The timer's thread shares its ownership
// and touches nothing else, since it may outlive the CAlarmTimer: in a handler that destroys its own timer, and when a
// handler does not end within the limit of stop().
//
// `state` guards all of CAlarmTimerPrivate that is neither constant nor atomic. It is held neither while anything is
// logged nor in a handler, and no other lock is taken under it but those of starting a thread.
//
// A run is one CAlarmTimerThread. `over` is its end, set under `state` and for good; only the run that is not over
// counts alarms. A thread whose run is over may still be in a handler or in its last log line while the next one
// starts.
//
// stop() waits for nobody's log: its own lines are written by an errand. The last line of the run waits until that has
// said that the timer is stopped, or until stop() has given up.
#include <kiv/AlarmTimer.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>

#include <sys/prctl.h>

#include "kiv/env/qt/core/AlarmTurns.h"
#include "kiv/env/qt/core/FinalOverrider.h"
#include "kiv/env/qt/core/TerminableThread.h"
#include "kiv/env/unix/diag/StopRecord.h"
#include "kiv/env/unix/diag/logging.h"

namespace Kiv
{

namespace
{

constexpr const char* thisFile = "../../src/kiv/env/qt/core/AlarmTimerQtV2";
constexpr int leastEndSlices = 2; // what is left for the end of a run when logging has taken all of the time

const log4cplus::Logger& timerLogger()
{
    static const log4cplus::Logger& logger = *new log4cplus::Logger(log4cplus::Logger::getInstance("AlarmTimerLogger"));
    return logger;
}

// The first call allocates and needs log4cplus: it shall not be that of a destructor late in exit().
[[maybe_unused]] const log4cplus::Logger& loggerFromTheBeginning = timerLogger();

/// What a timer logs is of use only where somebody has asked for it; to a logger without any appender, log4cplus
/// answers with a complaint on standard error.
bool isListenedTo(log4cplus::Logger logger)
{
    while (logger.getAllAppenders().empty())
    {
        if (!logger.getAdditivity() || logger.getName() == log4cplus::Logger::getRoot().getName())
            return false;
        logger = logger.getParent();
    }
    return true;
}

constexpr qint64 announcementLimitMsecs = 1000;

/// How many alarms are to come at the start of a count; without end, one is always to come.
unsigned alarmsOf(unsigned cycleCount) { return cycleCount != 0 ? cycleCount : 1; }

} // namespace

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
    bool skipped = false;    // its own thread's: the last alarm reached no handler because the run was over

protected:
    void body() override;

private:
    static bool deliver(const AlarmCall& alarm);

    static thread_local CAlarmTimerThread* runningHere;
};

thread_local CAlarmTimerThread* CAlarmTimerThread::runningHere = nullptr;

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
            Diag::logAt(timerLogger(), level, {thisFile, line, function}, std::forward<MakeText>(makeText));
    }

    std::atomic<unsigned> interval;
    std::atomic<bool> debug{false};

private:
    static std::atomic<int> instanceCount;

    void countAlarm();
    bool launchRun();
    std::shared_ptr<CAlarmTimerThread> endRunInProgress();
    Diag::CStopRecord stopRecord(const Diag::CSourcePlace& place, const char* event) const;
    int announceStop(const Diag::CSourcePlace& place) const;
    static bool waitEnded(CAlarmTimerThread& run, int slices);
    void letFinish(CAlarmTimerThread& run);
    bool forget(const std::shared_ptr<CAlarmTimerThread>& run);

    CAlarmTimer* const owner; // exists as long as a run is not over
    IAlarmHandler* const handler;
    unsigned cycleCount;
    unsigned remaining = 0;
    cb::Callback0<bool> callback;
    std::shared_ptr<CAlarmTimerThread> thread;
    CSyncCondition wakeup;
    QDeadlineTimer deadline{Qt::PreciseTimer};
    mutable CPlainMutex state;
    std::string name;
};

std::atomic<int> CAlarmTimerPrivate::instanceCount{0};

void CAlarmTimerThread::body()
{
    const auto log = [this](log4cplus::LogLevel level, int line, const char* before, const char* after = "") {
        CAlarmTimerPrivate::log(level, line, "run", [&] { return before + timer->nameCopy() + after; });
    };
    runningHere = this;
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

CAlarmTimerPrivate::CAlarmTimerPrivate(CAlarmTimer* timer, unsigned alarmInterval, unsigned count,
                                       IAlarmHandler* alarmHandler)
    : interval(alarmInterval), owner(timer), handler(alarmHandler), cycleCount(count),
      name("AlarmTimer " + std::to_string(instanceCount++))
{}

bool CAlarmTimerPrivate::start()
{
    const std::lock_guard<CPlainMutex> guard(state);
    deadline.setRemainingTime(interval, Qt::PreciseTimer);
    if (thread && !thread->over)
    {
        wakeup.wakeAll();
        return true;
    }
    remaining = alarmsOf(cycleCount);
    return launchRun();
}

bool CAlarmTimerPrivate::launchRun()
{
    const auto giveUp = [](CTerminableThread* run) {
        CTerminableThread::giveUp(std::unique_ptr<CTerminableThread>(run));
    };
    thread = std::shared_ptr<CAlarmTimerThread>(new CAlarmTimerThread(shared_from_this()), giveUp);
    if (thread->launch(QThread::TimeCriticalPriority))
        return true;
    thread.reset();
    return false;
}

void CAlarmTimerPrivate::stop(const Diag::CSourcePlace& place)
{
    const std::shared_ptr<CAlarmTimerThread> run = endRunInProgress();
    const int slicesLeft = announceStop(place);
    if (run == nullptr)
        return;
    letFinish(*run);
    if (run.get() == CAlarmTimerThread::current() || waitEnded(*run, slicesLeft))
        return;
    if (forget(run) && run->terminateBody())
        stopRecord({thisFile, __LINE__, place.function}, "Timer thread terminated for timer ").wait();
}

std::shared_ptr<CAlarmTimerThread> CAlarmTimerPrivate::endRunInProgress()
{
    std::shared_ptr<CAlarmTimerThread> run;
    {
        const std::lock_guard<CPlainMutex> guard(state);
        if (!thread || !thread->isRunning())
            return nullptr;
        run = thread;
        run->isAnnounced = run->over.exchange(true);
        wakeup.wakeAll();
    }
    CAlarmTurns::instance().wakeCancelled();
    return run;
}

Diag::CStopRecord CAlarmTimerPrivate::stopRecord(const Diag::CSourcePlace& place, const char* event) const
{
    return Diag::CStopRecord(
        timerLogger(), log4cplus::INFO_LOG_LEVEL, place, [&] { return event + nameCopy(); }, isListenedTo);
}

int CAlarmTimerPrivate::announceStop(const Diag::CSourcePlace& place) const
{
    Diag::CStopRecord stopping = stopRecord(place, "Stopping Timer ");
    int slicesLeft = Diag::CStopRecord::stopSlices;
    while (slicesLeft > leastEndSlices && !stopping.wait(1))
        --slicesLeft;
    return slicesLeft;
}

bool CAlarmTimerPrivate::waitEnded(CAlarmTimerThread& run, int slices)
{
    while (slices-- > 0)
        if (run.waitEnded(Diag::CErrand::sliceMsecs))
            return true;
    return false;
}

void CAlarmTimerPrivate::letFinish(CAlarmTimerThread& run)
{
    const std::lock_guard<CPlainMutex> guard(state);
    run.isAnnounced = true;
    wakeup.wakeAll();
}

bool CAlarmTimerPrivate::forget(const std::shared_ptr<CAlarmTimerThread>& run)
{
    const std::lock_guard<CPlainMutex> guard(state);
    if (thread != run)
        return false;
    thread.reset();
    return true;
}

void CAlarmTimerPrivate::abandon()
{
    std::shared_ptr<CAlarmTimerThread> last;
    const std::lock_guard<CPlainMutex> guard(state);
    last.swap(thread);
}

std::optional<AlarmCall> CAlarmTimerPrivate::nextAlarm(CAlarmTimerThread& run)
{
    const std::lock_guard<CPlainMutex> guard(state);
    while (!run.over && remaining != 0)
    {
        if (deadline.hasExpired())
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
        deadline.setRemainingTime(0, Qt::PreciseTimer); // a later interval counts from here, not from the start
    else
        deadline += msecs;
    if (cycleCount != 0)
        --remaining;
}

void CAlarmTimerPrivate::endRun(CAlarmTimerThread& run)
{
    const std::lock_guard<CPlainMutex> guard(state);
    run.over = true;
    const QDeadlineTimer limit(announcementLimitMsecs, Qt::PreciseTimer);
    while (!run.isAnnounced && wakeup.wait(state, limit)) // stop() sees to it, as long as its thread goes on
    {}
}

bool CAlarmTimerPrivate::dispatch(CAlarmTimer* timer, CAlarmTimerThread* run)
{
    const CAlarmTurn turn(run != nullptr ? &run->over : nullptr);
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

void CAlarmTimerPrivate::setCycleCount(unsigned count)
{
    const std::lock_guard<CPlainMutex> guard(state);
    cycleCount = count;
    remaining = alarmsOf(count);
}

void CAlarmTimerPrivate::setName(const std::string& newName)
{
    const std::lock_guard<CPlainMutex> guard(state);
    name = newName;
    if (thread && thread->kernelId() != 0) // a thread that has not begun may be reading its name
        thread->setObjectName(QString::fromStdString(name));
}

void CAlarmTimerPrivate::nameThread(CAlarmTimerThread& run) const
{
    // Not before the start: Qt would convert the name with what it takes down when the process exits meanwhile.
    const std::lock_guard<CPlainMutex> guard(state);
    run.setObjectName(QString::fromStdString(name));
    prctl(PR_SET_NAME, name.c_str());
}

void CAlarmTimerPrivate::setCallback(const cb::Callback0<bool>& newCallback)
{
    const std::lock_guard<CPlainMutex> guard(state);
    callback = newCallback;
}

cb::Callback0<bool> CAlarmTimerPrivate::callbackCopy() const
{
    const std::lock_guard<CPlainMutex> guard(state);
    return callback;
}

bool CAlarmTimerPrivate::isStarted() const
{
    const std::lock_guard<CPlainMutex> guard(state);
    return thread && thread->isRunning();
}

std::string CAlarmTimerPrivate::nameCopy() const
{
    const std::lock_guard<CPlainMutex> guard(state);
    return name;
}

IAlarmHandler::~IAlarmHandler() = default;

CAlarmTimerManager::~CAlarmTimerManager() = default;

CAlarmTimer::CAlarmTimer(unsigned int interval, unsigned int cycleCount, IAlarmHandler* handler, CAlarmTimerManager*)
    : d(std::make_shared<CAlarmTimerPrivate>(this, interval, cycleCount, handler))
{}

CAlarmTimer::~CAlarmTimer()
{
    const CTerminationBlocker blocker; // a termination that unwinds a destructor ends the process
    CAlarmTimer::stop();
    d->abandon();
}

void CAlarmTimer::start()
{
    if (!d->start())
        d->log(log4cplus::ERROR_LOG_LEVEL, __LINE__, __func__,
               [this] { return "No thread for timer " + d->nameCopy(); });
}

std::uint32_t CAlarmTimer::stop()
{
    d->stop({thisFile, __LINE__, __func__});
    return 0;
}

bool CAlarmTimer::alarm()
{
    // While the timer's thread was on its way here, the timer may have gone.
    CAlarmTimerThread* const run = CAlarmTimerThread::current();
    if (run == nullptr || !run->timer->isOwnedBy(this))
        return d->dispatch(this, nullptr);
    return run->timer->dispatch(this, run);
}

void CAlarmTimer::setAlarmCallback(const cb::Callback0<bool>& callback) { d->setCallback(callback); }

bool CAlarmTimer::isStarted() const { return d->isStarted(); }

unsigned int CAlarmTimer::getInterval() const { return d->interval; }

void CAlarmTimer::setInterval(unsigned int interval) { d->interval = interval; }

void CAlarmTimer::setCycleCount(unsigned int count) { d->setCycleCount(count); }

void CAlarmTimer::enableDebug(bool enable) { d->debug = enable; }

bool CAlarmTimer::isDebugEnabled() const { return d->debug; }

void CAlarmTimer::printDebugState() const {}

void CAlarmTimer::setName(const std::string& name)
{
    d->log(log4cplus::INFO_LOG_LEVEL, __LINE__, __func__,
           [&] { return "Set name of " + d->nameCopy() + " to " + name; });
    d->setName(name);
}

std::string CAlarmTimer::name() const { return d->nameCopy(); }

CAlarmTimerManager* CAlarmTimer::createTimerManager() { return new CAlarmTimerManager; }

} // namespace Kiv
