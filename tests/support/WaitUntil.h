/// Waiting for what other threads do, with a limit that no working program comes near.
#ifndef KIV_TESTS_WAITUNTIL_H
#define KIV_TESTS_WAITUNTIL_H

#include <chrono>
#include <functional>
#include <thread>

/// True as soon as the condition is; false after half a minute.
inline bool waitUntil(const std::function<bool()>& condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

#endif
