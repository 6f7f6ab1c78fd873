#include "HelpFormatter.h"

#include <sstream>
#include <vector>

namespace Tool
{

namespace
{

constexpr std::size_t textColumn = 24;
constexpr std::size_t lineWidth = 80;

/// A name and what it is for, on as many lines as that takes.
std::string entry(const std::string& name, const std::string& text)
{
    std::string output;
    std::string line = "  " + name + "  ";
    line.resize(std::max(line.size(), textColumn), ' ');
    std::istringstream words(text);
    for (std::string word; words >> word;)
    {
        if (line.size() + word.size() > lineWidth)
        {
            output += line + '\n';
            line.assign(textColumn - 1, ' ');
        }
        line += (line.back() == ' ' && line.size() >= textColumn ? "" : " ") + word;
    }
    return output + line + '\n';
}

std::string argumentName(const CLI::Option& option)
{
    return option.get_name(true, false) + (option.get_expected_max() > 1 ? "..." : "");
}

std::string optionName(const CLI::Option& option)
{
    std::string name;
    for (const std::string& letter : option.get_snames())
        name += "-" + letter + ", ";
    for (const std::string& word : option.get_lnames())
        name += "--" + word;
    return name + (option.get_type_size() > 0 ? " " + option.get_type_name() : "");
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command)
{
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command)
{
    return command.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

std::vector<const CLI::App*> commandsOf(const CLI::App& command) { return command.get_subcommands({}); }

std::string pathOf(const CLI::App& command)
{
    const CLI::App* parent = command.get_parent();
    return (parent != nullptr ? pathOf(*parent) + ' ' : "") + command.get_name();
}

std::string usage(const CLI::App& command)
{
    std::string text = pathOf(command);
    if (optionsOf(command).size() > 1) // --help needs no mention
        text += " [OPTION]...";
    for (const CLI::Option* argument : argumentsOf(command))
        text += ' ' + (argument->get_required() ? argumentName(*argument) : '[' + argumentName(*argument) + ']');
    return text + (commandsOf(command).empty() ? "" : " COMMAND ...");
}

std::string argumentEntries(const CLI::App& command)
{
    std::string text;
    for (const CLI::Option* argument : argumentsOf(command))
        text += entry(argumentName(*argument), argument->get_description());
    return text;
}

std::string optionEntries(const CLI::App& command, bool withHelp = true)
{
    std::string text;
    for (const CLI::Option* option : optionsOf(command))
        if (withHelp || option != command.get_help_ptr())
            text += entry(optionName(*option), option->get_description());
    return text;
}

std::string commandEntries(const CLI::App& command)
{
    std::string text;
    for (const CLI::App* subcommand : commandsOf(command))
        text += entry(subcommand->get_name(), subcommand->get_description());
    return text;
}

std::string titled(const char* title, const std::string& text)
{
    return text.empty() ? "" : '\n' + std::string(title) + '\n' + text;
}

/// Running text on lines of the usual width.
std::string wrapped(const std::string& text, const std::string& indentation)
{
    std::string output;
    std::string line = indentation;
    std::istringstream words(text);
    for (std::string word; words >> word;)
    {
        if (line.size() + 1 + word.size() > lineWidth)
        {
            output += line + '\n';
            line = indentation;
        }
        line += (line.size() > indentation.size() ? " " : "") + word;
    }
    return line.size() > indentation.size() ? output + line + '\n' : output;
}

/// An empty line before a text that is not empty.
std::string spaced(const std::string& text) { return text.empty() ? "" : '\n' + text; }

/// The commands that do something, each with all that is said of it.
std::string everyCommand(const CLI::App& command)
{
    std::string text;
    for (const CLI::App* subcommand : commandsOf(command))
    {
        text += everyCommand(*subcommand);
        if (!commandsOf(*subcommand).empty())
            continue;
        text += '\n' + usage(*subcommand) + ":\n  " + subcommand->get_description() + '\n';
        text += spaced(argumentEntries(*subcommand) + optionEntries(*subcommand, false));
        text += spaced(wrapped(subcommand->get_footer(), "  "));
    }
    return text;
}

/// The program's footer has lines of its own. In the manual page it is a section.
std::string footer(const CLI::App& command, CLI::AppFormatMode mode)
{
    const std::string text = command.get_footer();
    if (command.get_parent() != nullptr)
        return wrapped(text, "");
    const std::size_t colon = text.find(":\n");
    if (mode != CLI::AppFormatMode::All || colon == std::string::npos)
        return text + '\n';
    return '*' + text.substr(0, colon) + '*' + text.substr(colon + 1) + '\n';
}

} // namespace

std::string CHelpFormatter::make_help(const CLI::App* command, std::string, CLI::AppFormatMode mode) const
{
    std::string text = command->get_description() + "\n\nUsage: " + usage(*command) + '\n';
    text += titled("Arguments:", argumentEntries(*command));
    text += titled("Options:", optionEntries(*command));
    text += mode == CLI::AppFormatMode::All ? titled("*Commands*", everyCommand(*command))
                                            : titled("Commands:", commandEntries(*command));
    return text + spaced(footer(*command, mode));
}

} // namespace Tool
