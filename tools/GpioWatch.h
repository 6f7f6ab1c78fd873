/// kiv gpio watch: the edges of a line as they come.
#ifndef KIV_TOOLS_GPIOWATCH_H
#define KIV_TOOLS_GPIOWATCH_H

#include <string>

namespace Tool
{

struct GpioWatchOptions
{
    std::string line;
    std::string edge = "both";
    unsigned long long count = 0; ///< 0: for ever
    double timeoutSeconds = -1;   ///< for each edge; negative: none
    bool json = false;
};

/// Prints the level, then each edge, until the count is reached, no edge comes in time or a signal ends it; then the
/// line is set back as it was. SIGINT, SIGTERM, SIGHUP and SIGPIPE end the process as they would without handling.
void watchGpio(const GpioWatchOptions& options);

} // namespace Tool

#endif
