/// Single digital lines through the kernel's sysfs interface, /sys/class/gpio (Linux ABI obsolete/sysfs-gpio).
#ifndef KIV_LINUX_GPIO_H
#define KIV_LINUX_GPIO_H

#include <kiv/kiv_export.h>

/// Every function opens, accesses and closes one sysfs file; nothing is kept between calls. <kiv/GpioLine.h> takes a
/// line in one call, with its direction, first level, edge and sense, also one that an earlier run left exported; new
/// designs and kernels without these files use <kiv/GpioRequest.h>.
///
/// What the kernel does that surprises:
/// - Line numbers are the kernel's own and move between kernel versions: find a chip by its label, with
///   gpio_chip_base() of <kiv/sysfs_tools.h>, and count from its base.
/// - Direction "out" sets the line low, also when it was a high output already. An output that must start high, or must
///   not glitch, is made with gpio_set_output() of <kiv/sysfs_tools.h>.
/// - A value written to an input is refused (-1, "Operation not permitted").
/// - The files of a freshly exported line may belong to root until udev has run; gpio_wait_access() waits for that.
/// - Direction and level outlive unexport; edge does not. A line stays exported when the program ends: the next start
///   finds it so, and gpio_export() answers -16.
///
/// Results: 0, or the negated error code of the failed system call, which is also reported on standard error by
/// perror(3) with a short tag. Threads: safe; the kernel orders accesses to one line. No function allocates memory.
namespace Kiv
{

/// Who drives a line: the outer world, or the board.
enum ePinDirection : int
{
    PinDirectionInput = 0,
    PinDirectionOutput = 1
};

/// What a line shows or is set to.
enum ePinValue : int
{
    PinValueLow = 0,
    PinValueHigh = 1
};

/// Which changes of an input count.
enum eGpioEdge : int
{
    GpioEdgeNone = 0,
    GpioEdgeRising = 1,
    GpioEdgeFalling = 2,
    GpioEdgeBoth = 3
};

/// How a line's logical value follows from its level.
enum ePinMode : int
{
    PinModeActiveHigh = 0, ///< the logical value is the line's level
    PinModeActiveLow = 1   ///< the logical value is the inverse of the line's level
};

/// Makes the line available; -16 when it is already, or a driver holds it.
KIV_API int gpio_export(unsigned int pin);

/// Gives the line back; -22 when it is not exported.
KIV_API int gpio_unexport(unsigned int pin);

/// PinDirectionOutput makes an output, and sets it low; any other value an input.
KIV_API int gpio_set_dir(unsigned int pin, ePinDirection dir);

/// Sets an output: 0 low, any other value high.
KIV_API int gpio_set_value(unsigned int pin, ePinValue value);

/// Stores the level, 0 or 1, through `value`. After a failed read it has stored 1, after a failed open nothing. -22 for
/// a null `value`.
KIV_API int gpio_get_value(unsigned int pin, unsigned int* value);

/// `edge` is "none", "rising", "falling" or "both". A failed open returns -1, whatever its reason; -22 for null.
KIV_API int gpio_set_edge(unsigned int pin, const char* edge);

/// A descriptor of the line's value for poll(2) with POLLPRI, or -1. Read it once before polling: the kernel reports an
/// edge at once until then. Not woken by unexport.
KIV_API int gpio_fd_open(unsigned int pin);

/// Closes such a descriptor; a failure is not reported on standard error.
KIV_API int gpio_fd_close(int fd);

/// A line with its direction and active level; copies are independent, and the hardware is touched by calls only.
///
/// connect() begins an output low, which is logically 1 if it is active low, and refuses a line that is exported, as
/// after a restart. CGpioLine of <kiv/GpioLine.h> does neither; the object here needs no connect() to be read and
/// written.
class KIV_API CLinuxIoPin
{
public:
    /// Touches no hardware.
    CLinuxIoPin(unsigned int pin, ePinDirection dir, ePinMode mode);

    /// Replaces the three settings; touches no hardware.
    void configure(unsigned int pin, ePinDirection dir, ePinMode mode);

    /// Exports the line and sets its direction. -16 when it is exported already, and then the direction stays: give it
    /// back with gpio_unexport() first, or go on with gpio_set_dir().
    int connect();

    /// The logical value, 0 or 1, or a negated code.
    int read() const;

    /// Sets the logical value of an output.
    int write(ePinValue value);

    /// Writes the opposite of what it reads; writes 1 when the read fails.
    int toggle();

private:
    unsigned int pinNumber;
    ePinDirection direction;
    ePinMode activeMode;
};

} // namespace Kiv

#endif
