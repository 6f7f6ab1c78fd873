/// What can be set of a PWM channel, and the order in which the kernel takes it.
#ifndef KIV_TOOLS_PWMSETTING_H
#define KIV_TOOLS_PWMSETTING_H

#include <optional>
#include <string>

#include <kiv/linux_pwm.h>

namespace Tool
{

/// A channel's state. Units: nanoseconds.
struct PwmState
{
    unsigned period_ns = 0;
    unsigned dutyCycle_ns = 0;
    bool isInversed = false;
    bool isOn = false;
};

/// What the user wants changed.
struct PwmWish
{
    std::optional<unsigned> period_ns;
    std::optional<unsigned> dutyCycle_ns;
    std::optional<double> dutyPart; ///< instead: the part of the period, 0 to 1
    std::optional<bool> isInversed;
    std::optional<bool> isOn;
};

struct PwmPlace
{
    unsigned char chip;
    unsigned char channel;
};

/// A time such as "20000", "20us" or "1.5ms", or the period of a frequency such as "50Hz". Ends the program otherwise.
unsigned parsePeriod(const std::string& text);

/// Stores a time or a percentage such as "25%" in the wish. Ends the program otherwise.
void parseDutyCycle(const std::string& text, PwmWish& wish);

/// "pwmchip0 channel 1", for messages.
std::string nameOf(const PwmPlace& place);

/// The folder of the channel's attributes; it is there while the channel is exported.
std::string folderOf(const PwmPlace& place);

/// The state of an exported channel. Failures end the program.
PwmState readPwm(const PwmPlace& place);

/// The state that a wish leads to. Ends the program when it can be none: a duty cycle above the period, say.
PwmState fulfilled(const PwmState& before, const PwmWish& wish);

/// Leads an exported channel from one state to another: an output that goes off does so first, one that goes on last,
/// and in between the duty cycle never exceeds the period. Failures end the program where they happen.
void changePwm(const PwmPlace& place, const PwmState& before, const PwmState& after);

} // namespace Tool

#endif
