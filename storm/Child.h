/// One process of the storm.
#ifndef KIV_TESTS_STORM_CHILD_H
#define KIV_TESTS_STORM_CHILD_H

#include <string>

#include "Plan.h"

namespace Storm
{

/// Does what the plan says, with files in `directory`, and returns if that is how the plan ends: the status for main.
int runChild(const Plan& plan, const std::string& directory);

/// Sends the signals of the plan to the parent process, as soon as that has written a byte to standard input.
void sendSignals(const Plan& plan);

} // namespace Storm

#endif
