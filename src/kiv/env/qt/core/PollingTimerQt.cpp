#include <cstdint>

#include <kiv/PollingTimer.h>

#include <QElapsedTimer>

namespace Kiv
{

namespace
{
const QElapsedTimer* startAndReturnTimer()
{
    static QElapsedTimer timer;
    timer.start();
    return &timer;
}
} // namespace

unsigned long CPollingTimer::getMilliSec()
{
    static const QElapsedTimer* const timer = startAndReturnTimer();
    return static_cast<std::uint32_t>(timer->elapsed());
}

} // namespace Kiv
