/// Qt's mutexes and wait conditions as the library uses them: visible to ThreadSanitizer, safe against forced
/// termination.
///
/// Qt is not built with ThreadSanitizer, which therefore sees none of the order that QMutex, QWaitCondition and
/// QThread::wait create. This header is the one place that tells it; nothing else in the library carries annotations.
#ifndef KIV_QTSYNC_H
#define KIV_QTSYNC_H

#include <QDeadlineTimer>
#include <QMutex>
#include <QWaitCondition>

#include "kiv/env/qt/core/ThreadSafety.h"
#include "kiv/env/unix/helper/TerminationBlocker.h"
#include "kiv/time/TimeSource.h"

#if defined(__SANITIZE_THREAD__)
#define KIV_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KIV_TSAN 1
#endif
#endif

#ifdef KIV_TSAN
#include <sanitizer/tsan_interface.h>
extern "C" void AnnotateIgnoreWritesBegin(const char* file, int line);
extern "C" void AnnotateIgnoreWritesEnd(const char* file, int line);
#endif

namespace Kiv
{

/// Everything before happensBefore(tag) is visible after a later happensAfter(tag).
inline void happensBefore([[maybe_unused]] void* tag)
{
#ifdef KIV_TSAN
    __tsan_release(tag);
#endif
}

inline void happensAfter([[maybe_unused]] void* tag)
{
#ifdef KIV_TSAN
    __tsan_acquire(tag);
#endif
}

/// While a finished QThread is deleted: the last that its thread did was Qt's own, after everything that we could mark.
class CFinishedThreadDeletion
{
public:
#ifdef KIV_TSAN
    CFinishedThreadDeletion() { AnnotateIgnoreWritesBegin(__FILE__, __LINE__); }
    ~CFinishedThreadDeletion() { AnnotateIgnoreWritesEnd(__FILE__, __LINE__); }
#else
    CFinishedThreadDeletion() {}
    ~CFinishedThreadDeletion() {}
#endif
    CFinishedThreadDeletion(const CFinishedThreadDeletion&) = delete;
    CFinishedThreadDeletion& operator=(const CFinishedThreadDeletion&) = delete;
};

/// A QMutex with its order made visible; BasicLockable. A CPlainLock holds it, so that clang sees who does.
template<class Mutex>
class KIV_CAPABILITY CSyncMutex
{
public:
    void lock() KIV_ACQUIRES()
    {
#ifdef KIV_TSAN
        __tsan_mutex_pre_lock(this, tsanFlags);
#endif
        mutex.lock();
#ifdef KIV_TSAN
        __tsan_mutex_post_lock(this, tsanFlags, 1);
#endif
    }

    void unlock() KIV_RELEASES()
    {
#ifdef KIV_TSAN
        __tsan_mutex_pre_unlock(this, tsanFlags);
#endif
        mutex.unlock();
#ifdef KIV_TSAN
        __tsan_mutex_post_unlock(this, tsanFlags);
#endif
    }

private:
    friend class CSyncCondition;
#ifdef KIV_TSAN
    static constexpr unsigned tsanFlags = __tsan_mutex_write_reentrant;
#endif
    Mutex mutex;
};

/// A non-recursive mutex, the only kind that a CSyncCondition waits on.
using CPlainMutex = CSyncMutex<QMutex>;

/// Holds a CPlainMutex for the time of a scope, but for what lies between unlock() and lock().
class KIV_SCOPED_CAPABILITY CPlainLock
{
public:
    explicit CPlainLock(CPlainMutex& locked) KIV_ACQUIRES(locked) : mutex(locked) { mutex.lock(); }
    ~CPlainLock() KIV_RELEASES()
    {
        if (isHeld)
            mutex.unlock();
    }
    CPlainLock(const CPlainLock&) = delete;
    CPlainLock& operator=(const CPlainLock&) = delete;

    void lock() KIV_ACQUIRES()
    {
        mutex.lock();
        isHeld = true;
    }
    void unlock() KIV_RELEASES()
    {
        isHeld = false;
        mutex.unlock();
    }

private:
    CPlainMutex& mutex;
    bool isHeld = true;
};

/// A locked mutex for who gives it up in a wait and takes it again, which clang does not follow.
class CHeldMutex
{
public:
    explicit CHeldMutex(CPlainMutex& held) KIV_REQUIRES(held) : mutex(held) {}
    KIV_UNCHECKED void lock() { mutex.lock(); }
    KIV_UNCHECKED void unlock() { mutex.unlock(); }

private:
    CPlainMutex& mutex;
};

/// A wait condition on a locked CPlainMutex.
class CSyncCondition
{
public:
    /// Waits until woken or until the deadline; true when woken (or without cause), false when the time ran out.
    /// No forced termination of the thread takes effect inside, where it would leave the condition's own lock taken.
    bool wait(CPlainMutex& locked, const CDeadline& deadline) KIV_REQUIRES(locked)
    {
        const CTerminationBlocker blocker;
        if (ITimeSource* const source = Time::source())
        {
            CHeldMutex held(locked);
            return waitOn(*source, this, held, deadline);
        }
        return waitInRealTime(locked, deadline) || !deadline.isExpired();
    }

    void wakeOne()
    {
        if (ITimeSource* const source = Time::source())
            source->wake(this, false);
        condition.wakeOne();
    }

    void wakeAll()
    {
        if (ITimeSource* const source = Time::source())
            source->wake(this, true);
        condition.wakeAll();
    }

private:
    bool waitInRealTime(CPlainMutex& locked, const CDeadline& deadline) KIV_REQUIRES(locked)
    {
        QDeadlineTimer limit(QDeadlineTimer::Forever);
        if (!deadline.isNever())
            limit.setPreciseDeadline(0, Time::realWaitLimit(deadline).count(), Qt::PreciseTimer);
#ifdef KIV_TSAN
        __tsan_mutex_pre_unlock(&locked, CPlainMutex::tsanFlags);
        __tsan_mutex_post_unlock(&locked, CPlainMutex::tsanFlags);
#endif
        const bool woken = condition.wait(&locked.mutex, limit);
#ifdef KIV_TSAN
        __tsan_mutex_pre_lock(&locked, CPlainMutex::tsanFlags);
        __tsan_mutex_post_lock(&locked, CPlainMutex::tsanFlags, 1);
#endif
        return woken;
    }

    QWaitCondition condition;
};

} // namespace Kiv

#endif
