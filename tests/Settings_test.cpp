#include <kiv/Settings.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include "support/TemporaryDirectory.h"

using namespace std::chrono_literals;
using Kiv::CSettings;

namespace
{

constexpr ErrCode invalid = 0u - 22u;

enum eMode : int
{
    ModeSlow = 3,
    ModeFast = 7
};

struct SHeater
{
    double setPoint = 21.5;
    int limit = 60;
    std::uint8_t address = 5;
    bool isOn = true;
    std::string name = "tank";
    eMode mode = ModeFast;
    std::chrono::milliseconds pause = 5min;
    std::chrono::seconds flushAt = 3h + 30min;
    Kiv::CDateTime installed{2026, 3, 1, 17, 4, 5, 0};
    int level = 1500; ///< millimetres
    std::vector<Kiv::SettingsEntry> faults;
};

void describe(CSettings& settings, SHeater& heater)
{
    settings.section("Heater", "The heater of the tank.");
    settings.add("SetPoint", heater.setPoint, "It is switched off above this.").range(5, 60).unit("degC");
    settings.add("Limit", heater.limit, "").range(-10, 100);
    settings.add("Address", heater.address, "");
    settings.add("On", heater.isOn, "");
    settings.add("Name", heater.name, "For the display.");
    settings.addChoice("Mode", heater.mode, {{"slow", ModeSlow}, {"fast", ModeFast}}, "How fast | it heats.");
    settings.section("Times");
    settings.add("Pause", heater.pause, "At least so long it stays off.").range(1ms, 24h);
    settings.addTimeOfDay("FlushAt", heater.flushAt, "");
    settings.add("Installed", heater.installed, "");
    settings.section("Heater");
    settings.add("Level", heater.level, "").scale(1000).range(0, 20).unit("m");
    settings.addFree("Faults", heater.faults, "From when until when.");
}

class Settings : public testing::Test
{
protected:
    Settings() { describe(settings, heater); }

    void write(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }
    std::string read() const
    {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }

    ErrCode readText(const std::string& text)
    {
        write(text);
        return settings.read(path);
    }

    /// The only fault of a file, without the file's name.
    std::string faultOf(const std::string& text)
    {
        if (readText(text) == 0)
            return "none";
        const std::string all = settings.faultText();
        return settings.faults().size() == 1 ? all.substr(path.size() + 1, all.size() - path.size() - 2) : all;
    }

    const TemporaryDirectory directory{TemporaryDirectory::inMemory()};
    const std::string path = directory.path() / "test.ini";
    SHeater heater;
    CSettings settings{"What the heater does."};
};

std::string changesOf(const CSettings& settings)
{
    std::string all;
    for (const Kiv::SettingsChange& change : settings.changes())
        all += change.section + '.' + change.key + ": " + change.before + " -> " + change.after + '\n';
    return all;
}

} // namespace

TEST_F(Settings, ReadsEveryKindIntoItsVariable)
{
    ASSERT_EQ(readText("; comment\n[Heater]\nSetPoint = 1.95e1 degC\nLimit=-7\nAddress=0xff\nOn=OFF\nName= a = b; c \n"
                       "Mode=slow\nLevel=0.8\n[Times]\nPause=250 ms\nFlushAt=00:00:07\nInstalled=2024-02-29 23:59\n"
                       "[Faults]\n07:12=07:31\n19:02=19:12\n"),
              0u)
        << settings.faultText();
    EXPECT_EQ(heater.setPoint, 19.5);
    EXPECT_EQ(heater.limit, -7);
    EXPECT_EQ(heater.address, 255);
    EXPECT_FALSE(heater.isOn);
    EXPECT_EQ(heater.name, "a = b; c");
    EXPECT_EQ(heater.mode, ModeSlow);
    EXPECT_EQ(heater.level, 800);
    EXPECT_EQ(heater.pause, 250ms);
    EXPECT_EQ(heater.flushAt, 7s);
    EXPECT_EQ(heater.installed, Kiv::CDateTime(2024, 2, 29, 23, 59, 0, 0));
    ASSERT_EQ(heater.faults.size(), 2u);
    EXPECT_EQ(heater.faults[1].key + heater.faults[1].value, "19:0219:12");
    // What is not there has its default, also after it was there.
    ASSERT_EQ(readText("[Heater]\nLimit=0\n"), 0u);
    EXPECT_EQ(heater.setPoint, 21.5);
    EXPECT_EQ(heater.limit, 0);
    EXPECT_EQ(heater.level, 1500);
    EXPECT_TRUE(heater.faults.empty());
}

TEST_F(Settings, TakesOnlyWhatCannotBeMisunderstood)
{
    const struct
    {
        const char* key;
        const char* accepted;
        const char* refused;
    } rows[] = {
        {"SetPoint", "5|60|+6|6.|.5e2|21.5degC",
         "|21,5|4.99|60.1|nan|inf|0x10|1.5e|21.5 C|2 1|--6|+-6|1e999|6\t7|5 min"},
        {"Limit", "0|+7|-10|0x1F|100",
         "010|00|1.0|1e1|0x|0x1G|-0x1|0x-1|0X1F|101|99999999999999999999|12abc|5 min|++1"},
        {"Address", "0|255", "-1|256|0x100"},
        {"On", "on|Yes|TRUE|1|off|no|false|0", "|2|o|enabled|1.0|01"},
        {"Mode", "slow|fast", "Slow|3||slow,fast"},
        {"Level", "0|20|0.0004|1.2345 m", "-0.1|20.1|20000|1 mm"},
    };
    const auto pieces = [](const std::string& list) {
        std::vector<std::string> all(1);
        for (const char character : list)
        {
            if (character == '|')
                all.emplace_back();
            else
                all.back().push_back(character);
        }
        return all;
    };
    for (const auto& row : rows)
    {
        for (const std::string& text : pieces(row.accepted))
            EXPECT_EQ(faultOf("[Heater]\n" + (row.key + ('=' + text))), "none");
        for (const std::string& text : pieces(row.refused))
            EXPECT_NE(faultOf("[Heater]\n" + (row.key + ('=' + text))), "none") << row.key << '=' << text;
    }
    const struct
    {
        const char* key;
        const char* accepted;
        const char* refused;
    } times[] = {
        {"Pause", "1ms|5 min|2 h|1.5 s|24h|0.001 s|1000000 ns|1d",
         "5|0|0.5 ms|250|2 days|25 h|5 Min|-1 s|,5 s|1,5 s|min|1 h 30 min|9999999999999 d|1e3 s"},
        {"FlushAt", "00:00|03:30|24:00:01|99:59:59", "3:30|03:60|03:30:60|0330|03:30 pm|100:00|-1:00|"},
        {"Installed", "2026-03-01|2026-03-01 17:04|2026-03-01T17:04:05|2024-02-29",
         "2026-02-29|2026-13-01|01.03.2026|03-01-2026|2026-03-01 24:00|2026-3-1|2026-03-01 1|"},
    };
    for (const auto& row : times)
    {
        for (const std::string& text : pieces(row.accepted))
            EXPECT_EQ(faultOf("[Times]\n" + (row.key + ('=' + text))), "none");
        for (const std::string& text : pieces(row.refused))
            EXPECT_NE(faultOf("[Times]\n" + (row.key + ('=' + text))), "none") << row.key << '=' << text;
    }
}

TEST_F(Settings, SaysWhatIsWrongAndWhatIsAllowed)
{
    const struct
    {
        const char* text;
        const char* fault;
    } rows[] = {
        {"[Heater]\nSetPoint=21,5", "2: [Heater] SetPoint = 21,5: is no number: the decimal sign is a point, and "
                                    "nothing stands between thousands; "
                                    "allowed: a number from 5 to 60 degC"},
        {"[Heater]\n\nLimit=5 min", "3: [Heater] Limit = 5 min: is no whole number: something stands behind the "
                                    "digits; allowed: a whole number from "
                                    "-10 to 100"},
        {"[Heater]\nLimit=010",
         "2: [Heater] Limit = 010: begins with a 0: write decimal numbers without it, hexadecimal "
         "ones with 0x; allowed: a whole number from -10 to 100"},
        {"[Heater]\nAddress=256", "2: [Heater] Address = 256: is out of range; allowed: a whole number from 0 to 255"},
        {"[Heater]\nMode=quick", "2: [Heater] Mode = quick: is none of the names; allowed: one of slow, fast"},
        {"[Times]\nPause=5",
         "2: [Times] Pause = 5: has no unit; allowed: a duration such as 250 ms, 5 min or 1.5 h, from 1 ms to 1 d"},
        {"[Times]\nPause=1500 us", "2: [Times] Pause = 1500 us: is no whole number of ms; allowed: a duration such as "
                                   "250 ms, 5 min or 1.5 h, from 1 ms to 1 d"},
        {"[Heater]\nsetpont=6", "2: [Heater] setpont = 6: there is no such key; did you mean SetPoint?"},
        {"[Heater]\nPause=6 s", "2: [Heater] Pause = 6 s: there is no such key; did you mean Pause of [Times]?"},
        {"[Heater]\nXyzzy=6", "2: [Heater] Xyzzy = 6: there is no such key"},
        {"[Heatre]\nLimit=6\nSetPoint=x", "1: [Heatre] there is no such section; did you mean Heater?"},
        {"[Heater]\nLimit=6\n[Times]\n[Heater]\nLimit=x", "4: [Heater] the section stands in line 1 already"},
        {"[Heater]\nLimit=6\nLimit=7", "3: [Heater] Limit = 7: stands in line 2 already"},
        {"[Faults]\na=6\na=7", "3: [Faults] a = 7: stands in line 2 already"},
        {"Limit=6\n[Heater]", "1: Limit = 6: stands before the first section"},
        {"[Heater]\nLimit: 6", "2: [Heater] Limit: 6: is neither a comment, nor a [section], nor a key = value"},
        {"[Heater] 1\n", "1: [Heater 1] [Heater] 1: has something behind the ]"},
        {"[Heater\nLimit=x\n", "1: [Heater: is a section without ]"},
        {"[Heater]\n=6", "2: [Heater] =6: has no key before the ="},
        {"\xEF\xBB\xBF[Heater]\n", "1: the file begins with a byte order mark: save it as UTF-8 without one"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(faultOf(row.text), row.fault);
}

TEST_F(Settings, FindsEveryFaultInOnePassAndAppliesNothing)
{
    heater.limit = 55;
    settings.section("Heater");
    int needed = 1;
    settings.add("Needed", needed, "").required();
    EXPECT_EQ(readText("[Heater]\nLimit=6\nSetPoint=x\nNmae=y\n[Times]\nPause=1\n"), invalid);
    std::vector<std::size_t> lines;
    for (const Kiv::SettingsFault& fault : settings.faults())
        lines.push_back(fault.line);
    EXPECT_THAT(lines, testing::ElementsAre(1, 3, 4, 6)) << settings.faultText();
    EXPECT_EQ(settings.faults()[0].text(),
              path + ":1: [Heater] Needed is missing; allowed: a whole number from -2147483648 "
                     "to 2147483647");
    EXPECT_EQ(heater.limit, 55);
    EXPECT_EQ(settings.read(directory.path() / "none.ini"), 0u - 2u);
    EXPECT_EQ(settings.read(directory.path()), 0u - 21u);
    EXPECT_EQ(settings.read("/dev/zero"), 0u - 27u);
    EXPECT_EQ(heater.limit, 55);
}

TEST_F(Settings, ChecksSeeTheNewValuesAndAFaultOfTheirsBringsTheFormerBack)
{
    settings.addCheck([this](CSettings& checked) {
        if (heater.limit <= heater.setPoint)
            checked.fail(&heater.limit, "does not lie above SetPoint");
        for (const Kiv::SettingsEntry& entry : heater.faults)
            if (entry.key == "bad")
                checked.fail("Faults", entry.key, "is bad");
    });
    ASSERT_EQ(readText("[Heater]\nSetPoint=30\nLimit=31\n"), 0u);
    EXPECT_EQ(changesOf(settings), "Heater.SetPoint: 21.5 -> 30\nHeater.Limit: 60 -> 31\n");
    EXPECT_EQ(readText("[Heater]\nOn=off\nSetPoint=40\nLimit=40\n[Faults]\nbad=1\n"), invalid);
    EXPECT_EQ(settings.faultText(), path + ":4: [Heater] Limit = 40: does not lie above SetPoint\n" + path +
                                        ":6: [Faults] bad = 1: is bad\n");
    EXPECT_EQ(heater.limit, 31);
    EXPECT_TRUE(heater.isOn);
    EXPECT_TRUE(heater.faults.empty());
    EXPECT_EQ(changesOf(settings), "");
    EXPECT_EQ(faultOf("[Heater]\nSetPoint=60\n"), "1: [Heater] Limit does not lie above SetPoint") << "not in the file";
}

TEST_F(Settings, ReloadTellsWhatHasChanged)
{
    EXPECT_FALSE(settings.changedOnDisk());
    ASSERT_EQ(readText("[Heater]\nLimit=50\n[Times]\nPause=1 s\n"), 0u);
    EXPECT_FALSE(settings.changedOnDisk());
    write("[Heater]\nLimit=50\n[Times]\nPause=90 min\n[Faults]\na=1\nb=2\n");
    EXPECT_TRUE(settings.changedOnDisk());
    ASSERT_EQ(settings.read(path), 0u);
    EXPECT_EQ(changesOf(settings), "Times.Pause: 1 s -> 90 min\nFaults.:  -> a=1, b=2\n");
    EXPECT_FALSE(settings.changedOnDisk());
}

TEST_F(Settings, SaveWritesOnlyWhatHasChangedAndLeavesEveryOtherByte)
{
    const std::string text =
        "\r\n; by hand\r\n[Heater]\r\n  SetPoint =  22.0  \r\n\r\nName=x\r\n[Times]\r\nPause=60 s\r\n";
    ASSERT_EQ(readText(text), 0u);
    EXPECT_EQ(settings.save(), 0u);
    EXPECT_EQ(read(), text) << "nothing to do";
    heater.setPoint = 23.25;
    heater.pause = 1500ms;
    heater.isOn = false;
    heater.level = 1234;
    write(text + "; a person was here\r\n"); // meanwhile
    EXPECT_EQ(settings.save(), 0u);
    EXPECT_EQ(read(),
              "\r\n; by hand\r\n[Heater]\r\n  SetPoint =  23.25  \r\n\r\nName=x\r\nOn=off\r\nLevel=1.234\r\n[Times]\r\n"
              "Pause=1500 ms\r\n; a person was here\r\n");
    EXPECT_TRUE(settings.changedOnDisk()) << "the person's change was not read";
    ASSERT_EQ(settings.read(path), 0u);
    EXPECT_EQ(changesOf(settings), "") << "what was written is what is read";
    heater.limit = 1000;
    heater.name = "two\nlines";
    EXPECT_EQ(settings.save(), invalid);
    EXPECT_EQ(settings.faultText(), path + ":1: [Heater] Limit = 1000: is out of range\n" + path +
                                        ":1: [Heater] Name = two lines: the value cannot hold a line break\n");
    heater = SHeater();
    write("[Heater\n");
    EXPECT_EQ(settings.save(), invalid);
    EXPECT_EQ(read(), "[Heater\n");
}

TEST_F(Settings, PrintsItselfAsAFileThatReadsBackAndAsATable)
{
    EXPECT_EQ(settings.create(path), 0u);
    EXPECT_EQ(settings.create(path), 0u - 17u);
    const std::string text = read();
    EXPECT_THAT(text,
                testing::StartsWith("; What the heater does.\n\n; The heater of the tank.\n[Heater]\n"
                                    "; It is switched off above this.\n; a number from 5 to 60 degC\nSetPoint=21.5\n"));
    EXPECT_THAT(text, testing::HasSubstr("Pause=5 min\n; a time such as 03:30 or 03:30:15\nFlushAt=03:30\n"));
    heater = SHeater();
    heater.level = 0;
    ASSERT_EQ(settings.read(path), 0u) << settings.faultText();
    EXPECT_EQ(changesOf(settings), "Heater.Level: 0 -> 1.5\n");
    const std::string table = settings.tableText();
    EXPECT_THAT(table, testing::HasSubstr("| `SetPoint` | a number from 5 to 60 degC | `21.5` | It is switched off"));
    EXPECT_THAT(table, testing::HasSubstr("How fast \\| it heats."));
}

TEST_F(Settings, ASchemaFindsTheSameFaultsElsewhere)
{
    int needed = 0;
    settings.section("Heater");
    settings.add("Needed", needed, "A sentence.").required();
    const std::string schema = directory.path() / "schema.ini";
    std::ofstream(schema) << settings.schemaText();
    CSettings checker;
    ASSERT_EQ(checker.readSchema(schema), 0u) << checker.faultText();
    EXPECT_EQ(checker.schemaText(), settings.schemaText());
    EXPECT_EQ(checker.tableText(), settings.tableText());
    for (const char* text : {"[Heater]\nNeeded=1\nLevel=21\nMode=x\n[Times]\nPause=1 us\n", "", "[X]\n",
                             "[Heater]\nNeeded=3\nAddress=256\n"})
    {
        write(text);
        EXPECT_EQ(checker.read(path), settings.read(path));
        EXPECT_EQ(checker.faultText(), settings.faultText());
    }
    const char* bad[] = {"",
                         "[schema]\nversion=2\n",
                         "[schema]\nversion=1\n[setting]\nsection=S\nkey=k\n",
                         "[schema]\nversion=1\n[setting]\nsection=S\nkey=k\nkind=rael\n",
                         "[schema]\nversion=1\n[setting]\nsection=S\nkey=k\nkind=integer\ndefault=x\n",
                         "[schema]\nversion=1\n[setting]\nsection=S\nkey=k\nkind=duration\ntick=0\ndefault=0 s\n",
                         "[schema]\nversion=1\nx\n",
                         "[schema]\nversion=1\n[sitting]\n"};
    for (const char* text : bad)
    {
        std::ofstream(schema) << text;
        EXPECT_EQ(CSettings().readSchema(schema), invalid) << text;
    }
}
