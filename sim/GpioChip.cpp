#include "GpioChip.h"

#include <algorithm>
#include <cerrno>

#include "DeviceFolder.h"
#include "Node.h"

namespace Sim
{

namespace
{

std::string folderName(const CGpioLine& line) { return "gpio" + std::to_string(line.number()); }

} // namespace

CGpioChip::CGpioChip(const GpioChipConfig& config, CFolder& classFolder, CFolder& devices)
    : chipLabel(config.label), device(config.device), base(config.base), gpioClass(classFolder)
{
    for (unsigned i = 0; i < config.lines; ++i)
    {
        const bool isHeld = std::find(config.held.begin(), config.held.end(), i) != config.held.end();
        chipLines.emplace_back(base + i, i < config.names.size() ? config.names[i] : std::string(), isHeld);
    }
    const std::string name = "gpiochip" + std::to_string(base);
    folder = devices.addFolder(device)->addFolder("gpio");
    const auto chip = folder->add(name, std::make_shared<CFolder>(gpioClass.path() + "/" + name));
    chip->add("base", constantAttribute(std::to_string(base) + "\n"));
    chip->add("label", constantAttribute(chipLabel + "\n"));
    chip->add("ngpio", constantAttribute(std::to_string(config.lines) + "\n"));
    addDeviceEntries(*chip, "gpio", device);
    gpioClass.add(name, std::make_shared<CLink>(deviceLink(device, "gpio", name)));
}

CGpioLine* CGpioChip::findLine(std::int64_t number)
{
    const bool isOurs = number >= base && number < base + static_cast<std::int64_t>(chipLines.size());
    return isOurs ? &chipLines[static_cast<std::size_t>(number - base)] : nullptr;
}

int CGpioChip::exportLine(CGpioLine& line)
{
    if (line.isExported() || line.isHeld())
        return -EBUSY;
    const std::string name = folderName(line);
    const auto exported = line.exportAs(gpioClass.path() + "/" + name);
    addDeviceEntries(*exported, "gpio", device);
    folder->addVolatile(name, exported);
    gpioClass.addVolatile(name, std::make_shared<CLink>(deviceLink(device, "gpio", name)));
    return 0;
}

int CGpioChip::unexportLine(CGpioLine& line)
{
    if (!line.isExported())
        return -EINVAL;
    gpioClass.erase(folderName(line));
    folder->erase(folderName(line));
    line.unexport();
    return 0;
}

void CGpioChip::reset()
{
    for (CGpioLine& line : chipLines)
    {
        unexportLine(line);
        line.reset();
    }
}

} // namespace Sim
