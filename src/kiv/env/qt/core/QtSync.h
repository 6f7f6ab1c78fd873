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

/// A QMutex with its order made visible; BasicLockable, for std::lock_guard and std::unique_lock.
template<class Mutex>
class CSyncMutex
{
public:
    void lock()
    {
#ifdef KIV_TSAN
        __tsan_mutex_pre_lock(this, tsanFlags);
#endif
        mutex.lock();
#ifdef KIV_TSAN
        __tsan_mutex_post_lock(this, tsanFlags, 1);
#endif
    }

    void unlock()
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

/// A wait condition on a locked CPlainMutex.
class CSyncCondition
{
public:
    /// Waits until woken or until the deadline; true when woken (or without cause), false when the time ran out.
    /// No forced termination of the thread takes effect inside, where it would leave the condition's own lock taken.
    bool wait(CPlainMutex& locked, const CDeadline& deadline)
    {
        const CTerminationBlocker blocker;
        if (ITimeSource* const source = Time::source())
            return waitOn(*source, this, locked, deadline);
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
    bool waitInRealTime(CPlainMutex& locked, const CDeadline& deadline)
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
