#include <kiv/GpioChips.h>

#include <algorithm>
#include <memory>

#include <dirent.h>

#include "kiv/env/unix/helper/GpioDevice.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

constexpr const char* deviceFolder = "/dev";
constexpr const char* devicePrefix = "gpiochip";

struct CloseFolder
{
    void operator()(DIR* folder) const { closedir(folder); }
};

/// The devices of the chips by number, "/dev/gpiochip2" before "/dev/gpiochip10".
int devicePaths(std::vector<std::string>& paths)
{
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(deviceFolder));
    if (!entries)
        return negatedErrno();
    while (const dirent* entry = readdir(entries.get()))
        if (std::strncmp(entry->d_name, devicePrefix, std::strlen(devicePrefix)) == 0)
            paths.push_back(std::string(deviceFolder) + '/' + entry->d_name);
    std::sort(paths.begin(), paths.end(), [](const std::string& left, const std::string& right) {
        return left.size() != right.size() ? left.size() < right.size() : left < right;
    });
    return 0;
}

int openDevice(const std::string& path, CDescriptor& descriptor, GpioChipInfo& info)
{
    descriptor = CDescriptor::open(path.c_str(), O_RDWR);
    if (!descriptor.isOpen())
        return negatedErrno();
    gpiochip_info answer = {};
    if (const int result = gpioCall(descriptor, GPIO_GET_CHIPINFO_IOCTL, answer))
        return result;
    info.path = path;
    info.label = textOf(answer.label);
    info.lineCount = answer.lines;
    return 0;
}

bool isDevice(const std::string& chip)
{
    return chip.find('/') == 0 || chip.compare(0, std::strlen(devicePrefix), devicePrefix) == 0;
}

eGpioBias biasOf(std::uint64_t flags)
{
    if ((flags & GPIO_V2_LINE_FLAG_BIAS_PULL_UP) != 0)
        return GpioBiasPullUp;
    if ((flags & GPIO_V2_LINE_FLAG_BIAS_PULL_DOWN) != 0)
        return GpioBiasPullDown;
    return (flags & GPIO_V2_LINE_FLAG_BIAS_DISABLED) != 0 ? GpioBiasNone : GpioBiasAsIs;
}

eGpioDrive driveOf(std::uint64_t flags)
{
    if ((flags & GPIO_V2_LINE_FLAG_OPEN_DRAIN) != 0)
        return GpioDriveOpenDrain;
    return (flags & GPIO_V2_LINE_FLAG_OPEN_SOURCE) != 0 ? GpioDriveOpenSource : GpioDrivePushPull;
}

eGpioEdge edgeOf(std::uint64_t flags)
{
    const bool isRising = (flags & GPIO_V2_LINE_FLAG_EDGE_RISING) != 0;
    const bool isFalling = (flags & GPIO_V2_LINE_FLAG_EDGE_FALLING) != 0;
    if (isRising && isFalling)
        return GpioEdgeBoth;
    return isRising ? GpioEdgeRising : isFalling ? GpioEdgeFalling : GpioEdgeNone;
}

/// The offset of the line with this name on an open chip, and how many there are.
int countLines(const CDescriptor& descriptor, const GpioChipInfo& chip, const std::string& name, unsigned int& count,
               unsigned int& offset)
{
    for (unsigned int i = 0; i < chip.lineCount; ++i)
    {
        GpioLineInfo line;
        if (const int result = askGpioLine(descriptor, i, line))
            return result;
        if (line.name == name && count++ == 0)
            offset = i;
    }
    return 0;
}

} // namespace

int openGpioChip(const std::string& chip, CDescriptor& descriptor, GpioChipInfo& info)
{
    if (isDevice(chip))
    {
        const int result = openDevice(chip[0] == '/' ? chip : std::string(deviceFolder) + '/' + chip, descriptor, info);
        return result == noSuchEntity ? noSuchDevice : result;
    }
    std::vector<std::string> paths;
    int reason = devicePaths(paths);
    if (reason == 0)
        reason = noSuchDevice;
    for (const std::string& path : paths)
    {
        GpioChipInfo found;
        const int result = openDevice(path, descriptor, found);
        if (result == 0 && found.label == chip)
        {
            info = found;
            return 0;
        }
        if (result != 0)
            reason = result; // perhaps this was the one
    }
    descriptor = CDescriptor();
    return reason;
}

int askGpioLine(const CDescriptor& chip, unsigned int offset, GpioLineInfo& info)
{
    gpio_v2_line_info answer = {};
    answer.offset = offset;
    if (const int result = gpioCall(chip, GPIO_V2_GET_LINEINFO_IOCTL, answer))
        return result;
    info.offset = offset;
    info.name = textOf(answer.name);
    info.consumer = textOf(answer.consumer);
    info.isHeld = (answer.flags & GPIO_V2_LINE_FLAG_USED) != 0;
    info.direction = (answer.flags & GPIO_V2_LINE_FLAG_OUTPUT) != 0 ? PinDirectionOutput : PinDirectionInput;
    info.mode = (answer.flags & GPIO_V2_LINE_FLAG_ACTIVE_LOW) != 0 ? PinModeActiveLow : PinModeActiveHigh;
    info.bias = biasOf(answer.flags);
    info.drive = driveOf(answer.flags);
    info.edge = edgeOf(answer.flags);
    info.debounceUs = 0;
    for (unsigned int i = 0; i < std::min<unsigned int>(answer.num_attrs, GPIO_V2_LINE_NUM_ATTRS_MAX); ++i)
        if (answer.attrs[i].id == GPIO_V2_LINE_ATTR_ID_DEBOUNCE)
            info.debounceUs = answer.attrs[i].debounce_period_us;
    return 0;
}

int gpio_chips(std::vector<GpioChipInfo>& chips)
{
    std::vector<std::string> paths;
    int reason = devicePaths(paths);
    std::vector<GpioChipInfo> found;
    for (const std::string& path : paths)
    {
        CDescriptor descriptor;
        GpioChipInfo chip;
        const int result = openDevice(path, descriptor, chip);
        if (result == 0)
            found.push_back(chip);
        else
            reason = result;
    }
    if (found.empty() && reason != 0)
        return reason;
    chips = std::move(found);
    return 0;
}

int gpio_chip(const std::string& chip, GpioChipInfo& info)
{
    CDescriptor descriptor;
    GpioChipInfo found;
    const int result = openGpioChip(chip, descriptor, found);
    if (result == 0)
        info = found;
    return result;
}

int gpio_line(const std::string& chip, unsigned int offset, GpioLineInfo& info)
{
    CDescriptor descriptor;
    GpioChipInfo found;
    if (const int result = openGpioChip(chip, descriptor, found))
        return result;
    return offset < found.lineCount ? askGpioLine(descriptor, offset, info) : invalidArgument;
}

int gpio_find_line(const std::string& name, std::string& chip, unsigned int& offset)
{
    std::vector<std::string> paths;
    int reason = devicePaths(paths);
    unsigned int count = 0;
    std::string foundChip;
    unsigned int foundOffset = 0;
    for (const std::string& path : paths)
    {
        CDescriptor descriptor;
        GpioChipInfo info;
        const unsigned int before = count;
        int result = openDevice(path, descriptor, info);
        if (result == 0)
            result = countLines(descriptor, info, name, count, foundOffset);
        if (before == 0 && count != 0)
            foundChip = path;
        if (result != 0)
            reason = result;
    }
    if (count > 1)
        return alreadyThere;
    if (count == 0 || name.empty())
        return reason != 0 ? reason : noSuchEntity;
    chip = foundChip;
    offset = foundOffset;
    return 0;
}

} // namespace Kiv
