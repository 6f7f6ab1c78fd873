// How logging ends. exit() calls the destructor of `gateKeeper` behind those of all objects of the program, static
// timers and threads included, and before those of log4cplus, since this library needs that one.
//
// log4cplus closes its appenders when it goes, which waits for their locks. Where one is held for good, by a thread
// that stands in a full pipe or that was interrupted by the signal whose handler calls exit(), the process would never
// end; nor would it where the standard streams are flushed into that pipe. So it is ended here then, with its status.
#include "kiv/env/unix/diag/LogGate.h"

#include <exception>
#include <functional>
#include <utility>

#include <unistd.h>

#include <log4cplus/logger.h>
#include <log4cplus/thread/syncprims.h>

#include "kiv/env/unix/diag/Errand.h"

namespace Kiv
{
namespace Diag
{

namespace
{

constexpr int recordSlices = 100;
constexpr int lockSlices = 100;

/// True when no other thread is inside; the caller may have been interrupted inside.
bool waitUntilLeft()
{
    for (int slice = 0; (LogGate::state & ~LogGate::closed) != LogGate::passesHere; ++slice)
    {
        if (slice == recordSlices)
            return false;
        usleep(CErrand::sliceMsecs * 1000);
    }
    return true;
}

void takeEachLock(log4cplus::Logger logger)
{
    for (const log4cplus::SharedAppenderPtr& appender : logger.getAllAppenders())
        const log4cplus::thread::MutexGuard guard(appender->access_mutex);
}

/// False if the work takes longer; true also if there is no thread for it.
bool isDoneWithin(int slices, std::function<void()> work)
{
    try
    {
        return CErrand(std::move(work)).wait(slices);
    }
    catch (const std::exception&)
    {
        return true;
    }
}

/// True if all locks are free that log4cplus takes while it closes its appenders.
bool canBeClosed()
{
    return isDoneWithin(lockSlices, [] {
        takeEachLock(log4cplus::Logger::getRoot());
        for (const log4cplus::Logger& logger : log4cplus::Logger::getCurrentLoggers())
            takeEachLock(logger);
    });
}

/// Flushes all streams now, unless the log never was held up and they may have a reader who takes his time.
bool canBeFlushed(bool isLogUsable)
{
    return (isLogUsable && !CErrand::anyEverLeftAlone()) || CProcessExit::flushStreams();
}

class CGateKeeper
{
public:
    CGateKeeper() { log4cplus::Logger::getRoot(); } // log4cplus is there before, so its end comes behind
    ~CGateKeeper()
    {
        const CTerminationBlocker blocker;
        LogGate::state |= LogGate::closed;
        const bool isLogUsable = waitUntilLeft() && canBeClosed();
        if (!canBeFlushed(isLogUsable) || !isLogUsable)
            CProcessExit::endNow();
    }
    CGateKeeper(const CGateKeeper&) = delete;
    CGateKeeper& operator=(const CGateKeeper&) = delete;
};

const CGateKeeper gateKeeper;

} // namespace

} // namespace Diag
} // namespace Kiv
