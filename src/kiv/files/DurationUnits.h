/// The units of durations, the largest first; private to the settings.
#ifndef KIV_DURATIONUNITS_H
#define KIV_DURATIONUNITS_H

#include <array>
#include <cstdint>

namespace Kiv
{

struct DurationUnit
{
    const char* name;
    std::int64_t nanoseconds;
};

constexpr std::array<DurationUnit, 7> durationUnits = {{{"d", 86400000000000},
                                                        {"h", 3600000000000},
                                                        {"min", 60000000000},
                                                        {"s", 1000000000},
                                                        {"ms", 1000000},
                                                        {"us", 1000},
                                                        {"ns", 1}}};

} // namespace Kiv

#endif
