/// kiv adc: analogue inputs as their drivers present them.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <kiv/linux_adc.h>

#include "Command.h"
#include "Json.h"
#include "Sysfs.h"

namespace Tool
{

namespace
{

struct AdcOptions
{
    std::vector<std::string> files;
    bool json = false;
};

/// The number in a file, as text. The library tells that it failed, not why.
std::string readNumber(const std::string& file)
{
    if (!readAttribute(file))
        throw systemFailure(file);
    const float value = Kiv::CLinuxPollingADC(file).read();
    if (!std::isfinite(value))
        throw CToolError(ExitFailed, file + ": does not begin with a finite number");
    char text[64];
    std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
    return text;
}

void read(const AdcOptions& options)
{
    std::vector<std::string> lines;
    for (const std::string& file : options.files)
    {
        const std::string number = readNumber(file);
        lines.push_back(options.json ? CJsonObject().addText("file", file).add("value", number).text() : number);
    }
    if (options.json)
        return printLine(jsonLines(lines));
    for (const std::string& line : lines)
        printLine(line);
}

} // namespace

void addAdcCommand(CLI::App& program)
{
    const auto options = std::make_shared<AdcOptions>();
    CLI::App* adc = program.add_subcommand("adc", "Read ADC inputs");
    adc->require_subcommand(1);
    CLI::App* command = adc->add_subcommand("read", "Print the numbers in drivers' files");
    command->add_option("FILE", options->files, "Such as /sys/bus/iio/devices/iio:device0/in_voltage0_raw")->required();
    addJson(*command, options->json);
    command->footer("The unit is the driver's; nothing is scaled.");
    command->callback([options] { read(*options); });
}

} // namespace Tool
