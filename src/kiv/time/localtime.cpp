#include "kiv/time/localtime.h"

#include <mutex>

namespace Kiv
{

CMutex& timeLibraryLock()
{
    static CMutex& lock = *new CMutex;
    return lock;
}

std::tm localTime(std::time_t moment)
{
    const std::lock_guard<CMutex> guard(timeLibraryLock());
    // Not localtime_r, which would not notice that the process has changed its TZ.
    const std::tm* const result = std::localtime(&moment);
    return result ? *result : std::tm{};
}

} // namespace Kiv
