/// Ends a wait of a thread whose work nobody wants any more: a handler that waits for room while its timer is stopped.
#ifndef KIV_WAITINTERRUPTION_H
#define KIV_WAITINTERRUPTION_H

#include <atomic>

#include "kiv/env/qt/core/QtSync.h"

namespace Kiv
{

/// Belongs to one thread, which finds it by here(); interrupt() is safe from any. Who waits looks at isInterrupted()
/// under the lock of its condition; between that look and its sleep a wake-up may be lost, so interrupt() is repeated
/// by who waits for the end.
class CWaitInterruption
{
public:
    CWaitInterruption() = default;
    CWaitInterruption(const CWaitInterruption&) = delete;
    CWaitInterruption& operator=(const CWaitInterruption&) = delete;

    /// That of the calling thread, or null.
    static CWaitInterruption*& here()
    {
        static thread_local CWaitInterruption* interruption = nullptr;
        return interruption;
    }

    bool isInterrupted() const { return interrupted; }

    void interrupt()
    {
        interrupted = true;
        const CPlainLock guard(lock);
        if (waitedFor != nullptr)
            waitedFor->wakeAll();
    }

    /// While it lives, the calling thread may be woken from its wait for this condition.
    class CWait
    {
    public:
        explicit CWait(CSyncCondition& condition) : own(here()) { set(&condition); }
        ~CWait() { set(nullptr); }
        CWait(const CWait&) = delete;
        CWait& operator=(const CWait&) = delete;

        bool isInterrupted() const { return own != nullptr && own->isInterrupted(); }

    private:
        void set(CSyncCondition* condition) const
        {
            if (own == nullptr)
                return;
            const CPlainLock guard(own->lock);
            own->waitedFor = condition;
        }

        CWaitInterruption* const own;
    };

private:
    std::atomic<bool> interrupted{false};
    CPlainMutex lock;
    CSyncCondition* waitedFor KIV_GUARDED_BY(lock) = nullptr;
};

} // namespace Kiv

#endif
