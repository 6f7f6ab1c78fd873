/// kiv: the library's services at the command line.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "HelpFormatter.h"

namespace
{

constexpr const char* description = "Looks error codes up, reads and edits INI files, and works GPIO lines, PWM\n"
                                    "channels and ADC inputs of a controller board, by the rules of libkiv.";

constexpr const char* footer = R"(Exit status:
  0  it was done, or the answer is yes
  1  the answer is no: the key is not there, the check found something,
     the code is unknown, no edge came in time
  2  a wrong call, or input that is not what it must be; nothing was touched
  3  a file or a device failed
With 2 and 3, one line on standard error says why.)";

void addCommands(CLI::App& program)
{
    program.formatter(std::make_shared<Tool::CHelpFormatter>());
    program.set_help_flag("-h,--help", "Print this help and end");
    program.require_subcommand(1);
    Tool::addErrorCommands(program);
    Tool::addIniCommands(program);
    Tool::addGpioCommands(program);
    Tool::addPwmCommands(program);
    Tool::addAdcCommand(program);
    Tool::addHoursCommands(program);
    Tool::addCrcCommand(program);
    Tool::addBase32Command(program);
    Tool::addPathsCommand(program);
    Tool::addLookCommand(program);
#ifdef KIV_TOOL_VIEW
    Tool::addViewCommand(program);
#endif
    program.footer(footer); // only now: subcommands would take it over
    program.set_help_all_flag("--help-all", "Print the help of all commands and end");
    program.set_version_flag("--version", "kiv (libkiv) " KIV_VERSION, "Print the version and end");
}

/// A descriptor that is closed would be the next file's, which then got what is printed.
void occupyStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY); // using it still fails
}

/// One line, whatever the arguments in it hold.
int complain(std::string reason, int status)
{
    std::replace_if(
        reason.begin(), reason.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    if (!reason.empty())
        std::fprintf(stderr, "kiv: %s\n", reason.c_str());
    return status;
}

/// The parser's reason on one line, and the command whose help tells more.
std::string usageReason(const CLI::App& program, const CLI::ParseError& error)
{
    std::string path = "kiv";
    const CLI::App* command = &program;
    while (!command->get_subcommands().empty())
    {
        command = command->get_subcommands().front();
        path += ' ' + command->get_name();
    }
    if (!command->get_subcommands({}).empty() && !command->remaining().empty())
        return "no such command: " + command->remaining().front() + "; see " + path + " --help";
    return std::string(error.what()) + "; see " + path + " --help";
}

int end(const CLI::App& program, const CLI::ParseError& error)
{
    if (error.get_exit_code() != 0)
        return complain(usageReason(program, error), Tool::ExitUsage);
    program.exit(error); // prints help or version
    return std::cout.flush() ? Tool::ExitDone : complain("standard output cannot be written", Tool::ExitFailed);
}

int run(CLI::App& program, int argc, char** argv)
{
    try
    {
        addCommands(program);
        program.parse(argc, argv);
        Tool::flushOutput();
        return Tool::ExitDone;
    }
    catch (const CLI::ParseError& error)
    {
        return end(program, error);
    }
    catch (const Tool::CToolError& error)
    {
        if (std::fflush(stdout) != 0 && error.status() == Tool::ExitNo)
            return complain("standard output cannot be written", Tool::ExitFailed);
        return complain(error.what(), error.status());
    }
}

} // namespace

int main(int argc, char** argv)
{
    occupyStandardDescriptors();
    std::signal(SIGXFSZ, SIG_IGN); // a file that grows too large is a failure like others
    try
    {
        CLI::App program(description, "kiv");
        return run(program, argc, argv);
    }
    catch (const std::exception& error)
    {
        return complain(error.what(), Tool::ExitFailed);
    }
}
