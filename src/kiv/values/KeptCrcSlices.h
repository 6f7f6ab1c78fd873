/// The tables of the few polynomials that one process uses, made once; private to the checksums.
#ifndef KIV_KEPTCRCSLICES_H
#define KIV_KEPTCRCSLICES_H

#include <atomic>

#include "kiv/values/CrcSlices.h"

namespace Kiv::Crc
{

// From these lengths on, filling a table for a single use costs less than it saves.
constexpr int leastLengthForNibbles = 5;
constexpr int leastLengthForSlices = 64;

/// The slices of the first four polynomials that are worth it. Meant for static storage, all zero before its first use.
///
/// A polynomial is entered by a compare-and-exchange, which one thread wins. That thread alone fills the slices, and
/// says so with `isReady`; until then the others do without, and afterwards nothing changes any more.
///
/// Threads: safe.
/// Errors: none.
class CKeptSlices
{
public:
    /// Null if there are none yet or no more room. They are filled for a long message, or when the polynomial comes
    /// twice in a row.
    const Crc16Slices* find(std::uint32_t poly, int len)
    {
        for (std::size_t i = 0; i < mostKept; ++i)
        {
            std::uint32_t present = polynomials[i].load(std::memory_order_relaxed);
            if (present == 0)
            {
                if (len < leastLengthForSlices && lastPolynomial.exchange(poly, std::memory_order_relaxed) != poly)
                    return nullptr;
                if (polynomials[i].compare_exchange_strong(present, poly, std::memory_order_relaxed))
                    return fill(all[i], poly);
            }
            if (present == poly)
                return all[i].isReady.load(std::memory_order_acquire) ? &all[i].slices : nullptr;
        }
        return nullptr;
    }

private:
    static constexpr std::size_t mostKept = 4;

    struct Kept
    {
        std::atomic<bool> isReady{false};
        Crc16Slices slices{};
    };

    static const Crc16Slices* fill(Kept& kept, std::uint32_t poly)
    {
        fillSlices(kept.slices, poly);
        kept.isReady.store(true, std::memory_order_release);
        return &kept.slices;
    }

    std::array<std::atomic<std::uint32_t>, mostKept> polynomials{}; // entered in order; one cache line tells them all
    std::array<Kept, mostKept> all{};
    std::atomic<std::uint32_t> lastPolynomial{0};
};

} // namespace Kiv::Crc

#endif
