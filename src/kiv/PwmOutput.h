/// One PWM channel of /sys/class/pwm that is taken, or adopted from an earlier run, and set up in one call.
#ifndef KIV_PWMOUTPUT_H
#define KIV_PWMOUTPUT_H

#include <memory>

#include <kiv/kiv_export.h>
#include <kiv/linux_pwm.h>

namespace Kiv
{

class CPwmOutputPrivate;

/// What a channel puts out; times in nanoseconds, from 0 to 2^31 - 1.
struct PwmWave
{
    unsigned int periodNs = 0;                 ///< nanoseconds
    unsigned int dutyCycleNs = 0;              ///< at most the period
    ePWMPolarity polarity = PWMPolarityNormal; ///< which level the duty cycle means
    bool isOn = false;                         ///< the channel gives pulses
};

/// How a channel is wanted.
struct PwmOutputSettings
{
    PwmWave wave;                        ///< what it gives
    bool isKept = false;                 ///< an adopted channel that has a period goes on as it runs
    bool isReleased = false;             ///< the destructor switches the channel off and gives it back
    unsigned int accessTimeoutMs = 1000; ///< how long udev may take to grant access
};

/// A channel that is "mine, and set as I want it", or a code that says why not.
///
/// | the channel is | take() |
/// |---|---|
/// | free | exports it |
/// | exported already, by an earlier run or a shell | adopts it, in silence |
/// | held by a driver | -16, at once |
/// | not there, as its chip may be | -19, -2 |
/// | not yet writable, as udev is late | waits, then -13 |
///
/// The steps come in the order that every kernel takes: off first, on last, the duty cycle never above the period; a
/// channel goes off for a moment only when its polarity changes. What is so already is not written: an adopted channel
/// that runs as wanted is not disturbed.
///
/// Threads: reentrant. Units: nanoseconds.
/// Errors: negated codes, -9 while no channel is taken. take() also logs its refusals through Diag::diagLogger(), with
/// numbers and path. Nothing is printed on standard error. A step that the kernel refuses ends the call; those before
/// it stay done. -16 for a period is that of a neighbour that shares its clock and runs.
class KIV_API CPwmOutput
{
public:
    /// Touches no hardware.
    CPwmOutput();
    /// Switches off and gives back, or leaves running, as the settings say.
    ~CPwmOutput();
    CPwmOutput(const CPwmOutput&) = delete;
    CPwmOutput& operator=(const CPwmOutput&) = delete;

    /// Takes or adopts a channel by the N of pwmchipN; one that the object has goes first, as in the destructor. A
    /// channel that it exported and could not set up is given back. A wave with period 0 sets nothing up; -22 and
    /// nothing touched for one that cannot be.
    int take(unsigned char chip, unsigned char channel, const PwmOutputSettings& settings);
    /// The same by the name of the chip's device, see pwm_chip_number().
    int takeOn(const char* device, unsigned char channel, const PwmOutputSettings& settings);
    /// Switches the channel off and gives it back, whatever the settings say.
    int release();
    /// Forgets the channel, which stays exported and runs on.
    void leave();

    /// True from a successful take() to the release.
    bool isTaken() const;
    /// It was exported before it was taken.
    bool isAdopted() const;

    /// What the kernel says of the channel; after a failure `wave` is as before.
    int read(PwmWave& wave) const;
    /// Leads the channel to another wave. -22, and nothing is touched, for a duty cycle above the period or a wave
    /// without period that is on.
    int set(const PwmWave& wave);
    /// -22 above the period.
    int setDutyCycle(unsigned int ns);
    int setOn(bool on);

private:
    std::unique_ptr<CPwmOutputPrivate> d;
};

} // namespace Kiv

#endif
