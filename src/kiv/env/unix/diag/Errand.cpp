#include "kiv/env/unix/diag/Errand.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "kiv/env/unix/diag/CrashHooks.h"
#include "kiv/env/unix/helper/TerminationBlocker.h"

namespace Kiv
{
namespace Diag
{

namespace
{
std::atomic<int> leftAlone{0};
std::atomic<bool> everLeftAlone{false};
} // namespace

struct CErrand::Task
{
    std::function<void()> work;
    std::mutex lock; // guards the flags
    std::condition_variable ended;
    bool hasEnded = false;
    bool isLeftAlone = false;
};

CErrand::CErrand(std::function<void()> work) : task(std::make_shared<Task>())
{
    const CTerminationBlocker blocker;
    task->work = std::move(work);
    thread = std::thread([shared = task] { run(*shared); });
}

CErrand::~CErrand()
{
    if (wait(0))
        return;
    const std::lock_guard<std::mutex> guard(task->lock);
    if (!task->hasEnded)
    {
        task->isLeftAlone = true;
        ++leftAlone;
        everLeftAlone = true;
    }
    thread.detach();
}

void CErrand::run(Task& task)
{
    prepareLibraryThread();
    try
    {
        task.work();
    }
    catch (...) // an appender may throw anything
    {}
    const std::lock_guard<std::mutex> guard(task.lock);
    task.hasEnded = true;
    if (task.isLeftAlone)
        --leftAlone;
    task.ended.notify_all();
}

bool CErrand::wait(int slices) noexcept
{
    if (!thread.joinable()) // waited for already
        return true;
    const CTerminationBlocker blocker;
    {
        std::unique_lock<std::mutex> guard(task->lock);
        for (int slice = 0; !task->hasEnded && slice < slices; ++slice)
            task->ended.wait_for(guard, std::chrono::milliseconds(sliceMsecs));
        if (!task->hasEnded)
            return false;
    }
    thread.join();
    return true;
}

bool CErrand::anyLeftAlone() { return leftAlone > 0; }

bool CErrand::anyEverLeftAlone() { return everLeftAlone; }

} // namespace Diag
} // namespace Kiv
