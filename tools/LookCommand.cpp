/// kiv look: what a running controller does.
#include <chrono>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "Command.h"
#include "Json.h"
#include "LookClient.h"
#include "LookDiagram.h"
#include "LookMetrics.h"
#include "LookView.h"

namespace Tool
{

namespace
{

struct LookOptions
{
    std::string name;
    std::string folder;
    std::string machine;
    std::string diagram;
    double traceSeconds = 0;
    bool metrics = false;
    bool once = false;
    bool json = false;
};

LookTarget targetOf(const LookOptions& options)
{
    if (options.name.find('/') != std::string::npos)
        return {options.name, options.name};
    for (const LookTarget& target : lookTargets(options.folder))
        if (target.name == options.name)
            return target;
    throw CToolError(ExitNo, "nothing runs that is called " + options.name);
}

/// Those that answer; sockets of processes that were killed do not.
void list(const LookOptions& options)
{
    bool isFound = false;
    for (const LookTarget& target : lookTargets(options.folder))
        try
        {
            const CLookClient client(target);
            const nlohmann::json greeting = parsedLine(client.greeting());
            isFound = true;
            printLine(options.json
                          ? client.greeting()
                          : target.name + "  process " + std::to_string(greeting.value("pid", 0)) + "  " + target.path);
        }
        catch (const CToolError&) // not ours, or gone
        {}
    if (!isFound)
        throw CToolError(ExitNo, "");
}

void printDiagram(CLookClient& client, const LookOptions& options)
{
    const bool isPicture = options.diagram == "svg";
    const std::string text = diagramText(client, isPicture ? "dot" : options.diagram, options.machine);
    print(isPicture ? pictureOf(text) : text);
}

void printTrace(CLookClient& client, double wantedSeconds)
{
    using Clock = std::chrono::steady_clock;
    const auto end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(wantedSeconds));
    client.send("watch");
    CLookTrace trace(parsedLine(client.answer()));
    for (auto left = end - Clock::now(); left.count() > 0; left = end - Clock::now())
    {
        const std::string line =
            client.nextLine(static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(left).count()) + 1);
        const nlohmann::json parsed = line.empty() ? nlohmann::json::object() : parsedLine(line);
        if (parsed.value("kind", "") == "changes")
            trace.take(parsed);
    }
    printLine(trace.toChromeJson());
}

/// Until a signal ends the program, or the controller ends.
void watch(CLookClient& client, bool json)
{
    const bool isTerminal = ::isatty(STDOUT_FILENO) != 0;
    CLookView view(parsedLine(client.greeting()));
    client.send("watch");
    for (;;)
    {
        const std::string line = client.nextLine(-1);
        if (line.empty())
            continue;
        if (json)
            printLine(line);
        else
        {
            view.take(parsedLine(line));
            print((isTerminal ? "\x1b[H\x1b[2J" : "") + view.text() + (isTerminal ? "" : "\n"));
        }
        flushOutput();
    }
}

void look(const LookOptions& options)
{
    if (options.name.empty())
        return list(options);
    CLookClient client(targetOf(options));
    if (!options.diagram.empty())
        return printDiagram(client, options);
    if (options.traceSeconds > 0)
        return printTrace(client, options.traceSeconds);
    if (!options.once && !options.metrics)
        return watch(client, options.json);
    client.send("state");
    const std::string state = client.answer();
    if (options.metrics)
        return print(openMetrics(parsedLine(client.greeting()), parsedLine(state)));
    CLookView view(parsedLine(client.greeting()));
    view.take(parsedLine(state));
    print(options.json ? state + '\n' : view.text());
}

} // namespace

void addLookCommand(CLI::App& program)
{
    const auto options = std::make_shared<LookOptions>();
    CLI::App* command = program.add_subcommand("look", "Show what a running controller does");
    command->add_option("NAME", options->name,
                        "The controller's name, or its socket's path; without it, list what runs");
    command->add_option("--folder", options->folder, "Where the sockets are, if not in the usual places");
    command->add_flag("--once", options->once, "Show the state once and end; else show it as it changes");
    CLI::Option* const diagram = command->add_option("--diagram", options->diagram, "Print a machine's diagram")
                                     ->check(CLI::IsMember({"svg", "dot", "mermaid", "plantuml"}));
    command->add_option("--machine", options->machine, "The machine of the diagram")->default_val("machine");
    command->add_option("--trace", options->traceSeconds, "Record for so many seconds and print what Perfetto shows")
        ->check(CLI::Range(0.001, 86400.0))
        ->excludes(diagram);
    command->add_flag("--metrics", options->metrics, "Print the figures once as OpenMetrics text");
    addJson(*command, options->json);
    command->footer("The usual places are XDG_RUNTIME_DIR and the folders of services below /run.\n"
                    "Programs make such a socket with Kiv::CInspection.");
    command->callback([options] { look(*options); });
}

} // namespace Tool
