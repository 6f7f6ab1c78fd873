/// kiv gpio: single lines through sysfs.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include <kiv/linux_gpio.h>
#include <kiv/sysfs_tools.h>

#include "Command.h"
#include "GpioDevice.h"
#include "GpioLine.h"
#include "GpioList.h"
#include "GpioWatch.h"
#include "Input.h"
#include "Json.h"
#include "Sysfs.h"

namespace Tool
{

namespace
{

struct GpioOptions
{
    std::vector<std::string> lines;
    std::vector<std::string> settings;
    bool release = false;
    bool json = false;
};

// ---- get

std::string levelJson(const CGpioLine& line)
{
    CJsonObject object;
    object.addNumber("line", line.number()).addText("direction", line.direction());
    return object.addNumber("value", line.value()).text();
}

std::string deviceLevelJson(const std::string& text, const DeviceLine& line, int value)
{
    CJsonObject object;
    object.addText("line", text);
    object.addText("direction", lineInfo(line).direction == Kiv::PinDirectionOutput ? "out" : "in");
    return object.addNumber("value", value).text();
}

void getDeviceLevels(const GpioOptions& options)
{
    std::vector<std::string> lines;
    for (const std::string& text : options.lines)
    {
        const DeviceLine line = deviceLine(text);
        const int value = deviceValue(line);
        lines.push_back(options.json ? deviceLevelJson(text, line, value) : std::to_string(value));
    }
    if (options.json)
        return printLine(jsonLines(lines));
    for (const std::string& line : lines)
        printLine(line);
}

void getLevels(const GpioOptions& options)
{
    if (usesGpioDevice())
        return getDeviceLevels(options);
    std::vector<unsigned> numbers;
    for (const std::string& name : options.lines)
        numbers.push_back(gpioNumber(name));
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < numbers.size(); ++i)
    {
        const CGpioLine line(numbers[i], options.lines[i]);
        lines.push_back(options.json ? levelJson(line) : std::to_string(line.value()));
    }
    if (options.json)
        return printLine(jsonLines(lines));
    for (const std::string& line : lines)
        printLine(line);
}

// ---- set

struct GpioSetting
{
    std::string name;
    std::string state; ///< "0", "1" or "in"
};

GpioSetting parseSetting(const std::string& text)
{
    const std::size_t equals = text.rfind('=');
    const std::string state = equals == std::string::npos ? "" : text.substr(equals + 1);
    if (state != "0" && state != "1" && state != "in")
        throw badInput("not LINE=0, LINE=1 or LINE=in: " + text);
    return {text.substr(0, equals), state};
}

void setLevel(unsigned number, const GpioSetting& setting, bool release)
{
    CGpioLine line(number, setting.name);
    const auto set = [&] {
        if (setting.state == "in")
            return Kiv::gpio_set_dir(number, Kiv::PinDirectionInput);
        return Kiv::gpio_set_output(number, setting.state == "1" ? Kiv::PinValueHigh : Kiv::PinValueLow);
    };
    require(line.name(), quietly(set));
    line.setExportedAtEnd(!release);
}

void setDeviceLevels(const std::vector<GpioSetting>& settings)
{
    std::vector<DeviceLine> lines;
    lines.reserve(settings.size());
    for (const GpioSetting& setting : settings)
        lines.push_back(deviceLine(setting.name));
    for (std::size_t i = 0; i < settings.size(); ++i)
        setDeviceLine(lines[i], settings[i].state);
}

void setLevels(const GpioOptions& options)
{
    std::vector<GpioSetting> settings;
    for (const std::string& text : options.settings)
        settings.push_back(parseSetting(text)); // all, before the first is set
    if (usesGpioDevice())
        return setDeviceLevels(settings);
    std::vector<unsigned> numbers;
    numbers.reserve(settings.size());
    for (const GpioSetting& setting : settings)
        numbers.push_back(gpioNumber(setting.name));
    for (std::size_t i = 0; i < settings.size(); ++i)
        setLevel(numbers[i], settings[i], options.release);
}

// ---- registration

constexpr const char* lineHelp = "A line's number, or the LABEL:OFFSET of a chip and the place on it; where there\n"
                                 "is only the character device, LABEL:OFFSET or the line's name";

void addGet(CLI::App& gpio)
{
    const auto options = std::make_shared<GpioOptions>();
    CLI::App* get = gpio.add_subcommand("get", "Print the levels of lines");
    get->add_option("LINE", options->lines, lineHelp)->required();
    addJson(*get, options->json);
    get->footer("A line that is not exported is, while it is read; its direction stays.");
    get->callback([options] { getLevels(*options); });
}

void addSet(CLI::App& gpio)
{
    const auto options = std::make_shared<GpioOptions>();
    CLI::App* set = gpio.add_subcommand("set", "Make lines outputs with a level, or inputs");
    set->add_option("SETTING", options->settings,
                    "LINE=0 or LINE=1: an output of this level, without a glitch; LINE=in: an input")
        ->required();
    set->add_flag("--release", options->release, "Give the lines back afterwards");
    set->footer("The lines stay exported, because some chips make an input of a line that is given\n"
                "back. All arguments are looked at before the first line is touched. On kernels\n"
                "without /sys/class/gpio the lines are given back at the end in every case; most\n"
                "chips leave their level as it is.");
    set->callback([options] { setLevels(*options); });
}

CLI::Validator seconds()
{
    const auto check = [](const std::string& text) {
        char* end = nullptr;
        const double number = std::strtod(text.c_str(), &end);
        const bool isTime = !text.empty() && *end == '\0' && std::isfinite(number) && number >= 0;
        return isTime ? std::string() : "no time in seconds: " + text;
    };
    return {check, ""};
}

void addWatch(CLI::App& gpio)
{
    const auto options = std::make_shared<GpioWatchOptions>();
    CLI::App* watch = gpio.add_subcommand("watch", "Print the edges of an input as they come");
    watch->add_option("LINE", options->line, lineHelp)->required();
    watch->add_option("--edge", options->edge, "both, rising or falling")
        ->type_name("EDGE")
        ->check(CLI::IsMember({"both", "rising", "falling"}).description(""));
    watch->add_option("--count", options->count, "End after so many edges")
        ->type_name("N")
        ->transform(wholeNumber(1, std::numeric_limits<std::uint64_t>::max()));
    watch->add_option("--timeout", options->timeoutSeconds, "End with status 1 when no edge comes for so long")
        ->type_name("SECONDS")
        ->check(seconds());
    addJson(*watch, options->json);
    watch->footer("Begins with the level at first; several edges within a short time may come as one,\n"
                  "but not through the character device, which tells lost ones.\n"
                  "At the end, also by Ctrl-C, the line is set back as it was.");
    watch->callback([options] { watchGpio(*options); });
}

void addList(CLI::App& gpio)
{
    const auto options = std::make_shared<GpioOptions>();
    CLI::App* list = gpio.add_subcommand("list", "Print all chips and lines, and who holds them");
    addJson(*list, options->json);
    list->footer("Nothing is touched: direction and level are those of exported lines, and of lines\n"
                 "that drivers hold where /sys/kernel/debug/gpio may be read, which tells the holder\n"
                 "too.");
    list->callback([options] { listGpio(options->json); });
}

} // namespace

void addGpioCommands(CLI::App& program)
{
    CLI::App* gpio = program.add_subcommand("gpio", "List, read, set and watch GPIO lines");
    gpio->require_subcommand(1);
    addGet(*gpio);
    addList(*gpio);
    addSet(*gpio);
    addWatch(*gpio);
}

} // namespace Tool
