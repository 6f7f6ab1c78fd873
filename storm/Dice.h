/// Numbers that a seed determines, the same ones on every machine.
#ifndef KIV_TESTS_STORM_DICE_H
#define KIV_TESTS_STORM_DICE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace Storm
{

/// SplitMix64 (Steele, Lea, Flood: "Fast Splittable Pseudorandom Number Generators").
class CDice
{
public:
    explicit CDice(std::uint64_t seed) : state(seed) {}

    std::uint64_t next()
    {
        state += 0x9e3779b97f4a7c15U;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
        return mixed ^ (mixed >> 31U);
    }

    /// 0 to count - 1.
    unsigned below(unsigned count) { return static_cast<unsigned>(next() % count); }

    /// True once in `count` times.
    bool onceIn(unsigned count) { return below(count) == 0; }

    template<class Value>
    Value oneOf(std::initializer_list<Value> values)
    {
        return values.begin()[below(static_cast<unsigned>(values.size()))];
    }

private:
    std::uint64_t state;
};

} // namespace Storm

#endif
