/// Digital lines through the kernel's GPIO character device, the successor of /sys/class/gpio: several lines at once,
/// held by nobody else, with bias, debouncing and edges that carry the kernel's time.
#ifndef KIV_GPIOREQUEST_H
#define KIV_GPIOREQUEST_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <kiv/Deadline.h>
#include <kiv/GpioChips.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CGpioRequestPrivate;

/// How the lines of a request are wanted, all of them alike.
struct GpioRequestSettings
{
    bool isDirectionKept = false;                ///< the lines are only read, and the direction below does not count
    ePinDirection direction = PinDirectionInput; ///< of all lines
    std::uint64_t firstValues = 0;        ///< of outputs: bit 0 is the first line's logical value, without a glitch
    ePinMode mode = PinModeActiveHigh;    ///< which level counts as 1
    eGpioBias bias = GpioBiasAsIs;        ///< the pull of the lines
    eGpioDrive drive = GpioDrivePushPull; ///< of outputs
    eGpioEdge edge = GpioEdgeNone;        ///< of inputs, in logical values
    unsigned int debounceUs = 0;          ///< how long an input's level must stay to count; 0: not debounced
    bool isWallClock = false;             ///< edges carry CLOCK_REALTIME (Linux 5.11) instead of CLOCK_MONOTONIC
    unsigned int edgesKept = 0;           ///< how many edges wait in the kernel; 0: its choice, 16 for each line
    std::string consumer = "kiv";         ///< who holds the lines, as others see it; cut at 31 bytes
};

/// An edge, as the kernel saw it.
struct GpioEdgeEvent
{
    std::uint64_t timeNs = 0;       ///< of the kernel's clock, see isWallClock
    unsigned int index = 0;         ///< which line of the request, from 0
    eGpioEdge edge = GpioEdgeNone;  ///< rising or falling, of the logical value
    std::uint32_t sequence = 0;     ///< counts the edges of the whole request from 1
    std::uint32_t lineSequence = 0; ///< counts those of the line from 1
    std::uint32_t lostEdges = 0;    ///< edges of the request that were lost before this one, as too many waited
};

/// Up to 64 lines of one chip that belong to this object until it lets them go.
///
/// The kernel excludes others: lines that a driver, another request or /sys/class/gpio holds are refused with -16, at
/// once. When the object or the process goes, however it ends, the lines are free again; most chips leave an output's
/// level as it was, but no program may rely on that. Needs Linux 5.10; earlier kernels answer -22.
///
/// Values are logical ones: bit i stands for the i-th line of the request, 1 is high, or low of an active-low line.
///
/// Threads: one thread at a time requests, reconfigures and releases; read() and write() are safe from any thread
/// meanwhile, wait() belongs to one thread, interrupt() is safe from any thread and from signal handlers.
/// Errors: negated codes, -9 while nothing is requested. request() logs its refusals through Diag::diagLogger(), with
/// chip and line and, where the kernel tells, the holder. Nothing is printed on standard error.
class KIV_API CGpioRequest
{
public:
    /// Touches no hardware.
    CGpioRequest();
    /// Lets the lines go.
    ~CGpioRequest();
    CGpioRequest(const CGpioRequest&) = delete;
    CGpioRequest& operator=(const CGpioRequest&) = delete;

    /// Requests lines of a chip, called as in <kiv/GpioChips.h>; what the object had goes first. All or none: -16 held
    /// by another, -19 no such chip, -13 no right to it, -22 for a line that is not there or settings that contradict
    /// themselves (an edge of an output, no line or more than 64).
    int request(const std::string& chip, const std::vector<unsigned int>& offsets, const GpioRequestSettings& settings);
    /// The same by the lines' names; -18 if they stand on different chips, else as gpio_find_line().
    int request(const std::vector<std::string>& names, const GpioRequestSettings& settings);
    /// Gives the lines other settings without letting them go; consumer and edgesKept do not count. After a failure
    /// they are as before.
    int reconfigure(const GpioRequestSettings& settings);
    void release();

    /// True while the lines are held.
    bool isRequested() const;
    /// In the order of the request.
    const std::vector<unsigned int>& offsets() const;

    /// The values of all lines, in one call of the kernel.
    int read(std::uint64_t& values) const;
    /// The value of the i-th line, 0 or 1, or a code: -22 beyond the lines.
    int readLine(unsigned int index) const;
    /// Sets those of the lines whose bits are in `mask`, in one call of the kernel, which sets them at the same time
    /// where the chip can. -1 for inputs.
    int write(std::uint64_t values, std::uint64_t mask = ~std::uint64_t{0});
    int writeLine(unsigned int index, ePinValue value);

    /// Waits at most `timeoutMs`, for ever if negative, for the next edge: 1 with the edge, 0 when the time ran out,
    /// -36
    /// ("Operation canceled") when interrupted, another negated code for a failure. Edges since the request are kept in
    /// their order, as many as the kernel keeps; later ones push the oldest out, which lostEdges of the next one tells.
    /// Of an interruption and an edge at once the interruption comes first, and the edge with the next call.
    int wait(int timeoutMs, GpioEdgeEvent& event);
    /// The same until a deadline.
    int wait(const CDeadline& deadline, GpioEdgeEvent& event);
    /// Ends the wait in progress, or else the next one.
    void interrupt();

private:
    std::unique_ptr<CGpioRequestPrivate> d;
};

} // namespace Kiv

#endif
