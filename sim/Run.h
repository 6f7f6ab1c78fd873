/// `kiv-board run`: a command on a simulated board.
#ifndef KIV_SIM_RUN_H
#define KIV_SIM_RUN_H

#include "BoardConfig.h"

namespace Sim
{

/// The exit status when there can be no board here.
constexpr int noBoardStatus = 125;

/// Runs argv[0] with its arguments on the board, in a namespace of its own, until it ends. Its exit status, 128 plus
/// the number of the signal that ended it, 126 or 127 when it cannot be run or is not found, or noBoardStatus.
///
/// SIGINT, SIGTERM, SIGHUP and SIGQUIT are passed on to the command; when this process is killed, so is the command.
int runOnBoard(const BoardConfig& config, char** argv);

} // namespace Sim

#endif
