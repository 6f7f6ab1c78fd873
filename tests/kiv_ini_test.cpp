// kiv ini: what it reads and reports, and that setting a value loses nothing.
#include <fstream>
#include <random>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/IniFile.h>
#include <kiv/IniText.h>

#include "support/KivTool.h"
#include "support/TemporaryDirectory.h"

using namespace std::string_literals;

namespace
{

class KivIni : public testing::Test
{
protected:
    void write(const std::string& text) const { std::ofstream(path, std::ios::binary | std::ios::trunc) << text; }

    std::string read() const
    {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    ino_t inode() const
    {
        struct stat status = {};
        stat(path.c_str(), &status);
        return status.st_ino;
    }

    std::size_t filesInFolder() const
    {
        const std::filesystem::directory_iterator entries(directory.path());
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    /// A text made of lines that parsers stumble over.
    std::string randomText()
    {
        static const std::vector<std::string> pieces = {"[A]",    "[B]",     " [A] ",   "[a]b]",     "[A] x",
                                                        "[]",     "[ A ]",   "k=1",     "  k = 2  ", "k",
                                                        "k: 3",   "=4",      "m=a=b",   "m=",        "m =  ",
                                                        "=",      "; c",     "  # c",   "",          "  ",
                                                        "\t",     "k=5 ; c", "m\t=\t6", "n=\xFF",    "\xEF\xBB\xBFk=1",
                                                        "n=\0x"s, "n\v=7",   "\r",      "k=\r8",     "k=\"9\"",
                                                        "]"};
        std::string text;
        const std::size_t count = random() % 12;
        for (std::size_t i = 0; i < count; ++i)
            text += pieces[random() % pieces.size()] + (random() % 4 == 0 ? "\r\n" : "\n");
        if (!text.empty() && random() % 3 == 0)
            text.pop_back();
        return text;
    }

    const TemporaryDirectory directory{TemporaryDirectory::inMemory()};
    const std::string path = directory.path() / "test.ini";
    std::mt19937 random{1};
};

} // namespace

// ---- reading

TEST_F(KivIni, LinesAreWhatTheLibraryLoads)
{
    for (int round = 0; round < 3000; ++round)
    {
        const std::string text = randomText();
        write(text);
        Kiv::CIniFile ini(path);
        ASSERT_EQ(ini.load(), 0U);
        std::string expected;
        std::string seen;
        std::string joined;
        const auto lines = Kiv::iniLines(text);
        std::string section;
        for (const Kiv::IniLine& line : lines)
        {
            joined += line.text;
            if (line.kind == Kiv::IniLineSection)
                section = line.name;
            if (line.kind == Kiv::IniLineSection)
                seen += '[' + line.name + "]\n";
            if (line.kind != Kiv::IniLineKey)
                continue;
            seen += line.name + '=' + line.value + '\n';
            const std::size_t reached = Kiv::findIniKey(lines, section, line.name);
            const Kiv::CIniFileKey* key = ini.findKey(section, line.name);
            ASSERT_EQ(key == nullptr, reached == lines.size()) << text;
            ASSERT_TRUE(key == nullptr || key->value() == lines[reached].value) << text;
        }
        EXPECT_EQ(joined, text);
        // What the library would write, without comments and empty lines, is the list of its sections and keys.
        ASSERT_EQ(ini.updateFile(), 0U);
        std::istringstream written(read());
        for (std::string line; std::getline(written, line);)
            if (!line.empty() && line[0] != ';' && line[0] != '#')
                expected += line + '\n';
        ASSERT_EQ(seen, expected) << text;
    }
}

TEST_F(KivIni, GetAndList)
{
    write("[Pump]\nName = \"a\\b\"\t\xC3\xA4\xFF\nPeriod=10\nPeriod=11\n[Empty]\n[Pump]\nName=second\n");
    EXPECT_THAT(runTool({"ini", "get", path, "Pump", "Period"}), Prints("10\n"));
    EXPECT_THAT(runTool({"ini", "get", path, "Pump", "Name", "--json"}),
                Prints("\"\\\"a\\\\b\\\"\\u0009\xC3\xA4\xEF\xBF\xBD\"\n"));
    EXPECT_THAT(runTool({"ini", "get", path, "pump", "Period"}), Refuses(1, "no key \"Period\" in section \"pump\""));
    EXPECT_THAT(runTool({"ini", "list", path}),
                Prints("[Pump]\nName=\"a\\b\"\t\xC3\xA4\xFF\nPeriod=10\nPeriod=11\n[Empty]\n[Pump]\nName=second\n"));
    EXPECT_THAT(runShell("printf '[A]\\nk=1\\n' | kiv ini list --json -"),
                Prints("[\n{\"section\":\"A\",\"keys\":[{\"key\":\"k\",\"value\":\"1\"}]}\n]\n"));
    for (const char* file : {"-", "/proc/self/fd/0"})
        EXPECT_THAT(runShell("printf '[A]\\nk=1\\n' | kiv ini get " + std::string(file) + " A k"), Prints("1\n"));
    write("[A]\nk=1\n[B\n");
    EXPECT_THAT(runTool({"ini", "get", path, "A", "k"}), Refuses(2, "test.ini:3: a section without ]"));
    EXPECT_THAT(runTool({"ini", "list", directory.path() / "none.ini"}), Refuses(3, "No such entity"));
}

TEST_F(KivIni, CheckNamesEveryLineThatDoesNotMeanWhatItShows)
{
    struct Case
    {
        const char* text;
        const char* expected; ///< LINE: KIND: and the beginning of the reason, one after the other
        int status;
    };
    const Case cases[] = {
        {"; c\n[A]\nk = "
         "1\nurl=http://x/#top\nt=07:30PM\nd=03-15-2024\nh=0xFF\nz=0\ns=07\nf=-0.5\nv=1.2.3\na=10:20:30:40\n\n "
         "\n[B]\nk=1\n",
         "", 0},
        {"k=1\n[A]\n", "1: warning: ignored: the key stands before", 1},
        {"[A]\nkey: 1\n", "2: warning: ignored: there is no =, and a :", 1},
        {"[A]\nkey\n", "2: warning: ignored: there is no =", 1},
        {"[A\nk: 1\n", "1: error: a section without ]", 1},
        {"[A] x\n", "1: warning: text after the last ] belongs to the name: the section is \"A x\"", 1},
        {"[ A]\n", "1: warning: blanks inside the brackets", 1},
        {"[]\n", "1: warning: the section's name is empty", 1},
        {"[A]\n[B]\n[A]\n", "3: warning: no lookup reaches the keys below: section \"A\" stands in line 1", 1},
        {"[A]\nk=1\n[B]\nk=1\nk=2\n", "5: warning: no lookup reaches this line: key \"k\" stands in line 4", 1},
        {"[A]\n=1\n", "2: warning: the key's name is empty", 1},
        {"\xEF\xBB\xBF[A]\nk=1\n", "1: warning: a byte order mark", 1},
        {"[A]\rk=1\r", "1: warning: a carriage return inside", 1},
        {"[A]\n[a]\nKey=1\nkey=1\n", "2: note: the case of letters", 0},
        {"[A]\r\nk=1\r\n", "1: note: the line ends are CR LF", 0},
        {"[A]\nk=010\n", "2: note: read as an integer it is octal", 0},
        {"[A]\nk=09\n", "2: note: read as an integer it is octal", 0},
        {"[A]\nk=0X1F\n", "2: note: read as an integer it is 0", 0},
        {"[A]\nk=-0x10\n", "2: note: read as an integer it is 0", 0},
        {"[A]\nk=True\n", "2: note: read as a truth value it is the default", 0},
        {"[A]\nk=5 min\n", "2: note: read as a number it ends before the letters", 0},
        {"[A]\nk=1.5e\n", "2: note: read as a number it ends before the letters", 0},
        {"[A]\nk=0x1G\n", "2: note: read as an integer it ends before", 0},
        {"[A]\nk=-99999999999999999999\n", "2: note: read as an integer it is the largest or smallest", 0},
        {"[A]\nk=0xFFFFFFFFFFFFFFFF\nl=1e3\nm=5 apple trees\nn=1.5.2\n", "", 0},
        {"[A]\nk=0,5\n", "2: note: read as a number it ends at the comma", 0},
        {"[A]\nk=2024-03-15\n", "2: note: read as a date it is the default", 0},
        {"[A]\nk=15-03-2024\n", "2: note: read as a date the month is above 12", 0},
        {"[A]\nk=19:30\n", "2: note: read as a time it is the default", 0},
        {"[A]\nk=7:30 PM\n", "2: note: read as a time it is the default", 0},
        {"[A]\nk=07:30:00AM\n", "2: note: read as a time it is the default", 0},
        {"[A]\nk=15.3.2024\n", "2: note: read as a date it is the default", 0},
        {"[A]\nk=12:00PM\n", "2: note: read as a time the hour is 12 for AM and 24 for PM", 0},
        {"[A]\nk='x'\n", "2: note: the quotation marks", 0},
        {"[A]\nk=5 ; five\n", "2: note: a comment needs a line of its own", 0},
    };
    for (const Case& expected : cases)
    {
        write(expected.text);
        const ToolResult result = runTool({"ini", "check", path});
        EXPECT_EQ(result.status, expected.status) << expected.text;
        const std::string prefix = *expected.expected != '\0' ? path + ':' + expected.expected : "";
        EXPECT_EQ(result.out.substr(0, prefix.size()), prefix) << expected.text;
        EXPECT_EQ(result.out.empty(), prefix.empty()) << result.out;
        EXPECT_EQ(runTool({"ini", "check", "--strict", path}).status, prefix.empty() ? 0 : 1) << expected.text;
    }
    write("[A]\nk=1 ; \"x\"\n=\n");
    EXPECT_EQ(runTool({"ini", "check", "--json", path}).out,
              "[\n{\"file\":\"" + path +
                  "\",\"line\":2,\"kind\":\"note\",\"reason\":\"a comment needs a line of its own: " +
                  "this one belongs to the value\"},\n{\"file\":\"" + path +
                  "\",\"line\":3,\"kind\":\"warning\",\"reason\":\"the key's name is empty\"}\n]\n");
}

TEST_F(KivIni, CheckWithASchemaSaysWhatTheProgramWould)
{
    const std::string schema = directory.path() / "schema.ini";
    std::ofstream(schema) << "[schema]\nversion=1\n[setting]\nsection=A\nkey=Period\nkind=duration\ndefault=1 s\n";
    write("[A]\nPeriod=5 min\n");
    EXPECT_THAT(runTool({"ini", "check", "--schema", schema, path}), Prints(""));
    write("[A]\nPeriod=5\nPreiod=5 s\n");
    const std::string reason = "has no unit; allowed: a duration such as 250 ms, 5 min or 1.5 h";
    const ToolResult result = runTool({"ini", "check", "--schema", schema, path});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, path + ":2: [A] Period = 5: " + reason + '\n' + path +
                              ":3: [A] Preiod = 5 s: there is no such key; did you mean Period?\n");
    EXPECT_EQ(runShell("kiv ini check --json --schema " + schema + " - < " + path).out,
              "[\n{\"file\":\"-\",\"line\":2,\"kind\":\"error\",\"section\":\"A\",\"key\":\"Period\",\"value\":\"5\","
              "\"reason\":\"" +
                  reason +
                  "\"},\n{\"file\":\"-\",\"line\":3,\"kind\":\"error\",\"section\":\"A\",\"key\":\"Preiod\",\"value\":"
                  "\"5 s\","
                  "\"reason\":\"there is no such key; did you mean Period?\"}\n]\n");
    EXPECT_THAT(runTool({"ini", "check", "--schema", path, path}), Refuses(2, path + ":1: [A] there is no such part"));
    EXPECT_THAT(runTool({"ini", "check", "--schema", directory.path() / "none", path}), Refuses(3, "none: No such"));
    EXPECT_THAT(runTool({"ini", "check", "--schema", schema, directory.path() / "none"}), Refuses(3, "none: No such"));
}

// ---- setting

TEST_F(KivIni, SetChangesOneValueAndNoOtherByte)
{
    struct Case
    {
        const char* what;
        std::string before;
        std::vector<std::string> setting;
        std::string after;
    };
    const Case cases[] = {
        {"value in place",
         "; c\n\n[A]\n  k  =  1  \nlost\n: x\n",
         {"A", "k", "two words"},
         "; c\n\n[A]\n  k  =  two words  \nlost\n: x\n"},
        {"CR LF and no end", "[A]\r\nk=1\r\nm=2", {"A", "m", "3"}, "[A]\r\nk=1\r\nm=3"},
        {"empty value filled", "[A]\nk = \n", {"A", "k", "1"}, "[A]\nk = 1\n"},
        {"value emptied", "[A]\nk = 1\n", {"A", "k", ""}, "[A]\nk = \n"},
        {"the line that lookups reach", "[A]\nk=1\nk=2\n[A]\nk=3\n", {"A", "k", "9"}, "[A]\nk=9\nk=2\n[A]\nk=3\n"},
        {"new key looks as its neighbour",
         "[A]\r\nk = 1\r\n\r\n; of B\r\n[B]\r\n",
         {"A", "m", "2"},
         "[A]\r\nk = 1\r\nm = 2\r\n\r\n; of B\r\n[B]\r\n"},
        {"new key without neighbour or end", "[A]", {"A", "k", "1"}, "[A]\nk=1\n"},
        {"new section before the file's last comment",
         "[A]\nk=1\n\n; end\n",
         {"B", "k", "2"},
         "[A]\nk=1\n\n[B]\nk=2\n\n; end\n"},
        {"new section in a file of comments", "; head\n", {"B", "k", "2"}, "; head\n\n[B]\nk=2\n"},
        {"empty file", "", {"B]", "k", "2"}, "[B]]\nk=2\n"},
        {"words of the program", "[get]\nset=1\n", {"get", "set", "error"}, "[get]\nset=error\n"},
        {"a negative number", "[A]\nk=1\n", {"A", "k", "-5"}, "[A]\nk=-5\n"},
        {"like an option", "[A]\nk=1\n", {"A", "k", "--", "--create"}, "[A]\nk=--create\n"},
    };
    for (const Case& expected : cases)
    {
        write(expected.before);
        std::vector<std::string> call = {"ini", "set", path};
        call.insert(call.end(), expected.setting.begin(), expected.setting.end());
        EXPECT_THAT(runTool(call), Prints("")) << expected.what;
        EXPECT_EQ(read(), expected.after) << expected.what;
        EXPECT_EQ(filesInFolder(), 1U);
    }
}

TEST_F(KivIni, SettingsReadBackAndLeaveAllOthersAsTheyWere)
{
    const std::string names[] = {"A", "a]b", "A x", "", " A ", "new"};
    const std::string keys[] = {"k", "m", "n", "new"};
    const std::string values[] = {"", "1", "a=b", "x ; y", "[z]"};
    for (int round = 0; round < 2000; ++round)
    {
        const std::string before = randomText();
        const struct
        {
            std::string section;
            std::string key;
            std::string value;
        } setting{names[random() % 6], keys[random() % 4], values[random() % 5]};
        write(before);
        Kiv::CIniFile old(path);
        ASSERT_EQ(old.load(), 0U);
        const std::string after = Kiv::iniTextWith(before, setting.section, setting.key, setting.value);
        write(after);
        Kiv::CIniFile changed(path);
        ASSERT_EQ(changed.load(), 0U);
        std::string value = "none";
        changed.readString(setting.section, setting.key, "none", value);
        ASSERT_EQ(value, setting.value) << before << "---\n" << after;

        if (old.sectionCount() == 0)
            continue; // a comment at the head stays at the head, where the library would put the section before it
        // The library's own way of setting leads to the same sections, keys and values in the same places.
        old.writeKey(setting.section, setting.key, setting.value);
        ASSERT_EQ(changed.updateFile(), 0U);
        const std::string seen = read();
        ASSERT_EQ(old.updateFile(), 0U);
        ASSERT_EQ(seen, read()) << before << "---\n" << after;
    }
}

TEST_F(KivIni, WhatCannotBeSetLeavesTheFileUntouched)
{
    struct Case
    {
        const char* before;
        std::vector<std::string> setting;
        const char* reason;
    };
    const Case cases[] = {
        {"[A]\nk=1\n", {"A", "k", "1\n2"}, "line break"},
        {"[A]\nk=1\n", {"A", "k", " 1"}, "blank"},
        {"[A]\nk=1\n", {"A", "k", "1\t"}, "blank"},
        {"[A]\nk=1\n", {"A", "k=x", "1"}, "no key"},
        {"[A]\nk=1\n", {"A", "", "1"}, "no key"},
        {"[A]\nk=1\n", {"A", "[k", "1"}, "no key"},
        {"[A]\nk=1\n", {"A", ";k", "1"}, "no key"},
        {"[A]\nk=1\n", {"A", " k", "1"}, "no key"},
        {"[A]\nk=1\n", {"A\nB", "k", "1"}, "line break"},
        {"[A]\nk=1\n[B\n", {"A", "k", "2"}, ":3: a section without ]"},
        {"[A]\nk=1\n", {"A", "k"}, "VALUE is required"},
        {"[A]\nk=1\n", {"A", "k", "1", "2"}, "not expected"},
    };
    for (const Case& refused : cases)
    {
        write(refused.before);
        const ino_t before = inode();
        std::vector<std::string> call = {"ini", "set", path};
        call.insert(call.end(), refused.setting.begin(), refused.setting.end());
        EXPECT_THAT(runTool(call), Refuses(2, refused.reason)) << testing::PrintToString(call);
        EXPECT_EQ(read(), refused.before);
        EXPECT_EQ(inode(), before);
        EXPECT_EQ(filesInFolder(), 1U);
    }
}

TEST_F(KivIni, SetKeepsOwnerModeAndLinksAndDoesNotWriteTheSameAgain)
{
    write("[A]\nk=1\n");
    chmod(path.c_str(), 0640);
    const uid_t owner = geteuid() == 0 ? 12345 : geteuid(); // only root can have somebody else's
    ASSERT_EQ(chown(path.c_str(), owner, static_cast<gid_t>(-1)), 0);
    const std::string link = directory.path() / "link.ini";
    std::filesystem::create_symlink("test.ini", link);
    EXPECT_THAT(runTool({"ini", "set", link, "A", "k", "2"}), Prints(""));
    EXPECT_EQ(read(), "[A]\nk=2\n");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    struct stat status = {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(status.st_uid, owner);
    EXPECT_THAT(runTool({"ini", "set", path, "A", "k", "2"}), Prints(""));
    EXPECT_EQ(inode(), status.st_ino);
}

TEST_F(KivIni, SetMakesAFileOnlyWhenAskedTo)
{
    EXPECT_THAT(runTool({"ini", "set", path, "A", "k", "1"}), Refuses(3, "No such entity"));
    EXPECT_EQ(filesInFolder(), 0U);
    EXPECT_THAT(runShell("umask 027; kiv ini set --create " + path + " A k 1"), Prints(""));
    EXPECT_EQ(read(), "[A]\nk=1\n");
    struct stat status = {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_THAT(runTool({"ini", "set", "--create", directory.path() / "no" / "x.ini", "A", "k", "1"}),
                Refuses(3, "No such entity"));
    EXPECT_THAT(runTool({"ini", "set", directory.path(), "A", "k", "1"}), Refuses(2, "not a file"));
    EXPECT_THAT(runTool({"ini", "set", "--create", "-", "A", "k", "1"}), Refuses(2, "standard input"));
    const std::string link = directory.path() / "link.ini";
    std::filesystem::create_symlink("none.ini", link);
    EXPECT_THAT(runTool({"ini", "set", "--create", link, "A", "k", "1"}), Refuses(3, "leads nowhere"));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST_F(KivIni, SetsAtTheSameTimeAllCount)
{
    write("[A]\n");
    EXPECT_THAT(runShell("for i in 0 1 2 3 4 5 6 7 8 9; do kiv ini set " + path + " A key$i $i & done; wait"),
                Prints(""));
    EXPECT_EQ(Kiv::iniLines(read()).size(), 11U) << read();
}

TEST_F(KivIni, SetWaitsOnlyAWhileForALockThatEveryReaderOfTheFolderCanHold)
{
    write("[A]\n");
    const int folder = open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(folder, LOCK_EX), 0);
    CChildProcess set({"timeout", "-s", "KILL", "100", KIV_TOOL, "ini", "set", path, "A", "k", "1"});
    EXPECT_EQ(set.wait(), 3);
    EXPECT_EQ(set.err(), "kiv: " + path + ": another program holds the lock of its folder\n");
    EXPECT_EQ(read(), "[A]\n");
    close(folder);
    EXPECT_THAT(runTool({"ini", "set", path, "A", "k", "1"}), Prints(""));
}

TEST_F(KivIni, SetLeavesTheFileAsItWasWhenItCannotEnd)
{
    const std::string text = "[A]\nk=1\n;" + std::string(20000, 'x') + '\n';
    write(text);
    EXPECT_THAT(runShell("ulimit -f 8; kiv ini set " + path + " A k 2"), Refuses(3, "test.ini"));
    EXPECT_EQ(read(), text);
    EXPECT_EQ(filesInFolder(), 1U);
}
