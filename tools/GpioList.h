/// kiv gpio list: all chips and lines, and who holds them.
#ifndef KIV_TOOLS_GPIOLIST_H
#define KIV_TOOLS_GPIOLIST_H

#include <optional>
#include <string>
#include <vector>

namespace Tool
{

/// What is known of a line without touching it; texts are empty where nothing tells.
struct ListedLine
{
    std::optional<unsigned> number; ///< in /sys/class/gpio
    std::string name;
    std::string use; ///< "free", "exported", "held", or "not exported" where nothing tells whether a driver holds it
    std::string holder;
    std::string direction;
    std::string value;
};

struct ListedChip
{
    std::string label;
    std::string place; ///< "504 to 511", or "/dev/gpiochip0"
    std::vector<ListedLine> lines;
};

/// Prints every chip with its lines. Ends the program with status 1 where there is none.
void listGpio(bool json);

} // namespace Tool

#endif
