/// What all subcommands of kiv share: exit statuses, the one error line, and options that several of them have.
#ifndef KIV_TOOLS_COMMAND_H
#define KIV_TOOLS_COMMAND_H

#include <stdexcept>
#include <string>

namespace CLI
{
class App;
}

namespace Tool
{

enum eExit : int
{
    ExitDone = 0,   ///< it was done, or the answer is yes
    ExitNo = 1,     ///< the answer is no: the key is not there, the check found something, no edge came in time
    ExitUsage = 2,  ///< a wrong call, or input that is not what it must be; nothing was touched
    ExitFailed = 3, ///< a file or a device failed
};

/// Ends the program with a status and one line on standard error, or none when the reason is empty.
class CToolError : public std::runtime_error
{
public:
    CToolError(eExit exitStatus, const std::string& reason) : std::runtime_error(reason), exit(exitStatus) {}
    eExit status() const { return exit; }

private:
    eExit exit;
};

/// Nobody reads standard output any more, and SIGPIPE does not end the program.
class COutputGone : public CToolError
{
public:
    COutputGone() : CToolError(ExitFailed, "standard output: nobody reads it") {}
};

/// ExitUsage with a reason.
CToolError badInput(const std::string& reason);
/// ExitFailed for a subject, "pump.ini" say, and a result of the library: 0 is no failure, its sign does not count.
CToolError failure(const std::string& subject, long long result);
/// ExitFailed for a subject and the current errno.
CToolError systemFailure(const std::string& subject);

/// Throws failure() unless the result is 0.
void require(const std::string& subject, long long result);

/// Adds `--json` to a command.
void addJson(CLI::App& command, bool& json);

/// Writes to standard output; a failure ends the program, as COutputGone when there is no reader.
void print(const std::string& text);
void printLine(const std::string& text);
/// Hands everything printed so far over to the system; a failure ends the program.
void flushOutput();

/// Standard error goes nowhere while this lives: the library's sysfs functions report failures there themselves, and
/// the program says the same in its one line.
class CQuietErrors
{
public:
    CQuietErrors();
    ~CQuietErrors();
    CQuietErrors(const CQuietErrors&) = delete;
    CQuietErrors& operator=(const CQuietErrors&) = delete;

private:
    int kept;
};

// Each adds a family of subcommands.
void addErrorCommands(CLI::App& program);
void addIniCommands(CLI::App& program);
void addGpioCommands(CLI::App& program);
void addPwmCommands(CLI::App& program);
void addAdcCommand(CLI::App& program);
void addHoursCommands(CLI::App& program);
void addCrcCommand(CLI::App& program);
void addBase32Command(CLI::App& program);
void addPathsCommand(CLI::App& program);
void addLookCommand(CLI::App& program);
void addViewCommand(CLI::App& program);

} // namespace Tool

#endif
