#include "PwmChip.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "DeviceFolder.h"
#include "KernelText.h"
#include "Node.h"

namespace Sim
{

CPwmChip::CPwmChip(unsigned number, const PwmChipConfig& config, CFolder& pwmClass, CFolder& devices)
    : chipNumber(number), chipConfig(config)
{
    PwmState initial;
    initial.period = config.initialPeriod;
    initial.isInversed = config.isInitiallyInversed;
    for (unsigned i = 0; i < config.channels; ++i)
        chipChannels.emplace_back(*this, initial);

    const std::string name = "pwmchip" + std::to_string(number);
    folder = std::make_shared<CFolder>(pwmClass.path() + "/" + name);
    devices.addFolder(config.device)->addFolder("pwm")->add(name, folder);
    const auto store = [this](int (CPwmChip::*operation)(std::string_view)) {
        return [this, operation](std::string_view bytes) { return (this->*operation)(bytes); };
    };
    folder->add("export", std::make_shared<CAttribute>(0200, CAttribute::Show(), store(&CPwmChip::exportChannel)));
    folder->add("unexport", std::make_shared<CAttribute>(0200, CAttribute::Show(), store(&CPwmChip::unexportChannel)));
    folder->add("npwm", constantAttribute(std::to_string(config.channels) + "\n"));
    addDeviceEntries(*folder, "pwm", config.device);
    pwmClass.add(name, std::make_shared<CLink>(deviceLink(config.device, "pwm", name)));
}

bool CPwmChip::isNeighbourRunning(const CPwmChannel& channel, std::uint64_t period) const
{
    return std::any_of(chipChannels.begin(), chipChannels.end(), [&](const CPwmChannel& other) {
        return &other != &channel && other.state().isEnabled && other.state().period != period;
    });
}

int CPwmChip::findChannel(std::string_view bytes, std::uint64_t& index) const
{
    if (const int refusal = parseUnsigned(bytes, std::numeric_limits<std::uint32_t>::max(), index))
        return refusal;
    return index < chipChannels.size() ? 0 : -ENODEV;
}

int CPwmChip::exportChannel(std::string_view bytes)
{
    std::uint64_t index = 0;
    if (const int refusal = findChannel(bytes, index))
        return refusal;
    CPwmChannel& channel = chipChannels[index];
    if (channel.isExported())
        return -EBUSY;
    const std::string name = "pwm" + std::to_string(index);
    folder->addVolatile(name, channel.exportAs(folder->path() + "/" + name));
    return 0;
}

int CPwmChip::unexportChannel(std::string_view bytes)
{
    std::uint64_t index = 0;
    if (const int refusal = findChannel(bytes, index))
        return refusal;
    CPwmChannel& channel = chipChannels[index];
    if (!channel.isExported())
        return -ENODEV;
    folder->erase("pwm" + std::to_string(index));
    channel.unexport();
    return 0;
}

void CPwmChip::reset()
{
    for (std::size_t i = 0; i < chipChannels.size(); ++i)
    {
        if (chipChannels[i].isExported())
            folder->erase("pwm" + std::to_string(i));
        chipChannels[i].reset();
    }
}

} // namespace Sim
