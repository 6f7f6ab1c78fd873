// Two threads meet here: `active` and `id` are atomic; begin and end of the body are ordered by CTerminableThread.
// A body may outlive its CThread, so it runs on the private part alone, and isActive() finds that part by the thread
// that asks.
#include <kiv/Thread.h>

#include <atomic>
#include <string>

#include <sys/prctl.h>
#include <unistd.h>

#include <kiv/diag.h>

#include "kiv/env/qt/core/FinalOverrider.h"
#include "kiv/env/qt/core/TerminableThread.h"
#include "kiv/env/unix/diag/StopRecord.h"
#include "kiv/env/unix/diag/logging.h"

namespace Kiv
{

namespace
{
constexpr const char* thisFile = "../../src/kiv/env/qt/core/ThreadQt";

thread_local const CThreadPrivate* runningHere = nullptr;
} // namespace

class CThreadPrivate : public CTerminableThread
{
public:
    CThreadPrivate(CThread* thread, const char* threadName, int threadPriority)
        : owner(thread), name(threadName != nullptr ? threadName : ""), priority(threadPriority)
    {}

    void log(const char* event, const Diag::CSourcePlace& place) const;
    void logOnTheWayOut(const char* event, const Diag::CSourcePlace& place) const;
    std::string textOf(const char* event) const;

    CThread* const owner;
    std::atomic<bool> active{false};
    const char* const name;
    const int priority;
    std::atomic<void (*)(CThread*)> ownerRun{nullptr};

protected:
    void prepare() override;
    const char* shownName() const override { return name; }
    void body() override;
};

std::string CThreadPrivate::textOf(const char* event) const
{
    return Diag::formatted("THREAD: ID: %llu %s %s", static_cast<unsigned long long>(kernelId()), name, event);
}

void CThreadPrivate::log(const char* event, const Diag::CSourcePlace& place) const
{
    Diag::logAt(Diag::diagLogger(), log4cplus::TRACE_LOG_LEVEL, place, [&] { return textOf(event); });
}

void CThreadPrivate::logOnTheWayOut(const char* event, const Diag::CSourcePlace& place) const
{
    Diag::CStopRecord(Diag::diagLogger(), log4cplus::TRACE_LOG_LEVEL, place, [&] { return textOf(event); }).wait();
}

void CThreadPrivate::prepare()
{
    prctl(PR_SET_NAME, name); // not Qt, which would convert the name with what it takes down when the process exits
}

void CThreadPrivate::body()
{
    runningHere = this;
    log("start", {thisFile, __LINE__, __func__});
    {
        const CTerminationWindow window;
        ownerRun.load()(owner);
    }
    active = false;
}

CThread::CThread(const char* name, int priority) : d(std::make_unique<CThreadPrivate>(this, name, priority)) {}

CThread::~CThread()
{
    const CTerminationBlocker blocker; // a termination that unwinds a destructor ends the process
    requestStop();
    d->close();
    if (d->waitEndedForStop())
        d->logOnTheWayOut("finished", {thisFile, __LINE__, __func__});
    else
    {
        d->logOnTheWayOut("terminate", {thisFile, __LINE__, __func__});
        d->terminateBody();
    }
    CTerminableThread::giveUp(std::move(d));
}

void CThread::start()
{
    d->active = true;
    d->ownerRun = finalOverrider(*this, &CThread::run);
    if (!d->launch(static_cast<QThread::Priority>(d->priority)))
        d->active = false;
}

int CThread::setRealTimePriority(eRealTimePolicy policy, int priority)
{
    return d->setRealTimePriority(policy, priority);
}

int CThread::setProcessors(const std::vector<unsigned int>& processors) { return d->setProcessors(processors); }

bool CThread::isRealTime() const { return d->isRealTime(); }

int CThread::realTimePriority() const { return d->realTimePriority(); }

void CThread::requestStop() { d->active = false; }

bool CThread::waitForCompletion(unsigned int ms) { return d->waitEnded(CDeadline::in(std::chrono::milliseconds(ms))); }

bool CThread::waitForCompletion(const CDeadline& deadline) { return d->waitEnded(deadline); }

bool CThread::isActive() const
{
    const CThreadPrivate* const here = runningHere;
    return here != nullptr && here->owner == this ? here->active : d->active;
}

std::uint64_t CThread::getId() const { return d->kernelId(); }

// Widened as a signed number: from 2^31 ms on it never ends, and callers use that.
void CThread::sleep(unsigned int ms)
{
    const int signedMs = static_cast<int>(ms);
    Time::sleepUntil(signedMs < 0 ? CDeadline::never() : CDeadline::in(std::chrono::milliseconds(signedMs)));
}

void CThread::sleepUntil(const CDeadline& deadline) { Time::sleepUntil(deadline); }

std::uint64_t CThread::currentThreadId() { return static_cast<std::uint64_t>(gettid()); }

} // namespace Kiv
