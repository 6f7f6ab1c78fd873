/// A bounded queue of values between threads.
#ifndef KIV_EVENTQUEUE_H
#define KIV_EVENTQUEUE_H

#include <array>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <utility>

#include <kiv/Deadline.h>
#include <kiv/TimedCondition.h>

namespace Kiv
{

/// Carries values of one type from any threads to any others, in order, `Size` of them at most.
///
/// For the events of a typed state machine (`CEventQueue<DoorMachine::AnyEvent, 32>`) and whatever else a thread is
/// told by others; CStateMachine has a queue of its own. The values lie in the queue: it allocates nothing by itself. T
/// can be made without arguments and moved; a value that was taken leaves a moved-from one behind until its place is
/// used again.
///
/// Threads: safe. A value that is taken was written completely, and with it everything that its poster did before.
/// Nobody may be in a call when the queue is destroyed.
/// Errors: what T's move assignment throws passes through; the queue is then as before.
/// Units: milliseconds, on the monotonic clock; 0 does not wait. A CDeadline may lie on either clock, or be never.
template<class T, std::size_t Size>
class CEventQueue
{
    static_assert(Size > 0, "a queue has room for something");

public:
    /// Appends an item; waits up to `timeoutMs` for room. False if there was none, or the queue is closed: the item is
    /// lost, and whoever posts decides what that means.
    bool post(T item, unsigned timeoutMs = 0) { return post(std::move(item), limitOf(timeoutMs)); }

    /// Waits for room until the deadline in the same way.
    bool post(T item, const CDeadline& deadline)
    {
        std::unique_lock<std::mutex> lock(mutex);
        if (!hasRoom.wait(lock, deadline, [this] { return count < Size || closed; }) || closed)
            return false;
        items[(first + count) % Size] = std::move(item);
        ++count;
        lock.unlock();
        hasItems.wakeOne();
        return true;
    }

    /// Takes the oldest item; waits up to `timeoutMs` for one. False if there was none: after close() at once.
    bool take(T& item, unsigned timeoutMs) { return take(item, limitOf(timeoutMs)); }

    /// Waits for one until the deadline in the same way.
    bool take(T& item, const CDeadline& deadline)
    {
        std::unique_lock<std::mutex> lock(mutex);
        hasItems.wait(lock, deadline, [this] { return count > 0 || closed; });
        if (count == 0)
            return false;
        item = std::move(items[first]);
        first = (first + 1) % Size;
        --count;
        lock.unlock();
        hasRoom.wakeOne();
        return true;
    }

    /// From now on nothing is appended; what is there can be taken, then take() returns false at once. Wakes whoever
    /// waits. For good.
    void close()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            closed = true;
        }
        hasItems.wakeAll();
        hasRoom.wakeAll();
    }

    /// True after close().
    bool isClosed() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return closed;
    }

    /// How many items wait.
    std::size_t pending() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return count;
    }

private:
    /// Without a look at the clock where nobody wants to wait.
    static CDeadline limitOf(unsigned timeoutMs)
    {
        using std::chrono::nanoseconds;
        return timeoutMs > 0 ? CDeadline::in(std::chrono::milliseconds(timeoutMs)) : CDeadline::at(nanoseconds::zero());
    }

    mutable std::mutex mutex; // guards everything
    CTimedCondition hasItems;
    CTimedCondition hasRoom;
    std::array<T, Size> items{};
    std::size_t first = 0;
    std::size_t count = 0;
    bool closed = false;
};

} // namespace Kiv

#endif
