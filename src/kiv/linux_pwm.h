/// Single accesses to a PWM channel through the kernel's sysfs interface, /sys/class/pwm (Linux ABI
/// testing/sysfs-class-pwm).
#ifndef KIV_LINUX_PWM_H
#define KIV_LINUX_PWM_H

#include <kiv/kiv_export.h>

/// Every function opens, accesses and closes one sysfs file. <kiv/PwmOutput.h> takes a channel in one call, also one
/// that an earlier run left exported, and reads the polarity as it is. `chip` is the N of pwmchipN, `channel` counts
/// from 0. Times are nanoseconds; from 2^31 on they are written as a negative number, which the kernel refuses.
///
/// What the kernel does that surprises:
/// - Before Linux 6.12 the N of pwmchipN is the number of the chip's first channel in the whole system, from 6.12 on
///   chips count 0, 1, 2: find a chip by its device, with pwm_chip_number() of <kiv/sysfs_tools.h>.
/// - Before 6.12 everything but the period is refused (-22) until a period has been set: set period, duty cycle,
///   polarity, enable in this order. To shorten a period below the duty cycle set the duty cycle first.
/// - The kernel presents the polarity with a line break, which makes it read back as inversed here, see below.
/// - An output keeps running when its channel is unexported while enabled.
///
/// Results: 0, or the negated error code of the failed system call, reported on standard error by perror(3) too: a
/// failed open or read with the path, a failed write with a short tag. A failed open leaves outputs as they were,
/// except the channel count, which is 0 then; a failed read stores 0. Threads: safe. No function allocates memory.

enum ePWMPolarity : int
{
    PWMPolarityNormal = 0,
    PWMPolarityInversed = 1
};

/// Makes a channel available: -16 when it is already, -19 when the chip has no such channel.
KIV_API int pwm_export(unsigned char chip, unsigned char channel);

/// Gives a channel back; -19 when it is not exported.
KIV_API int pwm_unexport(unsigned char chip, unsigned char channel);

/// How long the output is active in each period; -22 for longer than the period.
KIV_API int pwm_set_duty_cycle(unsigned char chip, unsigned char channel, unsigned int ns);
KIV_API int pwm_get_duty_cycle(unsigned char chip, unsigned char channel, unsigned int& ns);

/// -22 for shorter than the duty cycle; -16 if the channel shares its clock with a running one that has another period.
KIV_API int pwm_set_period(unsigned char chip, unsigned char channel, unsigned int ns);
KIV_API int pwm_get_period(unsigned char chip, unsigned char channel, unsigned int& ns);

/// Switches the output; -22 as long as it has no period.
KIV_API int pwm_set_enabled(unsigned char chip, unsigned char channel, bool on);

/// A failed read is not noticed: the channel counts as enabled then, and the result is 0.
KIV_API int pwm_get_enabled(unsigned char chip, unsigned char channel, bool& on);

/// -22, and nothing is written, for anything but the two polarities. Some drivers refuse while the output is on (-16),
/// or always (-22). A refusal is reported under the tag of enable, by which it is searched for.
KIV_API int pwm_set_polarity(unsigned char chip, unsigned char channel, ePWMPolarity p);

/// Normal only if the file holds "normal" and not one byte more; the kernel adds a line break, so from the kernel it
/// reads as inversed. Callers rely on the exact comparison.
KIV_API int pwm_get_polarity(unsigned char chip, unsigned char channel, ePWMPolarity& p);

/// The number of channels that the chip has, in 8 bits.
KIV_API int pwm_get_channel_count(unsigned char chip, unsigned char& count);

/// All of it is found beside the gpio_* functions, too.
namespace Kiv
{
using ::ePWMPolarity;
using ::PWMPolarityInversed;
using ::PWMPolarityNormal;

using ::pwm_export;
using ::pwm_get_channel_count;
using ::pwm_get_duty_cycle;
using ::pwm_get_enabled;
using ::pwm_get_period;
using ::pwm_get_polarity;
using ::pwm_set_duty_cycle;
using ::pwm_set_enabled;
using ::pwm_set_period;
using ::pwm_set_polarity;
using ::pwm_unexport;
} // namespace Kiv

#endif
