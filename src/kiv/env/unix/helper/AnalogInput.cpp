#include <kiv/AnalogInput.h>

#include <charconv>
#include <cmath>
#include <memory>
#include <string_view>

#include <dirent.h>

#include "kiv/env/unix/helper/SysfsTake.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

constexpr std::string_view rawEnd = "_raw";

struct CloseFolder
{
    void operator()(DIR* folder) const { closedir(folder); }
};

/// A finite number that fills the line, blanks behind it aside. As std::from_chars() reads it, whatever the locale.
int finiteNumber(const std::string& path, double& number)
{
    std::string text;
    const int result = readAttribute(path, text);
    if (result != 0)
        return result;
    const char* begin = text.c_str();
    const char* end = begin + text.find_last_not_of(" \t\r") + 1;
    double found = 0;
    const auto [numberEnd, error] = std::from_chars(begin + (*begin == '+' ? 1 : 0), end, found);
    if (error != std::errc() || numberEnd != end || !std::isfinite(found))
        return illegalText;
    number = found;
    return 0;
}

/// "/sys/bus/iio/devices/iio:device0/" of the device with this name; empty if there is none.
std::string folderOfDevice(const std::string& name)
{
    const std::string devices = "/sys/bus/iio/devices/";
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(devices.c_str()));
    while (const dirent* entry = entries ? readdir(entries.get()) : nullptr)
    {
        std::string folder = devices + entry->d_name + '/';
        std::string found;
        if (entry->d_name[0] != '.' && readAttribute(folder + "name", found) == 0 && found == name)
            return folder;
    }
    return {};
}

} // namespace

CAnalogInput::CAnalogInput(const std::string& rawPath) : rawFile(rawPath) {}

CAnalogInput::CAnalogInput(const std::string& device, unsigned int channel)
{
    const std::string folder = folderOfDevice(device);
    if (!folder.empty())
        rawFile = folder + "in_voltage" + std::to_string(channel) + "_raw";
}

const std::string& CAnalogInput::path() const { return rawFile; }

int CAnalogInput::readRaw(double& raw) const { return finiteNumber(rawFile, raw); }

/// The channel's own file comes before that of all channels.
int CAnalogInput::readFactor(const char* what, double& factor) const
{
    if (rawFile.size() < rawEnd.size() || rawFile.compare(rawFile.size() - rawEnd.size(), rawEnd.size(), rawEnd) != 0)
        return noSuchEntity;
    const std::string own = rawFile.substr(0, rawFile.size() - rawEnd.size());
    const int result = finiteNumber(own + what, factor);
    if (result != noSuchEntity)
        return result;
    const std::size_t nameEnd = own.find_last_not_of("0123456789") + 1;
    return finiteNumber(own.substr(0, nameEnd) + what, factor);
}

int CAnalogInput::readVolts(double& volts) const
{
    constexpr double perVolt = 1000; // the kernel's unit is the millivolt
    double raw = 0;
    double scale = 0;
    double offset = 0;
    int result = readRaw(raw);
    if (result == 0)
        result = readFactor("_scale", scale);
    if (result == 0 && (result = readFactor("_offset", offset)) == noSuchEntity)
        result = 0;
    if (result != 0)
        return result;
    const double found = (raw + offset) * scale / perVolt;
    if (!std::isfinite(found))
        return outOfRange;
    volts = found;
    return 0;
}

int CAnalogInput::read(const AnalogUnit& unit, double& value) const
{
    double volts = 0;
    if (const int result = readVolts(volts))
        return result;
    const double found = unit.atZeroVolts + volts * unit.perVolt;
    if (!(found >= unit.minimum && found <= unit.maximum))
        return outOfRange;
    value = found;
    return 0;
}

} // namespace Kiv
