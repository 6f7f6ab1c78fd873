// kiv as a program: what it prints, its exit statuses, and what it leaves of files. The hardware commands have a test
// of their own.
#include <fstream>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/ErrorToString.h>
#include <kiv/OperatingHours.h>
#include <kiv/crc.h>

#include "support/KivTool.h"
#include "support/TemporaryDirectory.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

std::vector<std::string> linesOf(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

void write(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

using Words = std::set<std::string>;

/// The names that begin the entries under a title of the help.
Words helpEntries(const std::string& help, const std::string& title)
{
    Words words;
    bool isInside = false;
    for (const std::string& line : linesOf(help))
    {
        if (line.empty() || line[0] != ' ')
            isInside = line == title;
        else if (isInside && line[2] != ' ') // a further line of an entry begins further right
        {
            const std::size_t letter = line.compare(4, 2, ", ") == 0 ? 6 : 2;
            words.insert(line.substr(letter, line.find(' ', letter) - letter));
        }
    }
    return words;
}

/// What bash offers when a word begins with `start` behind the others.
Words completions(const std::vector<std::string>& words, const std::string& start)
{
    std::string line = "kiv";
    for (const std::string& word : words)
        line += ' ' + word;
    CChildProcess bash({"bash", "-c",
                        "source '" KIV_COMPLETION "'; COMP_WORDS=(" + line + " '" + start + "'); COMP_CWORD=" +
                            std::to_string(words.size() + 1) + "; _kiv; printf '%s\\n' \"${COMPREPLY[@]}\""});
    EXPECT_EQ(bash.wait(), 0) << bash.err();
    Words offered;
    for (const std::string& word : linesOf(bash.out()))
        if (!word.empty())
            offered.insert(word);
    return offered;
}

/// Compares help and completion of a command and all below it.
void expectCompletion(const std::vector<std::string>& command)
{
    std::vector<std::string> arguments = command;
    arguments.emplace_back("--help");
    const std::string help = runTool(arguments).out;
    EXPECT_EQ(completions(command, "--"), helpEntries(help, "Options:")) << testing::PrintToString(command);
    const Words subcommands = helpEntries(help, "Commands:");
    EXPECT_EQ(completions(command, ""), subcommands) << testing::PrintToString(command);
    for (const std::string& subcommand : subcommands)
    {
        std::vector<std::string> below = command;
        below.push_back(subcommand);
        expectCompletion(below);
    }
}

} // namespace

// ---- calls

TEST(KivTool, WrongCallsGetOneLineAndStatus2)
{
    const std::vector<std::vector<std::string>> calls = {{},
                                                         {"nonsense"},
                                                         {"ini"},
                                                         {"ini", "nonsense"},
                                                         {"ini", "get", "a.ini"},
                                                         {"error"},
                                                         {"error", "E_NONE"},
                                                         {"error", "12x"},
                                                         {"error", "0x100000000"},
                                                         {"error", "1", "--nonsense"},
                                                         {"errors", "--group", "none"},
                                                         {"errors", "--json", "--markdown"},
                                                         {"crc", "--poly", "0x20000", "--hex", "00"},
                                                         {"crc", "--poly", "1", "--hex", "00"},
                                                         {"crc", "--hex", "0"},
                                                         {"crc", "--hex", "0g"},
                                                         {"gpio", "get", "x"},
                                                         {"gpio", "set", "504"},
                                                         {"gpio", "watch", "504", "--edge", "up"},
                                                         {"pwm", "set", "0", "0"},
                                                         {"pwm", "set", "0", "0", "--on", "--off"},
                                                         {"pwm", "set", "0", "0", "--period", "3s"},
                                                         {"pwm", "set", "0", "0", "--period", "-1"},
                                                         {"pwm", "set", "0", "0", "--duty", "101%"},
                                                         {"pwm", "set", "0", "0", "--duty", "nan"},
                                                         {"pwm", "set", "0", "0", "--period", "0"},
                                                         {"pwm", "set", "0", "0", "--period", "", "--on"},
                                                         {"pwm", "set", "0", "", "--on"},
                                                         {"crc", "--poly", "", "--hex", "00"},
                                                         {"gpio", "watch", "504", "--count", "0"},
                                                         {"gpio", "watch", "504", "--timeout", "nan"},
                                                         {"error", "1\n2"}};
    for (const auto& call : calls)
    {
        const ToolResult result = runTool(call);
        EXPECT_THAT(result, Refuses(2, "")) << testing::PrintToString(call);
        EXPECT_EQ(result.out, "") << testing::PrintToString(call);
        EXPECT_LT(result.err.size(), 150U) << result.err;
    }
}

TEST(KivTool, AFullDiskIsNoSuccess)
{
    for (const char* call : {"errors", "--help", "error 1", "error 17"})
        EXPECT_THAT(runShell(std::string("kiv ") + call + " > /dev/full"), Refuses(3, "standard output")) << call;
}

TEST(KivTool, BashCompletesWhatTheHelpNames)
{
    expectCompletion({});
    EXPECT_EQ(completions({"gpio", "watch", "504", "--edge"}, "r"), Words{"rising"});
    const Words groups = completions({"errors", "--group"}, "");
    const std::string help = runTool({"errors", "--help"}).out;
    for (const std::string& group : groups)
        EXPECT_EQ(runTool({"errors", "--group", group}).status, 0) << group;
    EXPECT_EQ(groups.size(), 13U);
}

// ---- errors

TEST(KivTool, ErrorTakesACodeInEveryForm)
{
    const std::string expected = runTool({"error", "16"}).out;
    EXPECT_THAT(expected, AllOf(StartsWith("16 (0x0010): Resource busy\n  group  system"), HasSubstr("errno  EBUSY"),
                                HasSubstr("to do  ")));
    for (const char* form : {"-16", "0x10", "-0x10", "EBUSY", "00000010", "fffffff0", "0xFFFFFFF0", "4294967280"})
        EXPECT_THAT(runTool({"error", form}), Prints(expected)) << form;
    for (const auto& [name, code] :
         {std::pair{"EEXIST", "302 "}, {"EOPNOTSUPP", "327 "}, {"ESHUTDOWN", "16492 (0x406C)"}})
        EXPECT_THAT(runTool({"error", name}).out, StartsWith(code)) << name;
}

TEST(KivTool, ErrorAnswersNoForCodesWithoutText)
{
    const ToolResult result = runTool({"error", "17", "2", "0x8001", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    const auto lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_THAT(lines[1], AllOf(HasSubstr("\"known\":false"), HasSubstr("\"group\":\"system\"")));
    EXPECT_THAT(lines[2], HasSubstr("\"known\":true"));
    EXPECT_THAT(lines[3], AllOf(HasSubstr("\"known\":false"), HasSubstr("\"group\":\"application\"")));
}

TEST(KivTool, ErrorsListsTheWholeCatalogueWithAdvice)
{
    const auto lines = linesOf(runTool({"errors"}).out);
    EXPECT_EQ(lines.size(), 212U);
    for (const std::string& line : lines)
    {
        const auto code = static_cast<ErrCode>(std::stoul(line));
        EXPECT_THAT(line, EndsWith(ErrorToString(code)));
    }
    for (const std::string& line : linesOf(runTool({"errors", "--json"}).out))
        EXPECT_TRUE(line.find("\"advice\":\"\"") == std::string::npos || line.find("{\"code\":0,") == 0) << line;
}

// ---- values, paths

TEST(KivTool, CrcOfFilesStandardInputAndBytes)
{
    TemporaryDirectory directory;
    const std::string path = directory.path() / "record";
    std::string record(250, '\xA5');
    const auto* data = reinterpret_cast<const unsigned char*>(record.data());
    record += static_cast<char>(Kiv::crc8(data, 250));
    write(path, record);
    EXPECT_THAT(runTool({"crc", path}), Prints("0x00\n"));
    write(path, record + std::string(300, '\0') + '\x01');
    EXPECT_THAT(runTool({"crc", path}), Prints("0x5E\n")) << "more than the library's 255 bytes at once";

    EXPECT_THAT(runShell("printf 123456789 | kiv crc"), Prints("0xA1\n"));
    EXPECT_THAT(runShell("printf 123456789 | kiv crc - --poly 0x11021"), Prints("0x31C3\n"));
    EXPECT_THAT(runTool({"crc", "--hex", "31 32 33", "--poly", "0x1021", "--json"}),
                Prints("{\"crc\":929,\"hex\":\"0x3A1\",\"bytes\":3}\n"));
    EXPECT_THAT(runTool({"crc", "--hex", ""}), Prints("0x00\n"));
    EXPECT_THAT(runTool({"crc", directory.path() / "none"}), Refuses(3, "No such entity"));
    EXPECT_THAT(runTool({"crc", directory.path()}), Refuses(3, "Is a directory"));
}

TEST(KivTool, HoursOfARecordAndNeverOfLess)
{
    TemporaryDirectory directory;
    const std::string path = directory.path() / "meter";
    const std::uint32_t seconds = 3600 * 1234 + 61;
    std::string record(reinterpret_cast<const char*>(&seconds), sizeof seconds);
    write(path, "0123456789" + record + "tail");
    EXPECT_THAT(runTool({"hours", "show", "--offset", "010", path}), Prints("1234 h 01 min 01 s\n"));
    EXPECT_THAT(runTool({"hours", "show", "--json", "--offset", "010", path}), Prints("{\"seconds\":4442461}\n"));
    EXPECT_THAT(runTool({"hours", "reset", "--offset", "010", path}), Prints("before: 1234 h 01 min 01 s\n"));
    EXPECT_THAT(runShell("cat " + path), Prints("0123456789" + std::string(4, '\0') + "tail"));
    for (const char* command : {"show", "reset"})
    {
        EXPECT_THAT(runTool({"hours", command, "--offset", "15", path}),
                    Refuses(2, "ends before a record at offset 15"));
        EXPECT_THAT(runTool({"hours", command, "--offset", "-1", path}), Refuses(2, "--offset"));
        EXPECT_THAT(runTool({"hours", command, directory.path() / "none"}), Refuses(3, "No such entity"));
        EXPECT_THAT(runTool({"hours", command, directory.path()}), Refuses(3, "Is a directory"));
    }
    write(path, "[Heater]\nSetpoint=21.5\n");
    for (const char* command : {"show", "reset"})
        EXPECT_THAT(runTool({"hours", command, path}), Refuses(2, "neither an hour counter's record nor"));
    write(path, "0123456789" + std::string(4, '\0') + "tail");
    EXPECT_EQ(std::filesystem::file_size(path), 18U);
    EXPECT_FALSE(std::filesystem::exists(directory.path() / "none"));
}

TEST(KivTool, HoursOfACounterAndItsStarts)
{
    TemporaryDirectory directory;
    const std::string path = directory.path() / "counters";
    {
        Kiv::COperatingHours first(path, 0);
        Kiv::COperatingHours second(path, 1);
        ASSERT_EQ(first.open(), 0);
        ASSERT_EQ(second.open(), 0);
        first.add(std::chrono::hours(100000) + std::chrono::milliseconds(61500), 7);
        second.add(std::chrono::seconds(5), 1);
    }
    EXPECT_THAT(runTool({"hours", "show", path}), Prints("100000 h 01 min 01 s, 7 starts\n"));
    EXPECT_THAT(runTool({"hours", "show", "--number", "1", path}), Prints("0 h 00 min 05 s, 1 starts\n"));
    EXPECT_THAT(runTool({"hours", "show", "--json", path}), Prints("{\"seconds\":360000061,\"starts\":7}\n"));
    EXPECT_THAT(runTool({"hours", "show", "--number", "2", path}), Refuses(3, "No data available"));
    EXPECT_THAT(runTool({"hours", "show", "--number", "1", "--offset", "0", path}), Refuses(2, "excludes"));
    EXPECT_THAT(runTool({"hours", "show", "--offset", "4096", path}), Refuses(2, "neither an hour counter's"));
    EXPECT_THAT(runTool({"hours", "reset", path}), Prints("before: 100000 h 01 min 01 s, 7 starts\n"));
    EXPECT_THAT(runTool({"hours", "show", path}), Prints("0 h 00 min 00 s, 0 starts\n"));
    EXPECT_THAT(runTool({"hours", "show", "--number", "1", path}), Prints("0 h 00 min 05 s, 1 starts\n"));
}

TEST(KivTool, Base32RoundTripAndItsFaults)
{
    TemporaryDirectory directory;
    const std::string path = directory.path() / "bytes";
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    write(path, bytes);
    EXPECT_THAT(runShell("kiv base32 " + path + " | fold -w 20 | kiv base32 -d"), Prints(bytes));
    EXPECT_THAT(runShell("printf fooba | kiv base32"), Prints("MZXW6YTB\n"));
    EXPECT_THAT(runShell("printf foob | kiv base32 --no-padding"), Prints("MZXW6YQ\n"));
    struct Case
    {
        const char* text;
        const char* reason;
    };
    for (const Case& fault : {Case{"MZXw6===", "character 4"},
                              {"MZ=W6===", "character 3"},
                              {"MZXW6YTBO", "cut off"},
                              {"M\\nY =", ""},
                              {"MR", "damaged"}})
    {
        const ToolResult result = runShell(std::string("printf '") + fault.text + "' | kiv base32 --decode");
        if (*fault.reason == '\0')
            EXPECT_THAT(result, Prints("f"));
        else
            EXPECT_THAT(result, AllOf(Refuses(2, fault.reason), testing::Field(&ToolResult::out, "")));
    }
}

TEST(KivTool, PathsAreThoseOfTheProgram)
{
    const std::filesystem::path program = std::filesystem::canonical(KIV_TOOL);
    const ToolResult result = runShell("HOME=/nowhere XDG_DATA_HOME= kiv paths");
    EXPECT_THAT(result, Prints("program=" + program.string() + "\nAPP_PATH=" + program.parent_path().string() +
                               "\nDATA_LOCATION=/nowhere/.local/share\nCOMMON_APPDATA=/nowhere/.local/share\n"));
    EXPECT_THAT(runTool({"paths", "--expand", "${APP_PATH}/x ${NOT_SET_AT_ALL}"}),
                Prints(program.parent_path().string() + "/x ${NOT_SET_AT_ALL}\n"));
    EXPECT_THAT(runTool({"paths", "--expand", "${APP_PATH"}), Refuses(2, "not ended"));
}
