#include "kiv/env/qt/core/TerminableThread.h"

#include <algorithm>
#include <new>
#include <utility>

#include <unistd.h>

#include "kiv/env/unix/diag/CrashHooks.h"

namespace Kiv
{

namespace
{

using std::chrono::milliseconds;

constexpr milliseconds beginLimit{1000};
constexpr int stopSlices = 10;
constexpr milliseconds stopSlice{10};
constexpr milliseconds longestWait = std::chrono::hours(1); // QThread::wait() counts milliseconds in 32 bits on some

// Qt takes the first thread that meets it for the main thread, and while that one ends it leaks what it keeps about the
// others. So it meets the thread that loads the library, which lasts.
[[maybe_unused]] const QThread* const qtMainThread = QThread::currentThread();

/// The threads that were given up before they ended, as a list through `nextParked`. Never destroyed: they may outlive
/// every other object. Not on the heap either: the first to come may be a destructor without memory.
struct ThreadPark
{
    CPlainMutex lock;
    std::unique_ptr<CTerminableThread> first KIV_GUARDED_BY(lock);
};

ThreadPark& park()
{
    alignas(ThreadPark) static unsigned char place[sizeof(ThreadPark)];
    static ThreadPark& threads = *new (place) ThreadPark;
    return threads;
}

} // namespace

thread_local const CTerminableThread* CTerminableThread::threadHere = nullptr;

/// Marks the end of the body also when a termination unwinds it.
class CTerminableThread::CEndMark
{
public:
    explicit CEndMark(CTerminableThread& ending) : thread(ending) {}
    ~CEndMark() { thread.end(); }
    CEndMark(const CEndMark&) = delete;
    CEndMark& operator=(const CEndMark&) = delete;

private:
    CTerminableThread& thread;
};

bool CTerminableThread::launch(Priority priority)
{
    const bool inherits = isPolicyInherited();
    const CTerminationBlocker blocker;
    const CPlainLock guard(gate);
    if (state == StateStarting || state == StateRunning)
        return true;
    if (state == StateEnded)
        wait(); // Qt is still cleaning up after the last body, and would ignore a start
    state = StateStarting;
    if ((source = Time::source()) != nullptr)
        token = source->addThread();
    start(inherits && !scheduling.hasPolicy() ? InheritPriority : priority); // Qt's own ones mean ordinary scheduling
    if (!isRunning())
    {
        state = StateIdle;
        if (source != nullptr)
            source->endThread(token);
        return false;
    }
    const CDeadline limit = CDeadline::in(beginLimit);
    while (state == StateStarting && changed.wait(gate, limit))
    {}
    return true;
}

int CTerminableThread::setRealTimePriority(eRealTimePolicy policy, int priority)
{
    const CPlainLock guard(gate);
    return scheduling.setPriority(policy, priority, runningId());
}

int CTerminableThread::setProcessors(const std::vector<unsigned int>& processors)
{
    const CPlainLock guard(gate);
    return scheduling.setProcessors(processors, runningId());
}

void CTerminableThread::setScheduling(const CThreadScheduling& wanted)
{
    const CPlainLock guard(gate);
    scheduling = wanted;
}

bool CTerminableThread::isRealTime()
{
    const CPlainLock guard(gate);
    return runningId() != 0 && isRealTimeThread(runningId());
}

int CTerminableThread::realTimePriority()
{
    const CPlainLock guard(gate);
    return runningId() != 0 ? realTimePriorityOf(runningId()) : 0;
}

/// 0 unless the body runs; under `gate`.
pid_t CTerminableThread::runningId() const { return state == StateRunning ? static_cast<pid_t>(id) : 0; }

bool CTerminableThread::waitEnded(const CDeadline& deadline)
{
    if (runsHere())
        return false;
    // Terminated in here, the caller would leave the lock of the thread that it waits for taken for ever.
    const CTerminationBlocker blocker;
    ITimeSource* const other = Time::source();
    const bool ended = other != nullptr ? waitInTimeOf(*other, deadline) : waitInRealTime(deadline);
    if (ended)
        happensAfter(this);
    return ended;
}

/// In slices where it takes long, or the clock is one that QThread::wait() does not follow.
bool CTerminableThread::waitInRealTime(const CDeadline& deadline)
{
    for (;;)
    {
        const auto left = Time::realWaitLimit(deadline) - CDeadline::now();
        const auto slice = std::clamp(std::chrono::ceil<milliseconds>(left), milliseconds::zero(), longestWait);
        if (wait(static_cast<unsigned long>(slice.count())))
            return true;
        if (deadline.isExpired())
            return false;
    }
}

/// The end of the body has its time; Qt's last steps on the thread have none, and are waited for as they come.
bool CTerminableThread::waitInTimeOf(ITimeSource& other, const CDeadline& deadline)
{
    {
        const CPlainLock guard(gate);
        CHeldMutex held(gate);
        while (state == StateStarting || state == StateRunning)
            if (!waitOn(other, &changed, held, deadline))
                return false;
    }
    return wait();
}

bool CTerminableThread::waitEndedForStop()
{
    for (int slice = 0; slice < stopSlices && !runsHere(); ++slice)
        if (waitEnded(CDeadline::in(stopSlice)))
            return true;
    return false;
}

bool CTerminableThread::hasEnded()
{
    const bool ended = !isRunning();
    if (ended)
        happensAfter(this);
    return ended;
}

bool CTerminableThread::isThere()
{
    if (Time::source() == nullptr)
        return isRunning();
    const CPlainLock guard(gate);
    return state == StateStarting || state == StateRunning;
}

void CTerminableThread::close()
{
    const CPlainLock guard(gate);
    closed = true;
}

bool CTerminableThread::terminateBody()
{
    const CPlainLock guard(gate);
    if (state != StateRunning || runsHere())
        return false;
    terminate();
    return true;
}

void CTerminableThread::giveUp(std::unique_ptr<CTerminableThread> thread)
{
    const CTerminationBlocker blocker; // the deletion of a QThread waits for Qt's last steps on it
    const auto push = [](std::unique_ptr<CTerminableThread>& list, std::unique_ptr<CTerminableThread> added) {
        added->nextParked = std::move(list);
        list = std::move(added);
    };
    const auto pop = [](std::unique_ptr<CTerminableThread>& list) {
        std::unique_ptr<CTerminableThread> popped = std::move(list);
        list = std::move(popped->nextParked);
        return popped;
    };
    std::unique_ptr<CTerminableThread> ended;
    {
        const CPlainLock guard(park().lock);
        push(park().first, std::move(thread));
        for (auto* place = &park().first; *place;)
        {
            if ((*place)->hasEnded())
                push(ended, pop(*place));
            else
                place = &(*place)->nextParked;
        }
    }
    const CFinishedThreadDeletion deletion;
    while (ended)
        pop(ended);
}

void CTerminableThread::run()
{
    // for good: a termination that is still pending must not take effect while Qt cleans up
    setTerminationEnabled(false);
    threadHere = this;
    if (source != nullptr)
        source->beginThread(token);
    Diag::prepareLibraryThread();
    prepare();
    const CEndMark mark(*this);
    CThreadScheduling::Refusals refusals;
    const bool isWanted = begin(refusals);
    touchStack();
    logRefusals(refusals, shownName());
    if (isWanted)
        body();
}

bool CTerminableThread::begin(CThreadScheduling::Refusals& refusals)
{
    const CPlainLock guard(gate);
    id = static_cast<std::uint64_t>(gettid());
    refusals = scheduling.apply();
    state = StateRunning;
    changed.wakeAll();
    return !closed;
}

void CTerminableThread::end()
{
    ITimeSource* tookPartIn = nullptr;
    void* tookPartAs = nullptr;
    {
        const CPlainLock guard(gate);
        state = StateEnded;
        tookPartIn = source; // the next launch() sets both anew
        tookPartAs = token;
        if (Time::source() != nullptr)
            changed.wakeAll();
    }
    happensBefore(this);
    if (tookPartIn != nullptr)
        tookPartIn->endThread(tookPartAs);
}

} // namespace Kiv
