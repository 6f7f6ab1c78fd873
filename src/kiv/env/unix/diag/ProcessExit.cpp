#include "kiv/env/unix/diag/ProcessExit.h"

#include <cstdio>
#include <exception>

#include <sys/syscall.h>
#include <unistd.h>

#include "kiv/env/unix/diag/Errand.h"

namespace Kiv
{
namespace Diag
{

namespace
{
constexpr int flushSlices = 50;
} // namespace

void CProcessExit::endNow()
{
    for (;;)
        syscall(SYS_exit_group, exitStatus.load()); // _exit() flushes the streams under ThreadSanitizer
}

bool CProcessExit::flushStreams()
{
    try
    {
        return CErrand([] { std::fflush(nullptr); }).wait(flushSlices);
    }
    catch (const std::exception&) // no thread for it
    {
        return true;
    }
}

void CProcessExit::cutShort()
{
    flushStreams();
    endNow();
}

} // namespace Diag
} // namespace Kiv
