/// kiv hours: the record of an hour counter, or of an hour meter in a storage file.
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <kiv/FileStorage.h>
#include <kiv/HourMeter.h>
#include <kiv/OperatingHours.h>

#include "Command.h"
#include "Input.h"
#include "Json.h"

namespace Tool
{

namespace
{

constexpr long long secondsOfMinute = 60;
constexpr long long secondsOfHour = 3600;

struct HoursOptions
{
    std::string file;
    std::optional<int> offset; // of a meter's record
    std::optional<int> number; // of a counter
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
    const int offset = options.offset.value_or(0);
    std::uint32_t seconds = 0;
    const ssize_t size = pread(file, &seconds, sizeof seconds, offset);
    const int reason = errno;
    close(file);
    errno = reason;
    if (size < 0)
        throw systemFailure(options.file);
    if (size != sizeof seconds)
        throw badInput(options.file + ": the file ends before a record at offset " + std::to_string(offset));
    if (Kiv::COperatingHours::readMeter(options.file, offset, seconds) != 0)
        throw badInput(options.file + ": neither an hour counter's record nor an hour meter's, but text");
    return seconds;
}

/// What a counter has saved; nothing if the file may be a meter's.
std::optional<Kiv::OperatingHours> readCounter(const HoursOptions& options)
{
    if (options.offset)
        return std::nullopt;
    Kiv::OperatingHours hours;
    const int error =
        Kiv::COperatingHours::read(options.file, static_cast<unsigned>(options.number.value_or(0)), hours);
    if (error == 0)
        return hours;
    if (options.number)
        require(options.file, static_cast<ErrCode>(error));
    return std::nullopt;
}

std::string hoursText(long long seconds)
{
    char text[64];
    std::snprintf(text, sizeof text, "%lld h %02lld min %02lld s", seconds / secondsOfHour,
                  seconds / secondsOfMinute % secondsOfMinute, seconds % secondsOfMinute);
    return text;
}

long long secondsOf(const Kiv::OperatingHours& hours)
{
    return std::chrono::duration_cast<std::chrono::seconds>(hours.total).count();
}

std::string textOf(const Kiv::OperatingHours& hours)
{
    return hoursText(secondsOf(hours)) + ", " + std::to_string(hours.starts) + " starts";
}

void show(const HoursOptions& options)
{
    if (const auto hours = readCounter(options))
        return printLine(options.json ? CJsonObject()
                                            .addNumber("seconds", secondsOf(*hours))
                                            .addNumber("starts", static_cast<long long>(hours->starts))
                                            .text()
                                      : textOf(*hours));
    const std::uint32_t seconds = readRecord(options);
    printLine(options.json ? CJsonObject().addNumber("seconds", seconds).text() : hoursText(seconds));
}

void resetCounter(const HoursOptions& options, const Kiv::OperatingHours& before)
{
    Kiv::COperatingHours counter(options.file, static_cast<unsigned>(options.number.value_or(0)));
    require(options.file, static_cast<ErrCode>(counter.open()));
    require(options.file, static_cast<ErrCode>(counter.reset()));
    printLine(options.json ? CJsonObject().addNumber("before", secondsOf(before)).text() : "before: " + textOf(before));
}

void reset(const HoursOptions& options)
{
    if (const auto before = readCounter(options))
        return resetCounter(options, *before);
    const std::uint32_t seconds = readRecord(options);
    const Storage storage = openStorage(options);
    Kiv::CHourMeter meter(std::numeric_limits<int>::max());
    meter.setMemory(storage, options.offset.value_or(0));
    meter.reset();
    require(options.file, storage->flush());
    printLine(options.json ? CJsonObject().addNumber("before", seconds).text() : "before: " + hoursText(seconds));
}

using Options = std::shared_ptr<HoursOptions>;

CLI::App* addCommand(CLI::App& hours, const Options& options, const char* name, const char* summary)
{
    CLI::App* command = hours.add_subcommand(name, summary);
    command->add_option("FILE", options->file, "The counter's file, or a storage file with a meter's record")
        ->required();
    CLI::Option* offset =
        command->add_option("--offset", options->offset, "Where a meter's four bytes lie in the file, 0 by default")
            ->type_name("BYTES")
            ->transform(wholeNumber(0, std::numeric_limits<int>::max()));
    command->add_option("--number", options->number, "Which of the counters in the file, 0 by default")
        ->type_name("N")
        ->transform(wholeNumber(0, std::numeric_limits<int>::max()))
        ->excludes(offset);
    addJson(*command, options->json);
    return command;
}

} // namespace

void addHoursCommands(CLI::App& program)
{
    const auto options = std::make_shared<HoursOptions>();
    CLI::App* hours = program.add_subcommand("hours", "Show and reset hour counters and hour meters");
    hours->require_subcommand(1);
    addCommand(*hours, options, "show", "Print a reading")->callback([options] { show(*options); });
    CLI::App* command = addCommand(*hours, options, "reset", "Set a reading to 0 and print what it was");
    command->footer("Stop the program that counts first: it goes on from its own reading.");
    command->callback([options] { reset(*options); });
}

} // namespace Tool
