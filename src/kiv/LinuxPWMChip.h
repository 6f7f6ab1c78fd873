/// All channels of a PWM chip whose channels share one period.
#ifndef KIV_LINUXPWMCHIP_H
#define KIV_LINUXPWMCHIP_H

#include <memory>

#include <kiv/kiv_export.h>
#include <kiv/linux_pwm.h>

namespace Kiv
{

class CLinuxPWMChipPrivate;

/// How the channels of a chip are taken or adopted.
struct PwmChipStart
{
    unsigned int firstPeriodNs = 0;      ///< what channels without a period get; 0 leaves them so
    unsigned int accessTimeoutMs = 1000; ///< how long udev may take to grant access to each channel
};

// The destructor is not virtual: never delete a subclass through a pointer to this class.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// Drives a chip as a unit and keeps a copy of what the kernel accepted: duty cycles, polarities, on/off, the period.
///
/// setPeriod() follows the order in which the kernel accepts a new period on channels that share a clock: all outputs
/// quiet, all channels but 0 released, the period set on channel 0, the others taken again with the new period.
///
/// Starting a chip: kernels before 6.12 accept no duty cycle before a period is set, so the first setPeriod() of a chip
/// that never had one answers -22. The constructor with PwmChipStart gives every channel a first period, and is silent
/// where the other one prints.
///
/// After a failed setPeriod() the completed steps stay done: duty cycles 0, channels off, perhaps channels released;
/// the recorded period is the old one. Channels that stay released make the next call answer -2: take them again with
/// pwm_export() and repeat. Repeat it with the new period: channel 0 may have that already, and a call with the
/// recorded one does nothing.
///
/// Polarity: the constructor without PwmChipStart reads "normal" from the kernel as inversed (see pwm_get_polarity()),
/// and setPeriod() restores what is recorded, so on channels 1 and up it writes "inversed" unless setPolarity() was
/// called before.
///
/// Threads: reentrant. Units: nanoseconds.
/// Errors: results are 0 or a negated error code; setPolarity() and setPeriod() also log the step that failed through
/// Diag::diagLogger(). A channel beyond the count answers -22, 0 or false, and nothing is touched.
class KIV_API CLinuxPWMChip
{
public:
    /// Exports every channel and reads its state. Failures are ignored: a channel that is exported already is simply
    /// read, after a line on standard error. `channelCount` is not compared with the chip's own.
    CLinuxPWMChip(unsigned char chip, unsigned char channelCount);

    /// Takes every channel, or adopts it as it runs when it is exported already, reads its state with the polarity as
    /// it is, and gives it a period if it has none. Prints nothing; the first refusal is logged, ends it, and is
    /// error().
    CLinuxPWMChip(unsigned char chip, unsigned char channelCount, const PwmChipStart& start);

    /// Leaves every channel exported and running.
    ~CLinuxPWMChip();

    CLinuxPWMChip(const CLinuxPWMChip&) = delete;
    CLinuxPWMChip& operator=(const CLinuxPWMChip&) = delete;

    /// Why the channels could not be taken, or 0; always 0 when they were taken without PwmChipStart.
    int error() const;

    /// As given to the constructor.
    unsigned char number() const;
    unsigned char channelCount() const;

    /// As recorded: what the kernel accepted last.
    unsigned int period_ns() const;
    unsigned int dutyCycle_ns(unsigned char channel) const;
    bool isOn(unsigned char channel) const;

    /// Switches an output; all other operations switch through this one.
    virtual int setOn(unsigned char channel, bool on);

    /// The active part of each period; the kernel refuses one longer than the period.
    int setDutyCycle(unsigned char channel, unsigned int ns);

    /// Switches the channel off, sets the polarity and switches it back as it was.
    int setPolarity(unsigned char channel, ePWMPolarity polarity);

    /// Sets the period of all channels; nothing happens if it is the recorded one. Afterwards every channel is off with
    /// duty cycle 0: set duty cycles for the new period and switch on again.
    int setPeriod(unsigned int ns);

private:
    std::unique_ptr<CLinuxPWMChipPrivate> d;
};

#pragma GCC diagnostic pop

} // namespace Kiv

#endif
