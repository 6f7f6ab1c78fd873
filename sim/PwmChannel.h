/// One channel of a PWM chip: its state, and which changes of it kernel and driver accept.
#ifndef KIV_SIM_PWMCHANNEL_H
#define KIV_SIM_PWMCHANNEL_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "BoardConfig.h"

namespace Sim
{

class CFolder;
class CPwmChip;

/// Times in nanoseconds.
struct PwmState
{
    std::uint64_t period = 0;
    std::uint64_t duty = 0;
    bool isEnabled = false;
    bool isInversed = false;
};

/// Threads, errors: as CNode.
class CPwmChannel
{
public:
    CPwmChannel(CPwmChip& chip, const PwmState& initial);

    const PwmState& state() const { return current; }
    bool isExported() const { return folder != nullptr; }
    /// The part of the period during which the channel is active: 0 when it is off.
    double dutyFraction() const;

    /// The folder with the channel's attributes; the state is what the channel was left with.
    std::shared_ptr<CFolder> exportAs(const std::string& path);
    void unexport() { folder.reset(); }
    /// As at power-on.
    void reset();

private:
    int apply(const PwmState& next);
    bool isAcceptedByCore(const PwmState& next) const;
    int refusalOfDriver(const PwmState& next) const;
    int refusalOfPeriod(const PwmState& next) const;
    int refusalOfPolarity(const PwmState& next) const;
    int setPeriod(std::string_view bytes);
    int setDuty(std::string_view bytes);
    int setEnabled(std::string_view bytes);
    int setPolarity(std::string_view bytes);

    CPwmChip& chip;
    PwmState initial;
    PwmState current;
    std::shared_ptr<CFolder> folder;
};

} // namespace Sim

#endif
