#include "TerminableThread.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include <unistd.h>

#include "../../unix/diag/LogRing.h"

namespace Kiv
{

namespace
{

constexpr qint64 beginLimitMsecs = 1000;
constexpr int stopSlices = 10;
constexpr unsigned long stopSliceMsecs = 10;

// Qt takes the first thread that meets it for the main thread, and while that one ends it leaks what it keeps about the
// others. So it meets the thread that loads the library, which lasts.
[[maybe_unused]] const QThread* const qtMainThread = QThread::currentThread();

/// The threads that were given up before they ended. Never destroyed: they may outlive every other object.
struct ThreadPark
{
    CPlainMutex lock;
    std::vector<std::unique_ptr<CTerminableThread>> threads;
};

ThreadPark& park()
{
    static ThreadPark& threads = *new ThreadPark;
    return threads;
}

} // namespace

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
    const std::lock_guard<CPlainMutex> guard(gate);
    if (state == StateStarting || state == StateRunning)
        return true;
    if (state == StateEnded)
        wait(); // Qt is still cleaning up after the last body, and would ignore a start
    state = StateStarting;
    start(priority);
    if (!isRunning())
    {
        state = StateIdle;
        return false;
    }
    const QDeadlineTimer limit(beginLimitMsecs, Qt::PreciseTimer);
    while (state == StateStarting && !limit.hasExpired())
        begun.wait(gate, limit);
    return true;
}

bool CTerminableThread::waitEnded(unsigned long msecs)
{
    const bool ended = wait(msecs);
    if (ended)
        happensAfter(this);
    return ended;
}

bool CTerminableThread::waitEndedForStop()
{
    for (int slice = 0; slice < stopSlices; ++slice)
        if (waitEnded(stopSliceMsecs))
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

void CTerminableThread::close()
{
    const std::lock_guard<CPlainMutex> guard(gate);
    closed = true;
}

bool CTerminableThread::terminateBody()
{
    const std::lock_guard<CPlainMutex> guard(gate);
    if (state != StateRunning)
        return false;
    terminate();
    return true;
}

void CTerminableThread::giveUp(std::unique_ptr<CTerminableThread> thread)
{
    const auto runs = [](const std::unique_ptr<CTerminableThread>& parked) { return !parked->hasEnded(); };
    std::vector<std::unique_ptr<CTerminableThread>> ended;
    {
        const std::lock_guard<CPlainMutex> guard(park().lock);
        auto& threads = park().threads;
        threads.push_back(std::move(thread));
        const auto firstEnded = std::partition(threads.begin(), threads.end(), runs);
        ended.assign(std::make_move_iterator(firstEnded), std::make_move_iterator(threads.end()));
        threads.erase(firstEnded, threads.end());
    }
    const CFinishedThreadDeletion deletion;
    ended.clear();
}

void CTerminableThread::run()
{
    // for good: a termination that is still pending must not take effect while Qt cleans up
    setTerminationEnabled(false);
    Diag::prepareLibraryThread();
    const CEndMark mark(*this);
    if (begin())
        body();
}

bool CTerminableThread::begin()
{
    const std::lock_guard<CPlainMutex> guard(gate);
    id = static_cast<std::uint64_t>(gettid());
    state = StateRunning;
    begun.wakeAll();
    return !closed;
}

void CTerminableThread::end()
{
    {
        const std::lock_guard<CPlainMutex> guard(gate);
        state = StateEnded;
    }
    happensBefore(this);
}

} // namespace Kiv
