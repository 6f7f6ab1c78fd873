/// One PWM chip: its channels and the folder in which exported ones appear.
#ifndef KIV_SIM_PWMCHIP_H
#define KIV_SIM_PWMCHIP_H

#include <deque>
#include <memory>
#include <string_view>

#include "BoardConfig.h"
#include "PwmChannel.h"

namespace Sim
{

class CFolder;

/// Threads, errors: as CNode.
class CPwmChip
{
public:
    /// Adds pwmchipN to the device folder and to the class folder.
    CPwmChip(unsigned number, const PwmChipConfig& config, CFolder& pwmClass, CFolder& devices);
    CPwmChip(const CPwmChip&) = delete;
    CPwmChip& operator=(const CPwmChip&) = delete;

    unsigned number() const { return chipNumber; }
    const PwmChipConfig& config() const { return chipConfig; }
    const std::deque<CPwmChannel>& channels() const { return chipChannels; }
    /// True when a channel other than the given one is on with another period.
    bool isNeighbourRunning(const CPwmChannel& channel, std::uint64_t period) const;
    /// All channels as at power-on.
    void reset();

private:
    int exportChannel(std::string_view bytes);
    int unexportChannel(std::string_view bytes);
    int findChannel(std::string_view bytes, std::uint64_t& index) const;

    unsigned chipNumber;
    PwmChipConfig chipConfig;
    std::deque<CPwmChannel> chipChannels;
    std::shared_ptr<CFolder> folder;
};

} // namespace Sim

#endif
