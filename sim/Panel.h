/// `kiv-board panel`: the board drawn in a terminal.
#ifndef KIV_SIM_PANEL_H
#define KIV_SIM_PANEL_H

#include <string>

#include <sys/types.h>

namespace Sim
{

/// Draws the text of /sys/class/sim/state; with ANSI colours or without.
std::string drawPanel(const std::string& state, bool isColoured);

/// Draws the board in which this process runs, or process `pid` if that is not 0, until q or Ctrl-C is pressed or the
/// board is gone; once only if so wanted and where standard output is no terminal. An exit status.
int showPanel(pid_t pid, bool isOnce);

} // namespace Sim

#endif
