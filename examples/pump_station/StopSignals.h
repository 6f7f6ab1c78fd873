/// SIGINT and SIGTERM as something to wait for instead of something that interrupts.
#ifndef KIV_PUMPSTATION_STOPSIGNALS_H
#define KIV_PUMPSTATION_STOPSIGNALS_H

#include <chrono>
#include <csignal>

namespace PumpStation
{

/// Holds both signals back, for the thread that makes the object and for all that it starts afterwards: make it before
/// any other thread is there.
class CStopSignals
{
public:
    CStopSignals()
    {
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    }

    /// The number of the signal that has come, or comes within the time; 0 for none.
    int wait(std::chrono::milliseconds limit) const
    {
        const std::timespec time{limit.count() / 1000, limit.count() % 1000 * 1000000};
        const int signal = sigtimedwait(&signals, nullptr, &time);
        return signal > 0 ? signal : 0;
    }

private:
    sigset_t signals{};
};

} // namespace PumpStation

#endif
