/// A bounded queue in a fixed ring: any number of writers, one reader.
///
/// The mutex guards the writers' side and every sleep. The reader takes elements without it: `count` tells both sides
/// how many slots belong to the reader, and a slot changes hands only by a change of `count`. A reader sleeps only
/// after it has seen an empty ring under the mutex, and a writer fills the ring only under the mutex, so it sees the
/// sleeping reader. A writer that sleeps announces itself in `writersWaiting` before it looks at `count` once more; the
/// reader changes `count` before it looks at `writersWaiting`: one of the two always sees the other.
#ifndef KIV_MSGQUEUE_H
#define KIV_MSGQUEUE_H

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "kiv/env/qt/core/QtSync.h"
#include "kiv/env/qt/core/WaitInterruption.h"

namespace Kiv
{

/// Asks `done` again and again for a few microseconds, where there is a second processor that could make it true.
template<class Predicate>
bool spinUntil(Predicate done)
{
    static const bool alone = std::thread::hardware_concurrency() < 2;
    if (alone)
        return done();
    constexpr auto limit = std::chrono::microseconds(4);
    const auto end = std::chrono::steady_clock::now() + limit;
    do
    {
        for (int i = 0; i < 32; ++i)
        {
            if (done())
                return true;
#if defined(__x86_64__)
            __builtin_ia32_pause();
#elif defined(__aarch64__)
            asm volatile("isb" ::: "memory"); // yields the pipeline for about as long as x86's pause
#endif
        }
    } while (std::chrono::steady_clock::now() < end);
    return false;
}

template<class T>
class CMsgQueue
{
public:
    explicit CMsgQueue(unsigned short capacity) : size(capacity), buffer(std::make_unique<T[]>(capacity)) {}

    /// Appends a copy of `item`. While the ring is full it waits for room, at most `timeoutMs` in all; false when the
    /// time ran out, or the calling thread is not to wait any more.
    bool write(const T& item, unsigned int timeoutMs)
    {
        CPlainLock lock(mutex);
        if (isFull() && !(timeoutMs > 0 && waitForRoom(lock, timeoutMs)))
            return false;
        buffer[writeIndex] = item;
        writeIndex = next(writeIndex);
        const unsigned int waiting = count.fetch_add(1) + 1;
        if (waiting > most.load(std::memory_order_relaxed))
            most.store(waiting, std::memory_order_relaxed);
        const bool wake = readerWaits;
        lock.unlock();
        if (wake)
            notEmpty.wakeOne();
        return true;
    }

    /// Takes the oldest element. While the ring is empty it waits at most `timeoutMs`; false when the time ran out or
    /// the reader was interrupted. Belongs to one thread at a time.
    bool read(T& item, unsigned int timeoutMs)
    {
        const auto limit = [timeoutMs] { return CDeadline::in(std::chrono::milliseconds(timeoutMs)); };
        if (isEmpty() && !(timeoutMs > 0 && waitForItem(limit)))
            return false;
        takeFirst(item);
        return true;
    }

    /// Waits until a deadline in the same way.
    bool read(T& item, const CDeadline& deadline)
    {
        if (isEmpty() && !waitForItem([&deadline] { return deadline; }))
            return false;
        takeFirst(item);
        return true;
    }

    /// With true, a reader that finds nothing returns at once, one that waits is woken; false ends that.
    void interruptReader(bool interrupt)
    {
        const CPlainLock lock(mutex);
        interrupted = interrupt;
        if (interrupt)
            notEmpty.wakeOne();
    }

    /// Lets `change` at every element that waits. On the reader's thread, or while there is no reader.
    template<class Change>
    void changeWaiting(Change change)
    {
        const CPlainLock lock(mutex);
        for (unsigned int left = count.load(), index = readIndex; left > 0; --left, index = next(index))
            change(buffer[index]);
    }

    unsigned int capacity() const { return size; }

    /// As many as ever waited at a time.
    unsigned int mostPending() const { return most.load(std::memory_order_relaxed); }

    unsigned int pending() const { return count.load(std::memory_order_relaxed); }

private:
    bool isEmpty() const { return count.load(std::memory_order_acquire) == 0; }
    bool isFull() const { return count.load() == size; }
    unsigned int next(unsigned int index) const { return index + 1 == size ? 0 : index + 1; }

    // clang does not follow a lock that is handed over.
    KIV_UNCHECKED bool waitForRoom(CPlainLock& lock, unsigned int timeoutMs)
    {
        lock.unlock();
        spinUntil([this] { return !isFull(); });
        lock.lock();
        const CDeadline deadline = CDeadline::in(std::chrono::milliseconds(timeoutMs));
        writersWaiting.fetch_add(1);
        const CWaitInterruption::CWait wait(notFull);
        while (isFull() && !wait.isInterrupted() && notFull.wait(mutex, deadline))
        {}
        writersWaiting.fetch_sub(1);
        return !isFull();
    }

    void takeFirst(T& item)
    {
        item = buffer[readIndex];
        readIndex = next(readIndex);
        busy = true;
        count.fetch_sub(1);
        if (writersWaiting.load() > 0)
        {
            // The writer is asleep, or not yet and will see the room.
            const CPlainLock lock(mutex);
            notFull.wakeOne();
        }
    }

    template<class Limit>
    bool waitForItem(Limit limit)
    {
        // Spins only when the last element is fresh: an idle machine sleeps.
        if (busy && spinUntil([this] { return !isEmpty(); }))
            return true;
        busy = false;
        const CPlainLock lock(mutex);
        const CDeadline deadline = limit();
        readerWaits = true;
        while (isEmpty() && !interrupted && notEmpty.wait(mutex, deadline))
        {}
        readerWaits = false;
        return !isEmpty();
    }

    static constexpr std::size_t cacheLine = 64;

    const unsigned int size;
    const std::unique_ptr<T[]> buffer;
    alignas(cacheLine) std::atomic<unsigned int> count{0};
    std::atomic<unsigned int> writersWaiting{0};
    alignas(cacheLine) unsigned int readIndex = 0; // the reader's own
    bool busy = false;
    alignas(cacheLine) CPlainMutex mutex;
    unsigned int writeIndex KIV_GUARDED_BY(mutex) = 0;
    std::atomic<unsigned int> most{0}; // written under it, read by anybody
    bool readerWaits KIV_GUARDED_BY(mutex) = false;
    bool interrupted KIV_GUARDED_BY(mutex) = false;
    CSyncCondition notEmpty;
    CSyncCondition notFull;
};

} // namespace Kiv

#endif
