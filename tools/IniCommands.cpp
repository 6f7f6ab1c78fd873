/// kiv ini: INI files as the library's programs read them.
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <kiv/FileEdit.h>
#include <kiv/IniFile.h>
#include <kiv/IniText.h>
#include <kiv/Settings.h>

#include "Command.h"
#include "IniCheck.h"
#include "Input.h"
#include "Json.h"

namespace Tool
{

namespace
{

struct IniSetting
{
    std::string section;
    std::string key;
    std::string value;
};

struct IniOptions
{
    std::string file;
    std::string schema;
    IniSetting setting;
    bool create = false;
    bool strict = false;
    bool json = false;
};

/// A file that does not load is named with the line where loading ends.
std::vector<Kiv::IniLine> loadableLines(const std::string& path, const std::string& text)
{
    std::vector<Kiv::IniLine> lines = Kiv::iniLines(text);
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (lines[i].kind == Kiv::IniLineBroken)
            throw badInput(inputName(path) + ':' + std::to_string(i + 1) + ": a section without ]");
    return lines;
}

// ---- get, list

void getValue(const IniOptions& options)
{
    const std::vector<Kiv::IniLine> lines =
        loadableLines(options.file, readInput(options.file)); // once: it may be a pipe
    const std::size_t place = Kiv::findIniKey(lines, options.setting.section, options.setting.key);
    if (place == lines.size())
        throw CToolError(ExitNo, inputName(options.file) + ": no key \"" + options.setting.key + "\" in section \"" +
                                     options.setting.section + '"');
    printLine(options.json ? jsonString(lines[place].value) : lines[place].value);
}

struct ListedSection
{
    std::string name;
    std::vector<std::string> keys;
};

std::string toJson(const ListedSection& section)
{
    return CJsonObject().addText("section", section.name).add("keys", jsonArray(section.keys)).text();
}

std::string keyText(const Kiv::IniLine& line, bool json)
{
    if (!json)
        return line.name + '=' + line.value;
    return CJsonObject().addText("key", line.name).addText("value", line.value).text();
}

std::vector<ListedSection> sectionsOf(const IniOptions& options)
{
    std::vector<ListedSection> sections;
    for (const Kiv::IniLine& line : loadableLines(options.file, readInput(options.file)))
    {
        if (line.kind == Kiv::IniLineSection)
            sections.push_back({line.name, {}});
        else if (line.kind == Kiv::IniLineKey)
            sections.back().keys.push_back(keyText(line, options.json));
    }
    return sections;
}

void listKeys(const IniOptions& options)
{
    std::vector<std::string> lines;
    for (const ListedSection& section : sectionsOf(options))
    {
        if (options.json)
        {
            lines.push_back(toJson(section));
            continue;
        }
        printLine('[' + section.name + ']');
        for (const std::string& key : section.keys)
            printLine(key);
    }
    if (options.json)
        printLine(jsonLines(lines));
}

// ---- set

/// How long another one that edits a file of the same folder is waited for.
constexpr unsigned long lockPatience = 10000;

void requireFile(const IniOptions& options)
{
    struct stat status = {};
    if (options.file == "-")
        throw badInput("standard input cannot be changed; a file of this name is ./-");
    const bool isThere = stat(options.file.c_str(), &status) == 0;
    if (isThere && !S_ISREG(status.st_mode))
        throw badInput(options.file + " is not a file");
    if (!isThere && !options.create)
        throw systemFailure(options.file);
    if (!isThere && lstat(options.file.c_str(), &status) == 0)
        throw CToolError(ExitFailed, options.file + ": the symbolic link leads nowhere");
}

void begin(Kiv::CFileEdit& edit, const std::string& path)
{
    const ErrCode code = edit.begin(lockPatience);
    if (code == 0u - 16u)
        throw CToolError(ExitFailed, path + ": another program holds the lock of its folder");
    require(path, static_cast<std::int32_t>(code));
}

/// A file that only this process has.
class CMemoryFile
{
public:
    CMemoryFile() : file(memfd_create("kiv", MFD_CLOEXEC)) {}
    ~CMemoryFile() { close(file); }
    CMemoryFile(const CMemoryFile&) = delete;
    CMemoryFile& operator=(const CMemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(file); }

private:
    int file;
};

/// The last word has the library: what it reads from the new text must be the setting.
void requireReadBack(const std::string& text, const IniOptions& options)
{
    const CMemoryFile memory;
    Kiv::CFileEdit edit(memory.path());
    begin(edit, options.file);
    require(options.file, static_cast<std::int32_t>(edit.replace(text)));
    Kiv::CIniFile ini(memory.path());
    require(options.file, ini.load());
    const Kiv::CIniFileKey* key = ini.findKey(options.setting.section, options.setting.key);
    if (key == nullptr || key->value() != options.setting.value)
        throw badInput(options.file + ": the value could not be read back as it is; nothing was changed");
}

void setValue(const IniOptions& options)
{
    const IniSetting& setting = options.setting;
    if (const std::string fault = Kiv::iniSettingFault(setting.section, setting.key, setting.value); !fault.empty())
        throw badInput(fault);
    requireFile(options);
    Kiv::CFileEdit edit(options.file);
    begin(edit, options.file);
    std::string before;
    require(options.file, static_cast<std::int32_t>(edit.read(before)));
    loadableLines(options.file, before);
    const std::string after = Kiv::iniTextWith(before, setting.section, setting.key, setting.value);
    if (after == before)
        return;
    requireReadBack(after, options);
    require(options.file, static_cast<std::int32_t>(edit.replace(after)));
}

// ---- check

const char* kindName(eIniFault kind)
{
    constexpr const char* names[] = {"error", "warning", "note"};
    return names[kind];
}

std::string faultJson(const IniOptions& options, const IniFault& fault)
{
    CJsonObject object;
    object.addText("file", options.file).addNumber("line", static_cast<long long>(fault.line));
    return object.addText("kind", kindName(fault.kind)).addText("reason", fault.reason).text();
}

std::string faultJson(const IniOptions& options, const Kiv::SettingsFault& fault)
{
    CJsonObject object;
    object.addText("file", options.file).addNumber("line", static_cast<long long>(fault.line));
    object.addText("kind", kindName(IniFaultError)).addText("section", fault.section).addText("key", fault.key);
    return object.addText("value", fault.found).addText("reason", fault.reason).text();
}

/// A schema that is wrong ends the program with its first fault.
void readSchema(Kiv::CSettings& settings, const std::string& path)
{
    const ErrCode code = settings.readSchema(path);
    if (!settings.faults().empty())
        throw badInput(settings.faults().front().text());
    require(path, static_cast<std::int32_t>(code));
}

/// With the words of a program that has these settings.
void checkBySchema(const IniOptions& options)
{
    Kiv::CSettings settings;
    readSchema(settings, options.schema);
    const ErrCode code = settings.read(options.file == "-" ? "/dev/stdin" : options.file);
    if (code != 0 && settings.faults().empty())
        throw failure(inputName(options.file), static_cast<std::int32_t>(code));
    std::vector<std::string> lines;
    for (Kiv::SettingsFault fault : settings.faults())
    {
        fault.file = inputName(options.file);
        if (options.json)
            lines.push_back(faultJson(options, fault));
        else
            printLine(fault.text());
    }
    if (options.json)
        printLine(jsonLines(lines));
    if (code != 0)
        throw CToolError(ExitNo, "");
}

void checkFile(const IniOptions& options)
{
    if (!options.schema.empty())
        return checkBySchema(options);
    const std::vector<IniFault> faults = checkIni(readInput(options.file));
    std::vector<std::string> lines;
    bool isGood = true;
    for (const IniFault& fault : faults)
    {
        isGood = isGood && fault.kind == IniFaultNote && !options.strict;
        if (options.json)
            lines.push_back(faultJson(options, fault));
        else
            printLine(inputName(options.file) + ':' + std::to_string(fault.line) + ": " + kindName(fault.kind) + ": " +
                      fault.reason);
    }
    if (options.json)
        printLine(jsonLines(lines));
    if (!isGood)
        throw CToolError(ExitNo, "");
}

// ---- registration

using Options = std::shared_ptr<IniOptions>;

CLI::App* addFileCommand(CLI::App& ini, const Options& options, const char* name, const char* summary)
{
    CLI::App* command = ini.add_subcommand(name, summary);
    command->add_option("FILE", options->file, "The INI file")->required();
    return command;
}

void addName(CLI::App& command, const Options& options)
{
    command.add_option("SECTION", options->setting.section, "The section's name, without brackets")->required();
    command.add_option("KEY", options->setting.key, "The key's name")->required();
}

void addGet(CLI::App& ini, const Options& options)
{
    CLI::App* get = addFileCommand(ini, options, "get", "Print a value");
    addName(*get, options);
    addJson(*get, options->json);
    get->callback([options] { getValue(*options); });
}

void addSet(CLI::App& ini, const Options& options)
{
    CLI::App* set = addFileCommand(ini, options, "set", "Change or add a value");
    addName(*set, options);
    set->add_option("VALUE", options->setting.value, "The new value; may be empty")->required();
    set->add_flag("--create", options->create, "Make the file if it is not there");
    set->footer("All else in the file stays as it is, byte by byte, also lines that programs do not\n"
                "read. The file is replaced as a whole, after the new one has been read back; when\n"
                "anything is wrong it is not touched. Put -- before a value that begins with -.");
    set->callback([options] { setValue(*options); });
}

void addCheck(CLI::App& ini, const Options& options)
{
    CLI::App* check = addFileCommand(ini, options, "check", "Name lines that do not mean what they show");
    check->add_flag("--strict", options->strict, "Notes count too for the exit status");
    check->add_option("--schema", options->schema, "What may stand in the file, as a program printed it")
        ->check(notEmpty());
    addJson(*check, options->json);
    check->footer("Prints FILE:LINE: KIND: REASON. An error keeps the file from loading; a warning is a\n"
                  "line that the loader drops or changes, or that no lookup reaches; a note is likely\n"
                  "meant otherwise. The exit status is 1 after an error or a warning. With --schema every\n"
                  "fault counts that the program itself would name when it reads the file.");
    check->callback([options] { checkFile(*options); });
}

} // namespace

void addIniCommands(CLI::App& program)
{
    const auto options = std::make_shared<IniOptions>();
    CLI::App* ini = program.add_subcommand("ini", "Read, edit and check INI files");
    ini->require_subcommand(1);
    addGet(*ini, options);
    addSet(*ini, options);
    CLI::App* list = addFileCommand(*ini, options, "list", "Print all sections and keys");
    addJson(*list, options->json);
    list->callback([options] { listKeys(*options); });
    addCheck(*ini, options);
}

} // namespace Tool
