/// kiv-board: a simulated board for desktops and tests.

#include <cstdio>
#include <cstring>
#include <string>

#include "BoardConfig.h"
#include "Panel.h"
#include "Run.h"

namespace
{

constexpr int usageStatus = 2;

constexpr const char* helpText =
    R"(Usage: kiv-board run [--config BOARD.INI] -- COMMAND [ARGS]
  or:  kiv-board panel [--pid PID] [--once]
  or:  kiv-board --help

Runs a command on a simulated board, or draws the board, live.

The command finds GPIO lines in /sys/class/gpio and PWM chips in /sys/class/pwm that answer like the kernel's, and the
outer world in /sys/class/sim:
  gpio/gpioN            a line's level; writing 0 or 1 drives an input
  pwm/pwmchipN/pwmM     the duty cycle as a fraction of the period, 0 when off
  adc/NAME              an ADC input's text; reads give what was written
  faults                lines OPERATION PATH [K | K-L] ERRNO: the K-th (to L-th) open, read or write of PATH fails,
                        without K every one; emptied by truncation
  journal               lines OPERATION PATH DATA RESULT: each open, read, write and close with its bytes in
                        hexadecimal; emptied by truncation
  reset                 anything written makes the board as it is at power-on
  state                 all of the board, one line for each thing, fields separated by tabs

Only the command and its children see the board. It needs a readable and writable /dev/fuse, and root or user
namespaces. The panel runs on the board's inside, or anywhere with the process number of kiv-board run or its command.

Exit status of run: the command's; 128 + N when signal N ended it; 126 or 127 when it cannot be run or is not there;
125 when there can be no board here; 2 for a wrong call or board.ini.
)";

int complain(const std::string& reason)
{
    std::fprintf(stderr, "kiv-board: %s\n", reason.c_str());
    return usageStatus;
}

int run(char** arguments)
{
    std::string config;
    for (; *arguments != nullptr && std::strcmp(*arguments, "--") != 0; arguments += 2)
    {
        if (std::strcmp(*arguments, "--config") != 0 || arguments[1] == nullptr)
            return complain(std::string("run: unknown argument ") + *arguments + "; see kiv-board --help");
        config = arguments[1];
    }
    if (*arguments == nullptr || arguments[1] == nullptr)
        return complain("run: a command is missing; see kiv-board --help");
    try
    {
        return Sim::runOnBoard(config.empty() ? Sim::defaultBoard() : Sim::readBoard(config), arguments + 1);
    }
    catch (const Sim::CBoardConfigError& error)
    {
        return complain(error.what());
    }
}

int panel(char** arguments)
{
    int pid = 0;
    bool isOnce = false;
    for (; *arguments != nullptr; ++arguments)
        if (std::strcmp(*arguments, "--once") == 0)
            isOnce = true;
        else if (std::strcmp(*arguments, "--pid") != 0 || arguments[1] == nullptr ||
                 (pid = std::atoi(*++arguments)) <= 0)
            return complain("panel: wrong arguments; see kiv-board --help");
    return Sim::showPanel(pid, isOnce);
}

} // namespace

int main(int argc, char** argv)
{
    const std::string action = argc > 1 ? argv[1] : "";
    if (action == "--help" || (argc > 2 && std::strcmp(argv[2], "--help") == 0))
        return std::fputs(helpText, stdout) < 0 ? 1 : 0;
    if (action == "run")
        return run(argv + 2);
    if (action == "panel")
        return panel(argv + 2);
    return complain("run, panel or --help is needed");
}
