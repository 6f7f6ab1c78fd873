/// kiv hours: the record of an hour meter in a storage file.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <kiv/FileStorage.h>
#include <kiv/HourMeter.h>

#include "Command.h"
#include "Input.h"
#include "Json.h"

namespace Tool
{

namespace
{

constexpr unsigned secondsOfMinute = 60;
constexpr unsigned secondsOfHour = 3600;

struct HoursOptions
{
    std::string file;
    int offset = 0;
    bool json = false;
};

using Storage = std::shared_ptr<Kiv::CFileStorage>;

Storage openStorage(const HoursOptions& options)
{
    auto storage = std::make_shared<Kiv::CFileStorage>(0);
    require(options.file, storage->open(options.file));
    return storage;
}

/// The record as it stands; a meter would count the time since its construction, and a storage must be writable.
std::uint32_t readRecord(const HoursOptions& options)
{
    const int file = open(options.file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        throw systemFailure(options.file);
    std::uint32_t seconds = 0;
    const ssize_t size = pread(file, &seconds, sizeof seconds, options.offset);
    const int reason = errno;
    close(file);
    errno = reason;
    if (size < 0)
        throw systemFailure(options.file);
    if (size != sizeof seconds)
        throw badInput(options.file + ": the file ends before a record at offset " + std::to_string(options.offset));
    return seconds;
}

std::string hoursText(std::uint32_t seconds)
{
    char text[64];
    std::snprintf(text, sizeof text, "%u h %02u min %02u s", seconds / secondsOfHour,
                  seconds / secondsOfMinute % secondsOfMinute, seconds % secondsOfMinute);
    return text;
}

void show(const HoursOptions& options)
{
    const std::uint32_t seconds = readRecord(options);
    printLine(options.json ? CJsonObject().addNumber("seconds", seconds).text() : hoursText(seconds));
}

void reset(const HoursOptions& options)
{
    const std::uint32_t seconds = readRecord(options);
    const Storage storage = openStorage(options);
    Kiv::CHourMeter meter(std::numeric_limits<int>::max());
    meter.setMemory(storage, options.offset);
    meter.reset();
    require(options.file, storage->flush());
    printLine(options.json ? CJsonObject().addNumber("before", seconds).text() : "before: " + hoursText(seconds));
}

using Options = std::shared_ptr<HoursOptions>;

CLI::App* addCommand(CLI::App& hours, const Options& options, const char* name, const char* summary)
{
    CLI::App* command = hours.add_subcommand(name, summary);
    command->add_option("FILE", options->file, "The storage file")->required();
    command->add_option("--offset", options->offset, "Where the record lies in the file, 0 by default")
        ->type_name("BYTES")
        ->transform(wholeNumber(0, std::numeric_limits<int>::max()));
    addJson(*command, options->json);
    return command;
}

} // namespace

void addHoursCommands(CLI::App& program)
{
    const auto options = std::make_shared<HoursOptions>();
    CLI::App* hours = program.add_subcommand("hours", "Show and reset hour meters");
    hours->require_subcommand(1);
    addCommand(*hours, options, "show", "Print a meter's reading")->callback([options] { show(*options); });
    CLI::App* command = addCommand(*hours, options, "reset", "Set a meter to 0 and print what it was");
    command->footer("Stop the program that counts first: it goes on from its own reading.");
    command->callback([options] { reset(*options); });
}

} // namespace Tool
