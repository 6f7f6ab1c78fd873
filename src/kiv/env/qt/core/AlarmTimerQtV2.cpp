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

#include "kiv/env/qt/core/AlarmTimerPrivate.h"
#include "kiv/env/qt/core/AlarmTurns.h"

namespace Kiv
{

namespace
{

constexpr int leastEndSlices = 2; // what is left for the end of a run when logging has taken all of the time

/// How many alarms are to come at the start of a count; without end, one is always to come.
unsigned alarmsOf(unsigned cycleCount) { return cycleCount != 0 ? cycleCount : 1; }

} // namespace

const log4cplus::Logger& timerLogger()
{
    static const log4cplus::Logger& logger = *new log4cplus::Logger(log4cplus::Logger::getInstance("AlarmTimerLogger"));
    return logger;
}

// The first call allocates and needs log4cplus: it shall not be that of a destructor late in exit().
[[maybe_unused]] static const log4cplus::Logger& loggerFromTheBeginning = timerLogger();

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

std::atomic<int> CAlarmTimerPrivate::instanceCount{0};

CAlarmTimerPrivate::CAlarmTimerPrivate(CAlarmTimer* timer, unsigned alarmInterval, unsigned count,
                                       IAlarmHandler* alarmHandler)
    : interval(alarmInterval), owner(timer), handler(alarmHandler), cycleCount(count),
      name("AlarmTimer " + std::to_string(instanceCount++))
{}

bool CAlarmTimerPrivate::start()
{
    const CPlainLock guard(state);
    deadline = CDeadline::in(std::chrono::milliseconds(interval));
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
    thread->setScheduling(scheduling);
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
        stopRecord({alarmTimerFile, __LINE__, place.function}, "Timer thread terminated for timer ").wait();
}

std::shared_ptr<CAlarmTimerThread> CAlarmTimerPrivate::endRunInProgress()
{
    std::shared_ptr<CAlarmTimerThread> run;
    {
        const CPlainLock guard(state);
        if (!thread || !thread->isThere())
            return nullptr;
        run = thread;
        run->isAnnounced = run->over.exchange(true);
        wakeup.wakeAll();
    }
    CAlarmTurns::instance().wakeCancelled();
    ownTurns.wakeCancelled();
    if (run.get() != CAlarmTimerThread::current()) // one that stops itself still has its say
        run->interruption.interrupt();
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
    {
        if (run.waitEnded(CDeadline::in(std::chrono::milliseconds(Diag::CErrand::sliceMsecs))))
            return true;
        run.interruption.interrupt(); // once more: it may just have been falling asleep
    }
    return false;
}

void CAlarmTimerPrivate::letFinish(CAlarmTimerThread& run)
{
    const CPlainLock guard(state);
    run.isAnnounced = true;
    wakeup.wakeAll();
}

bool CAlarmTimerPrivate::forget(const std::shared_ptr<CAlarmTimerThread>& run)
{
    const CPlainLock guard(state);
    if (thread != run)
        return false;
    thread.reset();
    return true;
}

void CAlarmTimerPrivate::abandon()
{
    std::shared_ptr<CAlarmTimerThread> last;
    const CPlainLock guard(state);
    last.swap(thread);
}

void CAlarmTimerPrivate::setCycleCount(unsigned count)
{
    const CPlainLock guard(state);
    cycleCount = count;
    remaining = alarmsOf(count);
}

void CAlarmTimerPrivate::setName(const std::string& newName)
{
    const CPlainLock guard(state);
    name = newName;
    if (thread && thread->kernelId() != 0) // a thread that has not begun may be reading its name
        thread->setObjectName(QString::fromStdString(name));
}

void CAlarmTimerPrivate::setCallback(const cb::Callback0<bool>& newCallback)
{
    const CPlainLock guard(state);
    callback = newCallback;
}

cb::Callback0<bool> CAlarmTimerPrivate::callbackCopy() const
{
    const CPlainLock guard(state);
    return callback;
}

bool CAlarmTimerPrivate::isStarted() const
{
    const CPlainLock guard(state);
    return thread && thread->isThere();
}

std::string CAlarmTimerPrivate::nameCopy() const
{
    const CPlainLock guard(state);
    return name;
}

int CAlarmTimerPrivate::setRealTimePriority(eRealTimePolicy policy, int priority)
{
    const CPlainLock guard(state);
    if (const int result = scheduling.setPriority(policy, priority, 0))
        return result;
    return thread ? thread->setRealTimePriority(policy, priority) : 0;
}

int CAlarmTimerPrivate::setProcessors(const std::vector<unsigned int>& processors)
{
    const CPlainLock guard(state);
    if (const int result = scheduling.setProcessors(processors, 0))
        return result;
    return thread ? thread->setProcessors(processors) : 0;
}

bool CAlarmTimerPrivate::isRealTime() const
{
    const CPlainLock guard(state);
    return thread && thread->isRealTime();
}

int CAlarmTimerPrivate::realTimePriority() const
{
    const CPlainLock guard(state);
    return thread ? thread->realTimePriority() : 0;
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
    d->stop({alarmTimerFile, __LINE__, __func__});
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

void CAlarmTimer::takeTurns(bool turns) { d->inTurn = turns; }

bool CAlarmTimer::takesTurns() const { return d->inTurn; }

int CAlarmTimer::setRealTimePriority(eRealTimePolicy policy, int priority)
{
    return d->setRealTimePriority(policy, priority);
}

int CAlarmTimer::setProcessors(const std::vector<unsigned int>& processors) { return d->setProcessors(processors); }

bool CAlarmTimer::isRealTime() const { return d->isRealTime(); }

int CAlarmTimer::realTimePriority() const { return d->realTimePriority(); }

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
