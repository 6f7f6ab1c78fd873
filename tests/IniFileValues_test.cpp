#include <kiv/IniFile.h>

#include <array>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "support/DecimalComma.h"

using Kiv::CIniFile;

namespace
{

/// A model in memory with one key to write and read.
struct OneKey : CIniFile
{
    OneKey() : CIniFile("") {}
    explicit OneKey(const std::string& text) : CIniFile("") { writeString("S", "k", text); }

    std::string text() const
    {
        std::string result;
        readString("S", "k", "(none)", result);
        return result;
    }
};

std::tm timeOf(int hour, int minute)
{
    std::tm result{};
    result.tm_hour = hour;
    result.tm_min = minute;
    return result;
}

} // namespace

TEST(IniFileValues, IntegersAreReadAsScanfReadsThem)
{
    const struct
    {
        const char* text;
        long expected;
    } rows[] = {{"12abc", 12},
                {" \t-5 6", -5},
                {"+7", 7},
                {"0", 0},
                {"0x1F", 31},
                {"0xffffffffffffffff", -1},
                {"0X1F", 0},
                {"010", 8},
                {"08", 0},
                {" 010", 10},
                {"99999999999999999999", LONG_MAX},
                {"-99999999999999999999", LONG_MIN},
                {"", -77},
                {"-", -77},
                {"x", -77},
                {"''", -77},
                {"true", -77}};
    for (const auto& row : rows)
        EXPECT_EQ(OneKey(row.text).readInteger("S", "k", -77), row.expected) << row.text;
    EXPECT_EQ(OneKey().readInteger("S", "k", -77), -77);
}

TEST(IniFileValues, IntegersAreWrittenInTheirFormAndReadBack)
{
    const auto written = [](const auto& write, long readBack) {
        OneKey ini;
        write(ini);
        EXPECT_EQ(ini.readInteger("S", "k", -77), readBack) << ini.text();
        return ini.text();
    };
    EXPECT_EQ(written([](OneKey& ini) { ini.writeInteger("S", "k", LONG_MIN); }, LONG_MIN), "-9223372036854775808");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntHex("S", "k", 255L); }, 255), "0x000000FF");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntHex("S", "k", -1L); }, -1), "0xFFFFFFFFFFFFFFFF");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntHex("S", "k", 255); }, 255), "0x000000FF");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntHex("S", "k", -1); }, -1), "0xFFFFFFFFFFFFFFFF");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntHex("S", "k", short(255)); }, 255), "0x00FF");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntHex("S", "k", short(-1)); }, 65535), "0xFFFF");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntHex("S", "k", static_cast<char>(200)); }, 200), "0xC8");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntOctal("S", "k", 8); }, 8), "010");
    EXPECT_EQ(written([](OneKey& ini) { ini.writeIntOctal("S", "k", 0); }, 0), "0");

    std::string section = "S";
    std::string key = "k";
    EXPECT_EQ(written([&](OneKey& ini) { ini.writeIntFormated(section, key, 42, "%070ld"); }, 0), std::string(63, '0'));
    EXPECT_EQ(written([&](OneKey& ini) { ini.writeIntFormated(section, key, 42, nullptr); }, -77), "");
}

TEST(IniFileValues, TruthIsANumber)
{
    OneKey ini;
    ini.writeBool("S", "k", true);
    EXPECT_EQ(ini.text(), "1");
    EXPECT_TRUE(ini.readBool("S", "k", false));
    ini.writeBool("S", "k", false);
    EXPECT_FALSE(ini.readBool("S", "k", true));
    EXPECT_TRUE(OneKey("-3").readBool("S", "k", false));
    EXPECT_FALSE(OneKey("true").readBool("S", "k", false));
    EXPECT_TRUE(OneKey("no").readBool("S", "k", true));
}

TEST(IniFileValues, NumbersWithPointsAreTheSameInEveryCountry)
{
    const DecimalComma locale;
    ASSERT_TRUE(locale.isSet);
    EXPECT_EQ(OneKey("0.5").readFloat("S", "k", -1), 0.5);
    EXPECT_EQ(OneKey("-1.25e2 m").readFloat("S", "k", -1), -125.0);
    EXPECT_EQ(OneKey("0,5").readFloat("S", "k", -1), 0.0);
    EXPECT_EQ(OneKey("1e999").readFloat("S", "k", -1), HUGE_VAL);
    for (const char* text : {"", "x", "''", ".", "-"})
        EXPECT_EQ(OneKey(text).readFloat("S", "k", -1), -1.0) << text;
    OneKey ini;
    EXPECT_EQ(ini.readFloat("S", "k", -1), -1.0);
    ini.writeFloat("S", "k", 0.5);
    EXPECT_EQ(ini.text(), "0.5");
    ini.writeFloat("S", "k", -1234567);
    EXPECT_EQ(ini.text(), "-1.23457e+06");
    std::string section = "S";
    std::string key = "k";
    ini.writeIntFormated(section, key, 1234567, "%'ld");
    EXPECT_EQ(ini.text(), "1234567");
    EXPECT_EQ(std::string(std::localeconv()->decimal_point), ",") << "the process keeps its locale";
}

TEST(IniFileValues, DatesAreMonthDayYear)
{
    OneKey ini;
    std::tm date = timeOf(23, 59);
    date.tm_mday = 5;
    date.tm_mon = 0;
    date.tm_year = 124;
    ini.writeDate("S", "k", date);
    EXPECT_EQ(ini.text(), "01-05-2024");

    std::tm other = timeOf(7, 30);
    const std::tm read = ini.readDate("S", "k", other);
    EXPECT_EQ(read.tm_mon, 0);
    EXPECT_EQ(read.tm_mday, 5);
    EXPECT_EQ(read.tm_year, 124);
    EXPECT_EQ(read.tm_hour, 7) << "the other fields are the default's";
    for (const char* text : {"", "x", "01-05", "01/05/2024", "2024-01-05x"})
        EXPECT_EQ(OneKey(text).readDate("S", "k", date).tm_year, 124) << text;
    EXPECT_EQ(OneKey("13-99-0001").readDate("S", "k", date).tm_mon, 12) << "ranges are not checked";
}

TEST(IniFileValues, TimesHaveTwelveHoursAndComeBackExactly)
{
    const struct
    {
        int hour;
        int minute;
        const char* text;
        int hourAfter;
    } rows[] = {{0, 5, "00:05AM", 0}, {11, 59, "11:59AM", 11}, {12, 0, "00:00PM", 0}, {13, 5, "01:05PM", 1}};
    std::tm fallback = timeOf(3, 33);
    for (const auto& row : rows)
    {
        OneKey ini;
        std::tm time = timeOf(row.hour, row.minute);
        ini.writeTime("S", "k", time);
        EXPECT_EQ(ini.text(), row.text);
        EXPECT_EQ(time.tm_hour, row.hourAfter);
        EXPECT_EQ(ini.readTime("S", "k", fallback).tm_hour, row.hour);
        EXPECT_EQ(ini.readTime("S", "k", fallback).tm_min, row.minute);
    }
    EXPECT_EQ(OneKey("7:45AM").readTime("S", "k", fallback).tm_min, 45);
    EXPECT_EQ(OneKey("12:00PM").readTime("S", "k", fallback).tm_hour, 24);
    EXPECT_EQ(OneKey("12:00AM").readTime("S", "k", fallback).tm_hour, 12);
    for (const char* text : {"", "07:45", "07:30 PM", "07:30pm", "x"})
        EXPECT_EQ(OneKey(text).readTime("S", "k", fallback).tm_min, 33) << text;
}

TEST(IniFileValues, FilesOfTwoThreadsTellTheTimeAtOnce)
{
    const auto tell = [](bool& isToday) {
        for (int i = 0; i < 200; ++i)
        {
            OneKey ini;
            const std::time_t before = std::time(nullptr);
            ini.writeCurrentDate("S", "k");
            ini.writeCurrentTime("S", "time");
            std::tm told{};
            told = ini.readDate("S", "k", told);
            told = ini.readTime("S", "time", told);
            told.tm_isdst = -1;
            const double late = std::abs(std::difftime(std::mktime(&told), before));
            isToday = late < 120 || late > 86000; // to the minute; midnight may lie between date and time
            if (!isToday)
                return;
        }
    };
    setenv("TZ", "UTC0", 1); // no hour comes twice
    bool first = false;
    bool second = false;
    std::thread other(tell, std::ref(second));
    tell(first);
    other.join();
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
}

TEST(IniFileValues, BytesArePairsOfHexadecimalDigits)
{
    OneKey ini;
    std::array<unsigned char, 4> buffer{};
    ini.writeBinaryData("S", "k", "\x0A\xFF", 2);
    EXPECT_EQ(ini.text(), "0AFF");
    EXPECT_EQ(ini.readBinaryData("S", "k", buffer.data(), 4), 2);
    EXPECT_EQ(buffer[1], 0xFF);
    buffer = {9, 9, 9, 9};
    EXPECT_EQ(OneKey("0aff").readBinaryData("S", "k", buffer.data(), 1), 1);
    EXPECT_THAT(buffer, testing::ElementsAre(0x0A, 9, 9, 9)) << "no more than asked for";
    EXPECT_EQ(OneKey("010G").readBinaryData("S", "k", buffer.data(), 4), 0);
    EXPECT_EQ(buffer[0], 1) << "what came before the bad digit is stored";
    for (const char* text : {"", "ABC", "0G"})
        EXPECT_EQ(OneKey(text).readBinaryData("S", "k", buffer.data(), 4), 0) << text;
    for (const int size : {0, -1, INT_MIN})
    {
        EXPECT_EQ(OneKey("0A").readBinaryData("S", "k", buffer.data(), size), 0);
        ini.writeBinaryData("S", "k", "x", size);
        EXPECT_EQ(ini.text(), "");
    }
    EXPECT_EQ(OneKey("0A").readBinaryData("S", "k", nullptr, 1), 0);
    ini.writeBinaryData("S", "k", nullptr, 1);
    EXPECT_EQ(ini.text(), "");
    EXPECT_EQ(OneKey().readBinaryData("S", "k", buffer.data(), 4), 0);
}

TEST(IniFileValues, WritesKeepPlaceAndCommentOrAppend)
{
    CIniFile ini("");
    Kiv::CIniFileSection* section = ini.addSection("S", "");
    section->addKey("a", "1", "; of a\n");
    section->addKey("b", "2", "");
    ini.writeKey("S", ini.keyName("S", 0), "new");
    EXPECT_EQ(ini.keyName("S", 0), "a");
    EXPECT_EQ(ini.findKey("S", "a")->value(), "new");
    EXPECT_EQ(ini.findKey("S", "a")->comment(), "; of a\n");
    ini.writeInteger("S", "c", 3);
    EXPECT_EQ(ini.keyName("S", 2), "c");
    ini.writeInteger("T", "d", 4);
    EXPECT_EQ(ini.sectionName(1), "T");
    EXPECT_EQ(ini.findKey("T", "d")->comment(), "");
}
