/// A gate at which one thread waits until another opens it.
#ifndef KIV_PUMPSTATION_GATE_H
#define KIV_PUMPSTATION_GATE_H

#include <mutex>

#include <kiv/Deadline.h>
#include <kiv/TimedCondition.h>

namespace PumpStation
{

/// Threads: safe from any thread. What a thread did before it opened the gate is seen by the one that went through.
class CGate
{
public:
    void close()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isOpen = false;
    }

    void open()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isOpen = true;
        opened.wakeAll();
    }

    /// False if the gate stayed closed until then.
    bool waitUntilOpen(const Kiv::CDeadline& limit)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return opened.wait(lock, limit, [this] { return isOpen; });
    }

private:
    std::mutex mutex;
    Kiv::CTimedCondition opened;
    bool isOpen = false;
};

} // namespace PumpStation

#endif
