#include "GpioDevice.h"

#include <cerrno>

#include <kiv/ErrorToString.h>

#include "Command.h"
#include "Input.h"
#include "Sysfs.h"

namespace Tool
{

bool usesGpioDevice() { return !exists("/sys/class/gpio"); }

DeviceLine deviceLine(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    const std::string place = colon != std::string::npos ? text.substr(colon + 1) : "";
    DeviceLine line{"line " + text, "", 0};
    if (const auto offset = parseNumber(place))
    {
        line.chip = text.substr(0, colon);
        Kiv::GpioChipInfo info;
        require("GPIO chip " + line.chip, Kiv::gpio_chip(line.chip, info));
        if (*offset >= info.lineCount)
            throw badInput("GPIO chip " + line.chip + " has the lines 0 to " + std::to_string(info.lineCount - 1) +
                           ", not " + place);
        line.offset = static_cast<unsigned>(*offset);
        return line;
    }
    constexpr int notFound = -2;
    const int result = parseNumber(text) ? notFound : Kiv::gpio_find_line(text, line.chip, line.offset);
    if (result == notFound)
        throw badInput("no GPIO line: " + text +
                       " (without /sys/class/gpio lines have no numbers: CHIP:OFFSET or a name)");
    require(line.name, result);
    return line;
}

Kiv::GpioLineInfo lineInfo(const DeviceLine& line)
{
    Kiv::GpioLineInfo info;
    require(line.name, Kiv::gpio_line(line.chip, line.offset, info));
    return info;
}

void requestLine(const DeviceLine& line, const Kiv::GpioRequestSettings& settings, Kiv::CGpioRequest& request)
{
    const int result = quietly([&] { return request.request(line.chip, {line.offset}, settings); });
    const std::string holder = result == -16 ? lineInfo(line).consumer : "";
    if (!holder.empty())
        throw CToolError(ExitFailed,
                         line.name + ": " + ErrorToString(static_cast<ErrCode>(result)) + ", held by " + holder);
    require(line.name, result);
}

int deviceValue(const DeviceLine& line)
{
    Kiv::GpioRequestSettings settings;
    settings.isDirectionKept = true;
    Kiv::CGpioRequest request;
    requestLine(line, settings, request);
    const int value = request.readLine(0);
    if (value < 0)
        throw failure(line.name, value);
    return value;
}

void setDeviceLine(const DeviceLine& line, const std::string& state)
{
    Kiv::GpioRequestSettings settings;
    settings.direction = state == "in" ? Kiv::PinDirectionInput : Kiv::PinDirectionOutput;
    settings.firstValues = state == "1" ? 1 : 0;
    Kiv::CGpioRequest request;
    requestLine(line, settings, request);
}

std::vector<ListedChip> deviceChips()
{
    std::vector<Kiv::GpioChipInfo> found;
    require("/dev/gpiochip*", Kiv::gpio_chips(found));
    std::vector<ListedChip> chips;
    for (const Kiv::GpioChipInfo& info : found)
    {
        ListedChip chip{info.label, info.path, {}};
        for (unsigned offset = 0; offset < info.lineCount; ++offset)
        {
            const Kiv::GpioLineInfo line =
                lineInfo({"line " + info.path + ':' + std::to_string(offset), info.path, offset});
            ListedLine listed;
            listed.name = line.name;
            listed.use = line.isHeld ? "held" : "free";
            listed.holder = line.consumer;
            listed.direction = line.direction == Kiv::PinDirectionOutput ? "out" : "in";
            chip.lines.push_back(listed);
        }
        chips.push_back(chip);
    }
    return chips;
}

} // namespace Tool
