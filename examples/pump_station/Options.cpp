#include "Options.h"

#include <getopt.h>

#include <kiv/util.h>

#include "Figures.h"
#include "Settings.h"

namespace PumpStation
{

namespace
{

constexpr option longOptions[] = {
    {"speed", required_argument, nullptr, 's'},
    {"config", required_argument, nullptr, 'c'},
    {"inflow", required_argument, nullptr, 'i'},
    {"quiet", no_argument, nullptr, 'q'},
    {"board", no_argument, nullptr, 'b'},
    {"crash", no_argument, nullptr, 'x'},
    {"diagram", required_argument, nullptr, 'd'},
    {"trace", required_argument, nullptr, 't'},
    {"inspect", required_argument, nullptr, 'w'},
    {"loopback", no_argument, nullptr, 'l'},
    {"schema", no_argument, nullptr, 'm'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

int toSpeed(const std::string& text)
{
    const auto speed = toNumber(text);
    if (!speed || *speed < 1 || *speed > highestSpeed || *speed != static_cast<int>(*speed))
        throw CUsageError("--speed takes a whole number from 1 to " + std::to_string(highestSpeed) + ", not '" + text +
                          "'");
    return static_cast<int>(*speed);
}

Kiv::eDiagramFormat toDiagramFormat(const std::string& text)
{
    if (text == "mermaid")
        return Kiv::DiagramMermaid;
    if (text == "dot")
        return Kiv::DiagramDot;
    if (text == "plantuml")
        return Kiv::DiagramPlantUml;
    throw CUsageError("--diagram takes mermaid, dot or plantuml, not '" + text + "'");
}

} // namespace

const char* const helpText =
    R"(Usage: pump_station [--speed N] [--config FILE] [--inflow FILE] [--board | --loopback] [--quiet]
                    [--diagram FORMAT] [--trace FILE] [--inspect NAME] [--schema] [--crash] [--help]

Runs a sewage pumping station through a recorded inflow. It prints a line for each simulated minute (time, inflow, level,
the pumps that run, the active states) and at the end a table. The table depends on config and recording only;
below it stand the operating hours of all runs: the pumps' in the model's time, the station's in real time.

  --speed N       simulated seconds in a real one, 1 to 1000000; by default what the config says
  --config FILE   the station; by default pump_station.ini beside the program
  --inflow FILE   the recording, a CSV file; by default what the config says
  --board         wire controller and plant through the simulated board: kiv-board run --config FILE -- pump_station
                  --board, with the board.ini beside the program; without it they are wired inside the program
  --loopback      wire them through a board that nothing is attached to: the program itself switches the float switch's
                  line as an output, reads back what the pumps' channels are set to, and makes the file LevelInput
  --quiet         print the table only
  --diagram FORMAT
                  print the state machine as a diagram and end; the format is mermaid, dot or plantuml
  --trace FILE    write what the state machine did last: for a name that ends in .json as Chrome trace events, which Perfetto
                  shows as a time line, otherwise as text
  --inspect NAME  let kiv look and kiv view look at the running station under this name
  --schema        print what may stand in the config, for kiv ini check --schema, and end
  --crash         fail on purpose, to show the report of a fatal signal
  --help          print this text and end

Ctrl-C and SIGTERM end the run; the table then shows what was reached.

Exit status: 0 after the whole recording; 1 if the run failed or crashed; 2 for a bad option, config or recording;
130 after Ctrl-C, 143 after SIGTERM.
)";

Options::Options(int argc, char** argv) : configPath(Kiv::getApplicationDirPath() + "/pump_station.ini")
{
    opterr = 0;
    const char* current = argv[optind];
    for (int chosen = 0; (chosen = getopt_long(argc, argv, "+:", longOptions, nullptr)) != -1; current = argv[optind])
        switch (chosen)
        {
        case 's':
            speed = toSpeed(optarg);
            break;
        case 'c':
            configPath = optarg;
            break;
        case 'i':
            inflowPath = optarg;
            break;
        case 'b':
            board = true;
            break;
        case 'l':
            loopback = true;
            break;
        case 'x':
            crash = true;
            break;
        case 'm':
            schema = true;
            break;
        case 'q':
            quiet = true;
            break;
        case 'w':
            inspectName = optarg;
            break;
        case 't':
            tracePath = optarg;
            break;
        case 'd':
            diagram = toDiagramFormat(optarg);
            break;
        case 'h':
            help = true;
            break;
        case ':':
            throw CUsageError(std::string(current) + " needs a value");
        default:
            throw CUsageError(std::string("unknown option ") + current);
        }
    if (optind < argc)
        throw CUsageError(std::string("unknown argument ") + argv[optind]);
}

} // namespace PumpStation
