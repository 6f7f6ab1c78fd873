/// A gate at which one thread waits until another opens it.
#ifndef KIV_PUMPSTATION_GATE_H
#define KIV_PUMPSTATION_GATE_H

#include <chrono>
#include <condition_variable>
#include <mutex>

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
        opened.notify_all();
    }

    /// False if the gate stayed closed for so long.
    bool waitUntilOpen(std::chrono::milliseconds limit)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return opened.wait_for(lock, limit, [this] { return isOpen; });
    }

private:
    std::mutex mutex;
    std::condition_variable opened;
    bool isOpen = false;
};

} // namespace PumpStation

#endif
