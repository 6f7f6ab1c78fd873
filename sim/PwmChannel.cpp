#include "PwmChannel.h"

#include <cerrno>
#include <limits>

#include "KernelText.h"
#include "Node.h"
#include "PwmChip.h"

namespace Sim
{

namespace
{

bool isSame(const PwmState& a, const PwmState& b)
{
    return a.period == b.period && a.duty == b.duty && a.isEnabled == b.isEnabled && a.isInversed == b.isInversed;
}

bool isComplete(const PwmState& state) { return state.period != 0 && state.duty <= state.period; }

} // namespace

CPwmChannel::CPwmChannel(CPwmChip& owner, const PwmState& atPowerOn)
    : chip(owner), initial(atPowerOn), current(atPowerOn)
{}

void CPwmChannel::reset()
{
    unexport();
    current = initial;
}

double CPwmChannel::dutyFraction() const
{
    if (!current.isEnabled || current.period == 0)
        return 0;
    return static_cast<double>(current.duty) / static_cast<double>(current.period);
}

std::shared_ptr<CFolder> CPwmChannel::exportAs(const std::string& path)
{
    folder = std::make_shared<CFolder>(path);
    const auto periodText = [this] { return std::to_string(current.period) + "\n"; };
    const auto dutyText = [this] { return std::to_string(current.duty) + "\n"; };
    const auto enableText = [this] { return bitText(current.isEnabled); };
    const auto polarityText = [this] { return current.isInversed ? "inversed\n" : "normal\n"; };
    addAttribute(*folder, "period", *this, periodText, &CPwmChannel::setPeriod);
    addAttribute(*folder, "duty_cycle", *this, dutyText, &CPwmChannel::setDuty);
    addAttribute(*folder, "enable", *this, enableText, &CPwmChannel::setEnabled);
    addAttribute(*folder, "polarity", *this, polarityText, &CPwmChannel::setPolarity);
    folder->add("capture", std::make_shared<CAttribute>(0444, [](std::string&) { return -ENOSYS; }));
    folder->add("uevent", std::make_shared<CAttribute>(
                              0644, [](std::string&) { return 0; }, [](std::string_view) { return 0; }));
    folder->addFolder("power");
    return folder;
}

/// The kernel's order: its own check, then the short way out for what changes nothing, then the driver.
int CPwmChannel::apply(const PwmState& next)
{
    if (!isAcceptedByCore(next))
        return -EINVAL;
    if (isSame(next, current))
        return 0;
    if (const int refusal = refusalOfDriver(next))
        return refusal;
    current = next;
    return 0;
}

/// Older kernels want every state complete, 6.12 only that of a running channel.
bool CPwmChannel::isAcceptedByCore(const PwmState& next) const
{
    return isComplete(next) || (chip.config().kernel == Kernel612 && !next.isEnabled);
}

int CPwmChannel::refusalOfDriver(const PwmState& next) const
{
    const int refusal = refusalOfPeriod(next);
    return refusal != 0 ? refusal : refusalOfPolarity(next);
}

int CPwmChannel::refusalOfPeriod(const PwmState& next) const
{
    const PwmChipConfig& config = chip.config();
    const bool isNewPeriod = next.period != current.period;
    if (next.period == 0 && (config.driver == DriverBcm2835 || (config.driver == DriverSun5i && isNewPeriod)))
        return -EINVAL;
    const bool isInRange = next.period >= config.minPeriod && next.period <= config.maxPeriod;
    if (next.period != 0 && !isInRange && (next.isEnabled || !config.isRangeCheckedLate))
        return -EINVAL;
    const bool isRunningOtherwise = config.isPeriodShared && chip.isNeighbourRunning(*this, next.period);
    return isRunningOtherwise && (next.isEnabled || isNewPeriod) ? -EBUSY : 0;
}

int CPwmChannel::refusalOfPolarity(const PwmState& next) const
{
    if (next.isInversed == current.isInversed || chip.config().polarity == PolarityAlways)
        return 0;
    if (chip.config().polarity == PolarityNever)
        return -EINVAL;
    return current.isEnabled ? -EBUSY : 0;
}

int CPwmChannel::setPeriod(std::string_view bytes)
{
    PwmState next = current;
    const int refusal = parseUnsigned(bytes, std::numeric_limits<std::uint64_t>::max(), next.period);
    return refusal != 0 ? refusal : apply(next);
}

/// The kernel reads 32 bits here and 64 for the period.
int CPwmChannel::setDuty(std::string_view bytes)
{
    PwmState next = current;
    const int refusal = parseUnsigned(bytes, std::numeric_limits<std::uint32_t>::max(), next.duty);
    return refusal != 0 ? refusal : apply(next);
}

int CPwmChannel::setEnabled(std::string_view bytes)
{
    using Limits = std::numeric_limits<std::int32_t>;
    std::int64_t number = 0;
    if (const int refusal = parseSigned(bytes, Limits::min(), Limits::max(), number))
        return refusal;
    if (number != 0 && number != 1)
        return -EINVAL;
    PwmState next = current;
    next.isEnabled = number == 1;
    return apply(next);
}

int CPwmChannel::setPolarity(std::string_view bytes)
{
    PwmState next = current;
    next.isInversed = isWord(bytes, "inversed");
    if (!next.isInversed && !isWord(bytes, "normal"))
        return -EINVAL;
    return apply(next);
}

} // namespace Sim
