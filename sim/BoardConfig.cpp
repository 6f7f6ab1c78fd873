#include "BoardConfig.h"

#include <climits>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

#include <kiv/IniFile.h>

#include "KernelText.h"

namespace Sim
{

namespace
{

constexpr unsigned firstDynamicBase = 512;
constexpr unsigned mostLines = 1024;
constexpr unsigned mostChannels = 64;

/// Why a value cannot be used; the reader adds where it stands.
class CBadValue : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

using Setter = std::function<void(const std::string& value)>;
using Setters = std::map<std::string, Setter>;

std::uint64_t number(const std::string& text, std::uint64_t minimum, std::uint64_t maximum)
{
    std::uint64_t parsed = 0;
    if (parseUnsigned(text, maximum, parsed) != 0 || parsed < minimum)
        throw CBadValue("a number from " + std::to_string(minimum) + " to " + std::to_string(maximum) + " is needed");
    return parsed;
}

template<class Number>
Setter numberSetter(Number& target, std::uint64_t minimum, std::uint64_t maximum)
{
    return [&target, minimum, maximum](const std::string& value) {
        target = static_cast<Number>(number(value, minimum, maximum));
    };
}

Setter periodSetter(std::uint64_t& target)
{
    return numberSetter(target, 0, std::numeric_limits<std::uint64_t>::max());
}

template<class Value>
Setter wordSetter(Value& target, const std::map<std::string, Value>& words)
{
    return [&target, words](const std::string& value) {
        const auto found = words.find(value);
        if (found != words.end())
        {
            target = found->second;
            return;
        }
        std::string known;
        for (const auto& [word, meaning] : words)
            known += (known.empty() ? "" : ", ") + word;
        throw CBadValue("must be one of " + known);
    };
}

Setter flagSetter(bool& target) { return wordSetter<bool>(target, {{"0", false}, {"1", true}}); }

bool isFileName(const std::string& text)
{
    return !text.empty() && text.size() <= NAME_MAX && text[0] != '.' &&
           text.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

/// A text that can be a file's name.
Setter nameSetter(std::string& target)
{
    return [&target](const std::string& value) {
        if (!isFileName(value))
            throw CBadValue("not fit for a file's name");
        target = value;
    };
}

std::vector<std::string> commaSeparated(const std::string& text)
{
    std::vector<std::string> items;
    std::istringstream stream(text);
    for (std::string item; std::getline(stream, item, ',');)
    {
        Kiv::TrimRight(item, " \t");
        Kiv::TrimLeft(item, " \t");
        items.push_back(item);
    }
    return items;
}

/// What a kernel or a board does not have at all.
Setter absenceSetter(BoardConfig& config)
{
    return [&config](const std::string& value) {
        const std::map<std::string, bool BoardConfig::*> parts = {
            {"adc", &BoardConfig::hasAdc}, {"gpio", &BoardConfig::hasGpio}, {"pwm", &BoardConfig::hasPwm}};
        for (const std::string& item : commaSeparated(value))
        {
            const auto found = parts.find(item);
            if (found == parts.end())
                throw CBadValue("must name some of adc, gpio, pwm");
            config.*(found->second) = false;
        }
    };
}

constexpr unsigned noBase = std::numeric_limits<unsigned>::max();

class CReader
{
public:
    explicit CReader(const std::string& file) : path(file), ini(file) {}

    BoardConfig read()
    {
        load();
        for (unsigned short i = 0; i < ini.sectionCount(); ++i)
            readSection(ini.sectionName(i));
        return config;
    }

private:
    [[noreturn]] void fail(const std::string& reason) const { throw CBoardConfigError(path + ": " + reason); }

    [[noreturn]] void fail(const std::string& section, const std::string& reason) const
    {
        fail("[" + section + "] " + reason);
    }

    void load()
    {
        try
        {
            if (const auto code = static_cast<int>(ini.load()))
                fail(std::strerror(-code));
        }
        catch (const std::out_of_range&)
        {
            fail("a line begins with '[' and has no ']'");
        }
    }

    void readSection(const std::string& section)
    {
        if (!sections.insert(section).second)
            fail(section, "stands there twice");
        if (section == "board")
            apply(section,
                  {{"kernel",
                    wordSetter<eKernel>(config.kernel, {{"5.10", Kernel61}, {"6.1", Kernel61}, {"6.12", Kernel612}})},
                   {"without", absenceSetter(config)}});
        else if (section == "adc")
            readAdc(section);
        else if (section == "iio")
            apply(section, {{"name", nameSetter(config.iio.name)},
                            {"scale", [this](const std::string& value) { config.iio.scale = value; }},
                            {"offset", [this](const std::string& value) { config.iio.offset = value; }}});
        else if (section.compare(0, 4, "gpio") == 0)
            readGpio(section);
        else if (section.compare(0, 3, "pwm") == 0)
            readPwm(section);
        else
            fail(section, "is unknown; there are board, adc, iio, gpio..., pwm...");
    }

    void apply(const std::string& section, const Setters& setters)
    {
        for (int i = 0; i < ini.keyCountInSection(section); ++i)
        {
            const std::string& key = ini.keyName(section, static_cast<unsigned short>(i));
            const auto setter = setters.find(key);
            if (setter == setters.end())
                fail(section, key + " is unknown");
            set(section, key, setter->second);
        }
    }

    void set(const std::string& section, const std::string& key, const Setter& setter)
    {
        std::string value;
        ini.readString(section, key, "", value);
        try
        {
            setter(value);
        }
        catch (const CBadValue& reason)
        {
            fail(section, key + "=" + value + ": " + reason.what());
        }
    }

    /// A device without a name is called after its section.
    void nameDevice(const std::string& section, std::string& device) const
    {
        if (device.empty())
            device = "sim-" + section;
        if (!isFileName(device))
            fail(section, "is not fit for a file's name; give a device");
    }

    void readGpio(const std::string& section)
    {
        GpioChipConfig chip;
        chip.label = section;
        chip.base = noBase;
        const auto setHeld = [&chip](const std::string& value) {
            for (const std::string& item : commaSeparated(value))
                chip.held.push_back(static_cast<unsigned>(number(item, 0, mostLines - 1)));
        };
        const auto setNames = [&chip](const std::string& value) { chip.names = commaSeparated(value); };
        apply(section, {{"label", [&chip](const std::string& value) { chip.label = value; }},
                        {"device", nameSetter(chip.device)},
                        {"base", numberSetter(chip.base, 0, 1U << 20)},
                        {"lines", numberSetter(chip.lines, 1, mostLines)},
                        {"held", setHeld},
                        {"names", setNames}});
        nameDevice(section, chip.device);
        config.gpio.push_back(chip);
    }

    void readPwm(const std::string& section)
    {
        PwmChipConfig chip;
        apply(section,
              {{"device", nameSetter(chip.device)},
               {"channels", numberSetter(chip.channels, 1, mostChannels)},
               {"driver",
                wordSetter<ePwmDriver>(chip.driver,
                                       {{"sun5i", DriverSun5i}, {"bcm2835", DriverBcm2835}, {"rk3288", DriverRk3288}})},
               {"polarity_changes", wordSetter<ePolarityChanges>(chip.polarity, {{"always", PolarityAlways},
                                                                                 {"disabled", PolarityDisabled},
                                                                                 {"never", PolarityNever}})},
               {"shared_period", flagSetter(chip.isPeriodShared)},
               {"min_period", periodSetter(chip.minPeriod)},
               {"max_period", periodSetter(chip.maxPeriod)},
               {"range_check", wordSetter<bool>(chip.isRangeCheckedLate, {{"write", false}, {"enable", true}})},
               {"period", periodSetter(chip.initialPeriod)},
               {"polarity", wordSetter<bool>(chip.isInitiallyInversed, {{"normal", false}, {"inversed", true}})}});
        nameDevice(section, chip.device);
        config.pwm.push_back(chip);
    }

    /// Each key is an input, its value the text at the start.
    void readAdc(const std::string& section)
    {
        for (int i = 0; i < ini.keyCountInSection(section); ++i)
        {
            AdcConfig input;
            const std::string& key = ini.keyName(section, static_cast<unsigned short>(i));
            set(section, key, [&](const std::string& value) {
                nameSetter(input.name)(key);
                input.text = value + "\n";
            });
            config.adc.push_back(input);
        }
    }

    std::string path;
    Kiv::CIniFile ini;
    std::set<std::string> sections;
    BoardConfig config;
};

/// Chips without a base are numbered as the kernel does it: 6.12 upwards from 512, earlier ones downwards.
void assignBases(BoardConfig& config)
{
    unsigned next = firstDynamicBase;
    for (GpioChipConfig& chip : config.gpio)
    {
        if (chip.base != noBase)
            continue;
        if (config.kernel == Kernel61 && chip.lines > next)
            throw CBadValue("there is no room for " + std::to_string(chip.lines) + " lines of " + chip.device +
                            " below " + std::to_string(next) + "; give a base");
        chip.base = config.kernel == Kernel61 ? next - chip.lines : next;
        next = config.kernel == Kernel61 ? chip.base : next + chip.lines;
    }
}

void checkUniqueness(const BoardConfig& config)
{
    std::set<std::string> devices;
    std::set<unsigned> lines;
    for (const GpioChipConfig& chip : config.gpio)
    {
        if (!devices.insert(chip.device).second)
            throw CBadValue("device " + chip.device + " stands there twice");
        for (unsigned i = 0; i < chip.lines; ++i)
            if (!lines.insert(chip.base + i).second)
                throw CBadValue("line " + std::to_string(chip.base + i) + " belongs to two chips");
    }
    for (const PwmChipConfig& chip : config.pwm)
        if (!devices.insert(chip.device).second)
            throw CBadValue("device " + chip.device + " stands there twice");
    if (config.hasAdc && !devices.insert(config.iio.name).second)
        throw CBadValue("device " + config.iio.name + " stands there twice");
}

void checkAbsence(const BoardConfig& config)
{
    if ((!config.hasGpio && !config.gpio.empty()) || (!config.hasPwm && !config.pwm.empty()) ||
        (!config.hasAdc && !config.adc.empty()))
        throw CBadValue("what the board is without is described all the same");
}

void complete(BoardConfig& config)
{
    checkAbsence(config);
    if (config.hasGpio && config.gpio.empty())
    {
        config.gpio.emplace_back();
        config.gpio[0].label = config.gpio[0].device = "9030000.pl061";
        config.gpio[0].base = noBase;
    }
    if (config.hasPwm && config.pwm.empty())
    {
        config.pwm.emplace_back();
        config.pwm[0].device = "fe20c000.pwm";
    }
    if (config.hasAdc && config.adc.empty())
        config.adc = {{"in0", "0\n"}, {"in1", "0\n"}};
    for (PwmChipConfig& chip : config.pwm)
        chip.kernel = config.kernel;
    assignBases(config);
    checkUniqueness(config);
}

} // namespace

BoardConfig defaultBoard()
{
    BoardConfig config;
    complete(config);
    return config;
}

BoardConfig readBoard(const std::string& path)
{
    BoardConfig config = CReader(path).read();
    try
    {
        complete(config);
    }
    catch (const CBadValue& reason)
    {
        throw CBoardConfigError(path + ": " + reason.what());
    }
    return config;
}

} // namespace Sim
