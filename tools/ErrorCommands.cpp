/// kiv error, kiv errors: the library's error codes explained.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "ErrorEntry.h"
#include "Json.h"

namespace Tool
{

namespace
{

struct ErrorOptions
{
    std::vector<std::string> codes;
    std::string group;
    bool json = false;
    bool markdown = false;
};

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

std::string toJson(const ErrorEntry& entry)
{
    std::vector<std::string> names;
    for (const std::string& name : entry.errnoNames)
        names.push_back(jsonString(name));
    CJsonObject object;
    object.addNumber("code", entry.code).addText("hex", hexCode(entry.code)).addBool("known", entry.isKnown);
    object.addText("text", entry.text);
    object.add("group", entry.group != nullptr ? jsonString(entry.group->name) : "null");
    return object.add("errno", jsonArray(names)).addText("advice", entry.advice).text();
}

void printEntry(const ErrorEntry& entry)
{
    printLine(std::to_string(entry.code) + " (" + hexCode(entry.code) + "): " + entry.text);
    if (entry.group != nullptr)
        printLine("  group  " + std::string(entry.group->name) + ", " + std::to_string(entry.group->first) + " to " +
                  std::to_string(entry.group->last));
    if (!entry.errnoNames.empty())
        printLine("  errno  " + joined(entry.errnoNames));
    if (!entry.advice.empty())
        printLine("  to do  " + entry.advice);
}

void explain(const ErrorOptions& options)
{
    std::vector<ErrorEntry> entries;
    for (const std::string& text : options.codes)
    {
        const auto code = parseErrorCode(text);
        if (!code)
            throw badInput("no error code: " + text + " (decimal, 0x and hexadecimal, or a name such as EBUSY)");
        entries.push_back(errorEntry(*code));
    }
    std::vector<std::string> lines;
    bool allKnown = true;
    for (const ErrorEntry& entry : entries)
    {
        allKnown = allKnown && entry.isKnown;
        if (options.json)
            lines.push_back(toJson(entry));
        else
            printEntry(entry);
    }
    if (options.json)
        printLine(jsonLines(lines));
    if (!allKnown)
        throw CToolError(ExitNo, "");
}

std::vector<ErrorEntry> entriesOf(const std::string& group)
{
    std::vector<ErrorEntry> entries;
    for (ErrorEntry& entry : errorCatalogue())
        if (group.empty() || (entry.group != nullptr && group == entry.group->name))
            entries.push_back(std::move(entry));
    return entries;
}

std::string row(const ErrorEntry& entry)
{
    char start[64];
    std::snprintf(start, sizeof start, "%-6u %s  %-16s ", entry.code, hexCode(entry.code).c_str(),
                  entry.group != nullptr ? entry.group->name : "");
    return start + entry.text;
}

void printMarkdown(const std::vector<ErrorEntry>& entries)
{
    const ErrorGroup* group = nullptr;
    for (const ErrorEntry& entry : entries)
    {
        if (entry.group != group && entry.group != nullptr)
        {
            group = entry.group;
            printLine("\n## " + std::string(group->title) + " (`" + group->name + "`)\n");
            printLine("| code | hex | text | errno | what to do |\n|---|---|---|---|---|");
        }
        std::string text = entry.text;
        while (!text.empty() && text.back() == ' ')
            text.pop_back();
        printLine("| " + std::to_string(entry.code) + " | " + hexCode(entry.code) + " | " + text + " | " +
                  joined(entry.errnoNames) + " | " + entry.advice + " |");
    }
}

void list(const ErrorOptions& options)
{
    const std::vector<ErrorEntry> entries = entriesOf(options.group);
    if (options.markdown)
        return printMarkdown(entries);
    std::vector<std::string> lines;
    for (const ErrorEntry& entry : entries)
        if (options.json)
            lines.push_back(toJson(entry));
        else
            printLine(row(entry));
    if (options.json)
        printLine(jsonLines(lines));
}

} // namespace

void addErrorCommands(CLI::App& program)
{
    auto options = std::make_shared<ErrorOptions>();

    CLI::App* error = program.add_subcommand("error", "Explain error codes: text, group and what to do");
    error->add_option("CODE", options->codes, "Decimal, hexadecimal, negated, or a name such as EBUSY")->required();
    addJson(*error, options->json);
    error->callback([options] { explain(*options); });

    std::vector<std::string> groups;
    for (const ErrorGroup& group : errorGroups())
        groups.emplace_back(group.name);
    CLI::App* errors = program.add_subcommand("errors", "List all error codes");
    errors->add_option("--group", options->group, "Only one group: " + joined(groups))
        ->type_name("GROUP")
        ->check([groups](const std::string& name) {
            const bool isGroup = std::find(groups.begin(), groups.end(), name) != groups.end();
            return isGroup ? std::string() : "no such group: " + name;
        });
    CLI::Option* markdown = errors->add_flag("--markdown", options->markdown, "Print tables with all there is to say");
    addJson(*errors, options->json);
    errors->get_option("--json")->excludes(markdown);
    errors->callback([options] { list(*options); });
}

} // namespace Tool
