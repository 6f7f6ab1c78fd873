#include "Command.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <kiv/ErrorToString.h>
#include <kiv/errno_translation.h>

namespace Tool
{

CToolError badInput(const std::string& reason) { return {ExitUsage, reason}; }

CToolError failure(const std::string& subject, long long result)
{
    return {ExitFailed, subject + ": " + ErrorToString(static_cast<ErrCode>(result))};
}

CToolError systemFailure(const std::string& subject) { return failure(subject, errnoToErrCode(errno)); }

void require(const std::string& subject, long long result)
{
    if (result != 0)
        throw failure(subject, result);
}

namespace
{

[[noreturn]] void failOutput()
{
    if (errno == EPIPE)
        throw COutputGone();
    throw systemFailure("standard output");
}

} // namespace

void addJson(CLI::App& command, bool& json) { command.add_flag("--json", json, "Print JSON"); }

void print(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        failOutput();
}

void printLine(const std::string& text) { print(text + '\n'); }

void flushOutput()
{
    if (std::fflush(stdout) != 0)
        failOutput();
}

CQuietErrors::CQuietErrors()
{
    std::fflush(stderr);
    kept = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0)
        return;
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

CQuietErrors::~CQuietErrors()
{
    if (kept < 0)
        return;
    dup2(kept, STDERR_FILENO);
    close(kept);
}

} // namespace Tool
