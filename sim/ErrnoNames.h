/// The names of errno values, as faults and journal write them.
#ifndef KIV_SIM_ERRNONAMES_H
#define KIV_SIM_ERRNONAMES_H

#include <string>
#include <string_view>

namespace Sim
{

/// "EBUSY" for EBUSY; a number in decimal where there is no name.
std::string errnoName(int number);

/// The value of a name or a decimal number; 0 when it is neither.
int errnoValue(std::string_view name);

} // namespace Sim

#endif
