/// kiv paths: where programs find themselves and their data.
#include <cstdlib>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include <kiv/EnvVars.h>
#include <kiv/whereami_cpp.h>

#include "Command.h"
#include "Json.h"

namespace Tool
{

namespace
{

struct PathsOptions
{
    std::string text;
    bool expand = false;
    bool json = false;
};

std::string variable(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

void show(const PathsOptions& options)
{
    Kiv::Env::initEnvironmentVars();
    if (options.expand)
    {
        const std::string expanded = Kiv::Env::substituteEnvironmentVars(options.text);
        if (expanded.empty() && !options.text.empty() && options.text.find("${") != std::string::npos)
            throw badInput("a reference is not ended by }: " + options.text);
        return printLine(options.json ? jsonString(expanded) : expanded);
    }
    CJsonObject object;
    std::string lines = "program=" + Kiv::CApplicationPath().filePath + '\n';
    object.addText("program", Kiv::CApplicationPath().filePath);
    for (const char* name : {"APP_PATH", "DATA_LOCATION", "COMMON_APPDATA"})
    {
        object.addText(name, variable(name));
        lines += name + ('=' + variable(name)) + '\n';
    }
    print(options.json ? object.text() + '\n' : lines);
}

} // namespace

void addPathsCommand(CLI::App& program)
{
    auto options = std::make_shared<PathsOptions>();
    CLI::App* paths = program.add_subcommand("paths", "Show the paths that the library gives to programs");
    CLI::Option* expand = paths->add_option("--expand", options->text, "Print TEXT with its ${NAME} replaced instead");
    expand->type_name("TEXT");
    addJson(*paths, options->json);
    paths->footer("APP_PATH is the folder of the program, which is kiv itself here. The data folders\n"
                  "are the user's; a program with an organisation and a name of its own has others.");
    paths->callback([options, expand] {
        options->expand = expand->count() > 0;
        show(*options);
    });
}

} // namespace Tool
