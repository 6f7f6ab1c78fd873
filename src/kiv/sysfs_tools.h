/// What programs need around sysfs GPIO and PWM: outputs without a glitch, waiting for edges, finding chips, udev.
#ifndef KIV_SYSFS_TOOLS_H
#define KIV_SYSFS_TOOLS_H

#include <memory>

#include <kiv/Deadline.h>
#include <kiv/kiv_export.h>
#include <kiv/linux_gpio.h>

/// Results: as the functions say, failures as negated error codes. Nothing here prints or logs.
namespace Kiv
{

/// Makes an exported line an output that has `value` from its first moment on: high for anything but 0. This is the
/// line's level, also where a CLinuxIoPin takes it as active low. 0 or a code.
KIV_API int gpio_set_output(unsigned int pin, ePinValue value);

/// The number of the first line of the GPIO chip with this label, or a code: -19 if no chip has it.
KIV_API int gpio_chip_base(const char* label);

/// The N of the pwmchipN whose device, the last part of where its `device` link leads, has this name (such as
/// "fe20c000.pwm"), or a code: -19 if there is none.
KIV_API int pwm_chip_number(const char* device);

/// Waits until this process may write an exported line's direction and value, at most `timeoutMs`: udev grants access a
/// moment after the export. 0, or the last reason why not (-13 mostly).
KIV_API int gpio_wait_access(unsigned int pin, unsigned int timeoutMs);

/// The same for an exported PWM channel's period, duty cycle, polarity and enable.
KIV_API int pwm_wait_access(unsigned char chip, unsigned char channel, unsigned int timeoutMs);

class CGpioEdgePrivate;

/// Waits for edges of an exported input; another thread can end the wait, which unexport does not.
///
/// Edges since the construction or the last wait are not lost, but several count as one. Which ones count is set by
/// gpio_set_edge(), before; without it none does.
///
/// Threads: wait() belongs to one thread; interrupt() is safe from any thread and from signal handlers.
class KIV_API CGpioEdge
{
public:
    /// Of an exported line.
    explicit CGpioEdge(unsigned int pin);
    ~CGpioEdge();
    CGpioEdge(const CGpioEdge&) = delete;
    CGpioEdge& operator=(const CGpioEdge&) = delete;

    /// 0, or the code of what failed at construction; wait() returns the same then.
    int error() const;

    /// Waits at most `timeoutMs`, for ever if negative: 1 for an edge, 0 when the time ran out, -36 ("Operation
    /// canceled") when interrupted, -19 if the line was unexported before the call, another negated code for a
    /// failure. Of an interruption and an edge at once the interruption comes first, and the edge with the next call.
    int wait(int timeoutMs);

    /// Waits until the deadline in the same way.
    int wait(const CDeadline& deadline);

    /// Ends the wait in progress, or else the next one.
    void interrupt();

private:
    std::unique_ptr<CGpioEdgePrivate> d;
};

} // namespace Kiv

#endif
