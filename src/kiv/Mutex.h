/// A recursive mutex whose header names no threading library.
#ifndef KIV_MUTEX_H
#define KIV_MUTEX_H

#include <memory>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CMutexPrivate;

/// A recursive mutex: its owner may lock it again and unlocks it as often as it locked it.
///
/// It meets the standard's BasicLockable, so std::lock_guard<CMutex> works. There is no try-lock and no timed lock.
///
/// Threads: safe from any thread; unlock() belongs to the thread that locked.
/// Errors: none. Destroying a locked mutex is a mistake of the caller.
class KIV_API CMutex
{
public:
    CMutex();
    ~CMutex();
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    /// Waits until the mutex is free or already the caller's, then takes it once more.
    void lock();

    /// Gives up one of the caller's locks; the last one frees the mutex.
    void unlock();

private:
    std::unique_ptr<CMutexPrivate> d;
};

} // namespace Kiv

#endif
