/// What stands outside of the controller's board: the plant's end of its wires.
#ifndef KIV_PUMPSTATION_BOARDWORLD_H
#define KIV_PUMPSTATION_BOARDWORLD_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

namespace PumpStation
{

/// The board lacks something, as one line.
class CWiringError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

enum eBoardWorld
{
    BoardWorldSimulated, ///< that of the simulated board, /sys/class/sim
    BoardWorldLoopback   ///< none: the program itself stands at the other end of a board that nothing is attached to
};

/// Where the wires end on the board.
struct BoardEnds
{
    std::string levelInput;
    unsigned floatLine;
    unsigned char pwmChip;
    unsigned pwmPeriod; ///< nanoseconds
};

/// Threads: one. Errors: every call returns 0 or a negated error code.
class IBoardWorld
{
public:
    virtual ~IBoardWorld() = default;
    virtual int showLevel(int millimetres) = 0;
    virtual int showFloat(bool up) = 0;
    virtual int readSpeed(std::size_t pump, int& percent) = 0;
};

/// CWiringError if there is no such world.
std::unique_ptr<IBoardWorld> makeBoardWorld(eBoardWorld kind, const BoardEnds& ends);

} // namespace PumpStation

#endif
