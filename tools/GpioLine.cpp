#include "GpioLine.h"

#include <cerrno>
#include <cstdint>
#include <limits>

#include <kiv/linux_gpio.h>
#include <kiv/sysfs_tools.h>

#include "Command.h"
#include "Input.h"
#include "Sysfs.h"

namespace Tool
{

namespace
{

constexpr unsigned accessTimeoutMs = 1000; // as long as udev may take after an export
constexpr const char* gpioFolder = "/sys/class/gpio";

std::string folderOf(unsigned pin) { return std::string(gpioFolder) + "/gpio" + std::to_string(pin); }

unsigned numberOnChip(const std::string& text, const std::string& label, const std::string& offsetText)
{
    const auto offset = parseNumber(offsetText);
    if (label.empty() || !offset)
        throw badInput("no GPIO line: " + text + " (a number, or the LABEL:OFFSET of a chip and the place on it)");
    const int base = Kiv::gpio_chip_base(label.c_str());
    if (base < 0)
        throw failure("GPIO chip " + label, base);
    const std::string chip = std::string(gpioFolder) + "/gpiochip" + std::to_string(base);
    const auto count = parseNumber(readAttribute(chip + "/ngpio").value_or(""));
    if (count && *offset >= *count)
        throw badInput("GPIO chip " + label + " has the lines 0 to " + std::to_string(*count - 1) + ", not " +
                       offsetText);
    return static_cast<unsigned>(base) + static_cast<unsigned>(*offset);
}

} // namespace

unsigned gpioNumber(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    if (colon != std::string::npos)
        return numberOnChip(text, text.substr(0, colon), text.substr(colon + 1));
    const auto number = parseNumber(text);
    if (!number || *number > static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
        return numberOnChip(text, "", "");
    return static_cast<unsigned>(*number);
}

CGpioLine::CGpioLine(unsigned lineNumber, const std::string& lineName) : pin(lineNumber), userName("line " + lineName)
{
    if (exists(folderOf(pin)))
        return;
    if (!exists(gpioFolder))
        throw failure(gpioFolder, ENOENT);
    require(userName, quietly([this] { return Kiv::gpio_export(pin); }));
    givesBack = true;
    const int result = Kiv::gpio_wait_access(pin, accessTimeoutMs);
    if (result == 0)
        return;
    quietly([this] { return Kiv::gpio_unexport(pin); });
    throw failure(userName, result);
}

CGpioLine::~CGpioLine()
{
    if (givesBack)
        quietly([this] { return Kiv::gpio_unexport(pin); });
}

int CGpioLine::value() const
{
    unsigned level = 0;
    require(userName, quietly([&] { return Kiv::gpio_get_value(pin, &level); }));
    return static_cast<int>(level);
}

std::string CGpioLine::attribute(const char* what) const
{
    const auto text = readAttribute(folderOf(pin) + '/' + what);
    if (!text)
        throw systemFailure(userName);
    return *text;
}

std::string CGpioLine::direction() const { return attribute("direction"); }

std::string CGpioLine::edge() const { return attribute("edge"); }

void CGpioLine::setEdge(const std::string& edge) const
{
    require(userName + ": edge " + edge, quietly([&] { return Kiv::gpio_set_edge(pin, edge.c_str()); }));
}

} // namespace Tool
