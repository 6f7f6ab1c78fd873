// An enumeration of 32 values, asked for each of its names and values in turn, beside a linear search in an array.
#include <kiv/EnumHelpers.h>

#include <vector>

#include "allocations.h"

namespace
{

constexpr int valueTotal = 32;

std::vector<std::string> names()
{
    std::vector<std::string> result;
    for (int value = 0; value < valueTotal; ++value)
        result.push_back("PumpState" + std::to_string(value * 7919 % 1000));
    return result;
}

/// What one writes without this library.
class CArrayOfNames
{
public:
    void insert(int value, const std::string& text) { pairs.emplace_back(value, text); }

    int toEnum(const std::string& text) const
    {
        for (const auto& [value, name] : pairs)
        {
            if (name == text)
                return value;
        }
        return 0;
    }

    const std::string& toString(int wanted, const std::string& defaultText) const
    {
        for (const auto& [value, name] : pairs)
        {
            if (value == wanted)
                return name;
        }
        return defaultText;
    }

private:
    std::vector<std::pair<int, std::string>> pairs;
};

template<class Map>
void fill(Map& map)
{
    int value = 0;
    for (const std::string& name : names())
        map.insert(value++, name);
}

template<class Map>
void nameToValue(benchmark::State& state)
{
    const auto asked = names();
    Map map;
    fill(map);
    const CAllocationCounter counter(state);
    std::size_t next = 0;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(map.toEnum(asked[next]));
        next = (next + 1) % valueTotal;
    }
}

template<class Map>
void valueToName(benchmark::State& state)
{
    const std::string none;
    Map map;
    fill(map);
    int next = 0;
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        next = (next + 1) % valueTotal;
        benchmark::DoNotOptimize(&map.toString(next, none));
    }
}

BENCHMARK(nameToValue<Kiv::CEnumStringMap>)->Name("enum from name/kiv");
BENCHMARK(nameToValue<CArrayOfNames>)->Name("enum from name/array of names");
BENCHMARK(valueToName<Kiv::CEnumStringMap>)->Name("enum to name/kiv");
BENCHMARK(valueToName<CArrayOfNames>)->Name("enum to name/array of names");

} // namespace
