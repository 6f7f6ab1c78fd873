/// Runs kiv for tests.
#ifndef KIV_TESTS_KIVTOOL_H
#define KIV_TESTS_KIVTOOL_H

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/ChildProcess.h"

struct ToolResult
{
    int status;
    std::string out;
    std::string err;
};

inline void PrintTo(const ToolResult& result, std::ostream* stream)
{
    *stream << "status " << result.status << ", output: " << result.out << ", error output: " << result.err;
}

inline ToolResult runTool(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), KIV_TOOL);
    CChildProcess tool(arguments);
    const int status = tool.wait();
    return {status, tool.out(), tool.err()};
}

/// A shell command in which `kiv` is the program.
inline ToolResult runShell(const std::string& script)
{
    CChildProcess shell({"sh", "-c", "kiv() { " + shellCommand(KIV_TOOL) + " \"$@\"; }; " + script});
    const int status = shell.wait();
    return {status, shell.out(), shell.err()};
}

/// It ended with a status and exactly one line on standard error, which holds a text.
MATCHER_P2(Refuses, status, reason, "")
{
    return arg.status == status && arg.err.compare(0, 5, "kiv: ") == 0 && arg.err.find(reason) != std::string::npos &&
           std::count(arg.err.begin(), arg.err.end(), '\n') == 1 && arg.err.back() == '\n';
}

/// It ended well, silent on standard error, with a text on standard output.
MATCHER_P(Prints, text, "") { return arg.status == 0 && arg.err.empty() && arg.out == text; }

#endif
