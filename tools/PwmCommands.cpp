/// kiv pwm: PWM chips and channels through sysfs.
#include <cstdio>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include <kiv/sysfs_tools.h>

#include "Command.h"
#include "Input.h"
#include "Json.h"
#include "PwmSetting.h"
#include "Sysfs.h"

namespace Tool
{

namespace
{

constexpr const char* pwmFolder = "/sys/class/pwm";
constexpr unsigned accessTimeoutMs = 1000; // as long as udev may take after an export

struct PwmOptions
{
    std::string chip;
    unsigned channel = 0;
    std::string period;
    std::string duty;
    std::string polarity;
    bool on = false;
    bool off = false;
    bool json = false;
};

std::string folderOfChip(unsigned chip) { return std::string(pwmFolder) + "/pwmchip" + std::to_string(chip); }

/// A chip by its number or its device's name.
unsigned char chipNumber(const std::string& text)
{
    const auto number = parseNumber(text);
    const int found = number ? 0 : Kiv::pwm_chip_number(text.c_str());
    if (found < 0)
        throw failure("PWM chip " + text, found);
    const auto chip = number.value_or(static_cast<std::uint64_t>(found));
    if (chip > 255 || !exists(folderOfChip(static_cast<unsigned>(chip))))
        throw failure("PWM chip " + text, -19);
    return static_cast<unsigned char>(chip);
}

/// The last part of where the chip's device link leads.
std::string deviceOf(unsigned chip)
{
    char target[4096];
    const ssize_t size = readlink((folderOfChip(chip) + "/device").c_str(), target, sizeof target);
    const std::string path(target, size > 0 ? static_cast<std::size_t>(size) : 0);
    return path.substr(path.rfind('/') + 1);
}

unsigned channelCount(unsigned char chip)
{
    unsigned char count = 0;
    require("PWM chip " + std::to_string(chip), quietly([&] { return pwm_get_channel_count(chip, count); }));
    return count;
}

// ---- show

struct PwmChannel
{
    unsigned number;
    bool isExported;
    PwmState state;
};

std::vector<PwmChannel> channelsOf(unsigned char chip)
{
    std::vector<PwmChannel> channels;
    for (unsigned channel = 0; channel < channelCount(chip); ++channel)
    {
        const PwmPlace place{chip, static_cast<unsigned char>(channel)};
        const bool isExported = exists(folderOf(place));
        channels.push_back({channel, isExported, isExported ? readPwm(place) : PwmState()});
    }
    return channels;
}

double percent(const PwmState& state)
{
    return state.period_ns == 0 ? 0 : 100.0 * state.dutyCycle_ns / state.period_ns;
}

std::string toJson(const PwmChannel& channel)
{
    CJsonObject object;
    object.addNumber("channel", channel.number).addBool("exported", channel.isExported);
    if (!channel.isExported)
        return object.text();
    const PwmState& state = channel.state;
    object.addBool("on", state.isOn).addNumber("period_ns", state.period_ns);
    object.addNumber("duty_cycle_ns", state.dutyCycle_ns);
    return object.addText("polarity", state.isInversed ? "inversed" : "normal").text();
}

std::string toText(const PwmChannel& channel)
{
    const PwmState& state = channel.state;
    char text[128];
    if (!channel.isExported)
        std::snprintf(text, sizeof text, "  %u  not exported", channel.number);
    else
        std::snprintf(text, sizeof text, "  %u  %-3s  period %u ns, duty cycle %u ns (%.1f %%), %s", channel.number,
                      state.isOn ? "on" : "off", state.period_ns, state.dutyCycle_ns, percent(state),
                      state.isInversed ? "inversed" : "normal");
    return text;
}

std::string showChip(unsigned char chip, bool json)
{
    std::vector<std::string> lines;
    std::string text = "pwmchip" + std::to_string(chip) + ' ' + deviceOf(chip);
    for (const PwmChannel& channel : channelsOf(chip))
    {
        lines.push_back(toJson(channel));
        text += '\n' + toText(channel);
    }
    CJsonObject object;
    object.addNumber("chip", chip).addText("device", deviceOf(chip)).add("channels", jsonArray(lines));
    return json ? object.text() : text;
}

void show(const PwmOptions& options)
{
    std::vector<unsigned> chips = numberedEntries(pwmFolder, "pwmchip");
    if (!options.chip.empty())
        chips = {chipNumber(options.chip)};
    std::vector<std::string> texts;
    for (const unsigned chip : chips)
        if (chip <= 255)
            texts.push_back(showChip(static_cast<unsigned char>(chip), options.json));
    if (options.json)
        return printLine(jsonLines(texts));
    if (texts.empty())
        throw CToolError(ExitNo, "this machine shows no PWM chip");
    for (const std::string& text : texts)
        printLine(text);
}

// ---- list

/// Who holds a chip's channels, by channel, as /sys/kernel/debug/pwm tells where it may be read:
/// " pwm-0   (sysfs               ): requested enabled ..." below "0: platform/fe20c000.pwm, 2 PWM devices".
std::vector<std::string> holdersOf(const std::string& device)
{
    std::ifstream file("/sys/kernel/debug/pwm");
    std::vector<std::string> holders;
    bool isOurs = false;
    for (std::string text; std::getline(file, text);)
    {
        const std::size_t open = text.find('(');
        if (text.find(" PWM device") != std::string::npos)
            isOurs = text.find(device + ",") != std::string::npos;
        else if (isOurs && open != std::string::npos && text.find("pwm-") < open)
        {
            const std::string holder = text.substr(open + 1, text.find(')') - open - 1);
            const bool isHeld = text.find("): requested") != std::string::npos;
            holders.push_back(isHeld ? holder.substr(0, holder.find_last_not_of(' ') + 1) : "");
        }
    }
    return holders;
}

void list(const PwmOptions& options)
{
    std::vector<std::string> lines;
    for (const unsigned number : numberedEntries(pwmFolder, "pwmchip"))
    {
        const auto chip = static_cast<unsigned char>(number);
        const std::string device = deviceOf(chip);
        const std::vector<std::string> holders = holdersOf(device);
        for (const PwmChannel& channel : number <= 255 ? channelsOf(chip) : std::vector<PwmChannel>())
        {
            const std::string holder = channel.number < holders.size() ? holders[channel.number] : "";
            const bool isHeld = !channel.isExported && !holder.empty();
            const std::string use = channel.isExported ? "exported" : isHeld ? "held" : "free";
            CJsonObject object;
            object.addNumber("chip", chip).addText("device", device).addNumber("channel", channel.number);
            object.addText("use", holders.empty() && !channel.isExported ? "not exported" : use);
            object.addText("holder", holder);
            std::string place = "pwmchip" + std::to_string(chip);
            place.append(" ").append(device).append(toText(channel));
            if (isHeld)
                place.append(", held by ").append(holder);
            lines.push_back(options.json ? object.text() : place);
        }
    }
    if (options.json)
        return printLine(jsonLines(lines));
    if (lines.empty())
        throw CToolError(ExitNo, "this machine shows no PWM chip");
    for (const std::string& line : lines)
        printLine(line);
}

// ---- set

PwmWish parseWish(const PwmOptions& options)
{
    PwmWish wish;
    if (!options.period.empty())
        wish.period_ns = parsePeriod(options.period);
    if (!options.duty.empty())
        parseDutyCycle(options.duty, wish);
    if (!options.polarity.empty())
        wish.isInversed = options.polarity == "inversed";
    if (options.on || options.off)
        wish.isOn = options.on;
    if (!wish.period_ns && !wish.dutyCycle_ns && !wish.dutyPart && !wish.isInversed && !wish.isOn)
        throw badInput("nothing to set: give --period, --duty, --polarity, --on or --off");
    return wish;
}

/// Exports a channel and waits until its files may be written.
void takeChannel(const PwmPlace& place)
{
    require(nameOf(place), quietly([&] { return pwm_export(place.chip, place.channel); }));
    const int result = Kiv::pwm_wait_access(place.chip, place.channel, accessTimeoutMs);
    if (result == 0)
        return;
    quietly([&] { return pwm_unexport(place.chip, place.channel); });
    throw failure(nameOf(place), result);
}

PwmState fulfilledOrReleased(const PwmPlace& place, const PwmState& before, const PwmWish& wish, bool isTaken)
{
    try
    {
        return fulfilled(before, wish);
    }
    catch (const CToolError&)
    {
        if (isTaken)
            quietly([&] { return pwm_unexport(place.chip, place.channel); });
        throw;
    }
}

void set(const PwmOptions& options)
{
    const PwmWish wish = parseWish(options);
    const unsigned char chip = chipNumber(options.chip);
    if (options.channel >= channelCount(chip))
        throw badInput("PWM chip " + options.chip + " has " + std::to_string(channelCount(chip)) + " channels, from 0");
    const PwmPlace place{chip, static_cast<unsigned char>(options.channel)};
    const bool isTaken = !exists(folderOf(place));
    if (isTaken)
        takeChannel(place);
    const PwmState before = readPwm(place);
    changePwm(place, before, fulfilledOrReleased(place, before, wish, isTaken));
}

// ---- registration

using Options = std::shared_ptr<PwmOptions>;

constexpr const char* chipHelp = "The chip's number, or its device such as fe20c000.pwm";

void addSet(CLI::App& pwm, const Options& options)
{
    CLI::App* command = pwm.add_subcommand("set", "Set up a channel and switch it");
    command->add_option("CHIP", options->chip, chipHelp)->required();
    command->add_option("CHANNEL", options->channel, "The channel's number, from 0")
        ->required()
        ->transform(wholeNumber(0, std::numeric_limits<unsigned>::max()));
    command->add_option("--period", options->period, "A time, 20000 (ns), 20us, 1.5ms, or a frequency, 50Hz, 20kHz")
        ->type_name("TIME")
        ->check(notEmpty());
    command->add_option("--duty", options->duty, "A time, or a part of the period, 25%")
        ->type_name("TIME")
        ->check(notEmpty());
    command->add_option("--polarity", options->polarity, "normal or inversed")
        ->type_name("POLARITY")
        ->check(CLI::IsMember({"normal", "inversed"}).description(""));
    CLI::Option* on = command->add_flag("--on", options->on, "Switch the output on, when all else is set");
    command->add_flag("--off", options->off, "Switch the output off, before all else")->excludes(on);
    command->footer("What is not given stays as it is. The channel stays exported, and goes off for a\n"
                    "moment when its polarity changes. What the kernel refuses ends the command; the\n"
                    "steps before are done then.");
    command->callback([options] { set(*options); });
}

} // namespace

void addPwmCommands(CLI::App& program)
{
    const auto options = std::make_shared<PwmOptions>();
    CLI::App* pwm = program.add_subcommand("pwm", "List, show and set PWM channels");
    pwm->require_subcommand(1);
    CLI::App* command = pwm->add_subcommand("show", "Print the state of all channels");
    command->add_option("CHIP", options->chip, chipHelp)->check(notEmpty());
    addJson(*command, options->json);
    command->callback([options] { show(*options); });
    CLI::App* all = pwm->add_subcommand("list", "Print the channels of all chips, and who holds them");
    addJson(*all, options->json);
    all->footer("Nothing is touched. Who holds a channel is told where /sys/kernel/debug/pwm may be\nread.");
    all->callback([options] { list(*options); });
    addSet(*pwm, options);
}

} // namespace Tool
