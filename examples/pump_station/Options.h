/// What the user chose on the command line.
#ifndef KIV_PUMPSTATION_OPTIONS_H
#define KIV_PUMPSTATION_OPTIONS_H

#include <optional>
#include <stdexcept>
#include <string>

#include <kiv/StateMachineDiagram.h>

namespace PumpStation
{

class CUsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct Options
{
    /// CUsageError for an option that does not exist or has no sensible value.
    Options(int argc, char** argv);

    std::string configPath; ///< by default pump_station.ini beside the program
    std::optional<std::string> inflowPath;
    std::optional<int> speed;
    std::optional<std::string> tracePath;
    std::optional<std::string> inspectName;
    std::optional<Kiv::eDiagramFormat> diagram; ///< print the machine instead of running it
    bool board = false;
    bool loopback = false;
    bool crash = false;
    bool quiet = false;
    bool schema = false; ///< print what may stand in the INI file
    bool help = false;
};

/// The text for --help.
extern const char* const helpText;

} // namespace PumpStation

#endif
