/// One digital line of /sys/class/gpio that is taken, or adopted from an earlier run, and set up in one call.
#ifndef KIV_GPIOLINE_H
#define KIV_GPIOLINE_H

#include <memory>

#include <kiv/kiv_export.h>
#include <kiv/linux_gpio.h>

namespace Kiv
{

class CGpioLinePrivate;

/// The logical value with which an output begins; active-low lines have the opposite level.
enum eGpioFirstValue : int
{
    GpioFirstLow = 0,
    GpioFirstHigh = 1,
    GpioFirstKept = 2 ///< the one that the line shows: an adopted output goes on as it is
};

/// How a line is wanted.
struct GpioLineSettings
{
    ePinDirection direction = PinDirectionInput; ///< input or output
    eGpioFirstValue first = GpioFirstLow;        ///< of an output
    ePinMode mode = PinModeActiveHigh;           ///< which level counts as 1
    eGpioEdge edge = GpioEdgeNone; ///< of an input, in logical values; CGpioEdge of <kiv/sysfs_tools.h> waits for it
    bool isReleased = false;       ///< the destructor gives the line back; otherwise it stays exported as it is
    unsigned int accessTimeoutMs = 1000; ///< how long udev may take to grant access
};

/// A line that is "mine, and set as I want it", or a code that says why not.
///
/// | the line is | take() |
/// |---|---|
/// | free | exports it |
/// | exported already, by an earlier run or a shell | adopts it, in silence |
/// | held by a driver or a request of the character device | -16, at once |
/// | not there | -22 |
/// | not yet writable, as udev is late | waits, then -13 |
///
/// An output has its first value from its first moment on, without a glitch. The kernel cannot tell who exported a
/// line, so two programs may adopt the same one; <kiv/GpioRequest.h> excludes that. A line that take() exported and
/// then could not set up is given back. On kernels without /sys/class/gpio the result is -2.
///
/// Values are logical ones: 1 is high, or low of an active-low line.
///
/// Threads: reentrant; read() and write() of a taken line are safe from any thread.
/// Errors: negated codes. take() also logs its refusals through Diag::diagLogger(), with number and path. Nothing is
/// printed on standard error.
class KIV_API CGpioLine
{
public:
    /// Touches no hardware.
    CGpioLine();
    /// Gives the line back or leaves it, as the settings say.
    ~CGpioLine();
    CGpioLine(const CGpioLine&) = delete;
    CGpioLine& operator=(const CGpioLine&) = delete;

    /// Takes or adopts a line by its number; one that the object has goes first, as in the destructor. -22, and nothing
    /// is touched, for settings that contradict themselves: an edge of an output, values that are none.
    int take(unsigned int line, const GpioLineSettings& settings);
    /// The same by the label of its chip and its place there; -19 if there is no such chip, -22 beyond its lines.
    int takeOn(const char* chipLabel, unsigned int offset, const GpioLineSettings& settings);
    /// Gives the line back, whatever the settings say. Direction and level stay on most chips.
    int release();
    /// Forgets the line, which stays exported as it is.
    void leave();

    /// True from a successful take() to the release.
    bool isTaken() const;
    /// It was exported before it was taken.
    bool isAdopted() const;
    /// Its number, for CGpioEdge and the like; 0 when none is taken.
    unsigned int number() const;

    /// The value, 0 or 1, or a code: -9 when no line is taken, -19 when somebody unexported it.
    int read() const;
    /// Sets an output; -1 for an input.
    int write(ePinValue value);
    /// Sets an output to the opposite of what it reads; nothing is written when the reading fails.
    int toggle();

private:
    std::unique_ptr<CGpioLinePrivate> d;
};

} // namespace Kiv

#endif
