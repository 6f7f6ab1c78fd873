/// The ring of a state machine's trace; private.
///
/// A writer draws a number, which gives it a slot, and takes the slot with a compare and exchange of its `ticket`: it
/// holds the number of the record in it plus one, 0 while empty, `busy` while somebody writes. A writer that finds the
/// slot busy or with a later record, because it slept for a whole round, gives up. A reader reads the ticket, the
/// fields and the ticket again; as fields are stored with release and loaded with acquire, whoever sees a later
/// writer's field sees its `busy` or its ticket too.
#ifndef KIV_TRACERING_H
#define KIV_TRACERING_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <kiv/StateMachineTrace.h>

namespace Kiv
{

/// A record as the ring keeps it; `subject` is the state or the transition, which may be gone by now.
struct RawTraceRecord
{
    std::int64_t time_ns = 0;
    const void* subject = nullptr;
    int threadId = 0;
    eTraceRecordType type = TraceStateEntered;
    unsigned char eventNo = 0;
};

/// Threads: safe, any number of writers and readers.
class CTraceRing
{
public:
    explicit CTraceRing(std::size_t atLeast) : slots(roundedUp(atLeast)), mask(slots.size() - 1) {}

    std::size_t capacity() const { return slots.size(); }

    void add(const RawTraceRecord& record)
    {
        const std::uint64_t number = next.fetch_add(1, std::memory_order_relaxed);
        Slot& slot = slots[number & mask];
        std::uint64_t seen = slot.ticket.load(std::memory_order_relaxed);
        if (seen > number ||
            !slot.ticket.compare_exchange_strong(seen, busy, std::memory_order_acquire, std::memory_order_relaxed))
        {
            abandoned.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        slot.time_ns.store(record.time_ns, std::memory_order_release);
        slot.subject.store(record.subject, std::memory_order_release);
        slot.rest.store(packed(record), std::memory_order_release);
        slot.ticket.store(number + 1, std::memory_order_release);
    }

    void clear()
    {
        abandoned.store(0, std::memory_order_relaxed);
        first.store(next.load(std::memory_order_relaxed), std::memory_order_release);
    }

    std::uint64_t lost() const
    {
        // In this order, so that a clear() in between does not put the beginning behind the end.
        const std::uint64_t begin = first.load(std::memory_order_acquire);
        const std::uint64_t made = next.load(std::memory_order_relaxed) - begin;
        const std::uint64_t overwritten = made > capacity() ? made - capacity() : 0;
        return overwritten + abandoned.load(std::memory_order_relaxed);
    }

    /// What is there, the earliest first; of equal times in the order of their making.
    std::vector<RawTraceRecord> records() const
    {
        std::uint64_t begin = 0;
        std::vector<RawTraceRecord> result = recordsFrom(begin);
        std::stable_sort(result.begin(), result.end(), [](const RawTraceRecord& left, const RawTraceRecord& right) {
            return left.time_ns < right.time_ns;
        });
        return result;
    }

    /// What is there from the record with number `position` on, in the order of their making; `position` moves behind
    /// the last one. What is just being written is not waited for.
    std::vector<RawTraceRecord> recordsFrom(std::uint64_t& position) const
    {
        const std::uint64_t end = next.load(std::memory_order_acquire);
        const std::uint64_t kept =
            std::max(first.load(std::memory_order_relaxed), end > capacity() ? end - capacity() : 0);
        std::uint64_t number = std::max(position, kept);
        std::vector<RawTraceRecord> result;
        result.reserve(static_cast<std::size_t>(end - std::min(number, end)));
        for (RawTraceRecord record; number < end; ++number)
            if (read(number, record))
                result.push_back(record);
        position = end;
        return result;
    }

private:
    static constexpr std::uint64_t busy = UINT64_MAX;

    struct alignas(32) Slot
    {
        std::atomic<std::uint64_t> ticket{0};
        std::atomic<std::int64_t> time_ns{0};
        std::atomic<const void*> subject{nullptr};
        std::atomic<std::uint64_t> rest{0};
    };

    static std::size_t roundedUp(std::size_t atLeast)
    {
        std::size_t size = 2;
        while (size < atLeast && size <= SIZE_MAX / 4)
            size *= 2;
        return size;
    }

    static std::uint64_t packed(const RawTraceRecord& record)
    {
        return (std::uint64_t{static_cast<std::uint32_t>(record.threadId)} << 32) | (std::uint64_t{record.type} << 8) |
               record.eventNo;
    }

    bool read(std::uint64_t number, RawTraceRecord& record) const
    {
        const Slot& slot = slots[number & mask];
        if (slot.ticket.load(std::memory_order_acquire) != number + 1)
            return false;
        record.time_ns = slot.time_ns.load(std::memory_order_acquire);
        record.subject = slot.subject.load(std::memory_order_acquire);
        const std::uint64_t rest = slot.rest.load(std::memory_order_acquire);
        record.threadId = static_cast<int>(rest >> 32);
        record.type = static_cast<eTraceRecordType>((rest >> 8) & 0xff);
        record.eventNo = static_cast<unsigned char>(rest);
        return slot.ticket.load(std::memory_order_relaxed) == number + 1;
    }

    std::vector<Slot> slots;
    const std::size_t mask;
    alignas(64) std::atomic<std::uint64_t> next{0};
    std::atomic<std::uint64_t> first{0};
    std::atomic<std::uint64_t> abandoned{0};
};

} // namespace Kiv

#endif
