/// One GPIO chip: its lines, and the device folder in which exported ones appear.
#ifndef KIV_SIM_GPIOCHIP_H
#define KIV_SIM_GPIOCHIP_H

#include <memory>
#include <vector>

#include "BoardConfig.h"
#include "GpioLine.h"

namespace Sim
{

class CFolder;

/// Threads, errors: as CNode.
class CGpioChip
{
public:
    /// Adds gpiochipN to the device folder and to the class folder. `config` has its base.
    CGpioChip(const GpioChipConfig& config, CFolder& gpioClass, CFolder& devices);
    CGpioChip(const CGpioChip&) = delete;
    CGpioChip& operator=(const CGpioChip&) = delete;

    const std::string& label() const { return chipLabel; }
    std::vector<CGpioLine>& lines() { return chipLines; }
    const std::vector<CGpioLine>& lines() const { return chipLines; }
    /// Null for a number of another chip's.
    CGpioLine* findLine(std::int64_t number);

    /// -EBUSY for a line that is exported or held.
    int exportLine(CGpioLine& line);
    /// -EINVAL for a line that is not exported.
    int unexportLine(CGpioLine& line);
    /// All lines as at power-on.
    void reset();

private:
    std::string chipLabel;
    std::string device;
    unsigned base;
    std::vector<CGpioLine> chipLines;
    CFolder& gpioClass;
    std::shared_ptr<CFolder> folder;
};

} // namespace Sim

#endif
