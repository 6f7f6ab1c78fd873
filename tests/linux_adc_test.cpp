#include <kiv/linux_adc.h>

#include <cmath>

#include <kiv/diag.h>

#include "support/BoardAccess.h"
#include "support/DecimalComma.h"
#include "support/RecordingAppender.h"

using Kiv::CLinuxPollingADC;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using LinuxAdc = COnBoard;

const std::string path = "/sys/class/sim/adc/level";

/// Each reading opens the file, reads it once and closes it.
void expectOneReading(const std::string& readText)
{
    EXPECT_THAT(accesses(), ElementsAre("open sim/adc/level r 0",
                                        "read sim/adc/level " + readText + ' ' + std::to_string(sizeOf(readText)),
                                        "close sim/adc/level - 0"));
}

} // namespace

TEST_F(LinuxAdc, ReadsTheNumberAtTheBeginningAnewEachTime)
{
    const CLinuxPollingADC adc(path);
    const struct
    {
        const char* text;
        float value;
    } rows[] = {{"1234\n", 1234}, {"0.5", 0.5F},        {"-7.25e1\n", -72.5F}, {" +12 mV\n", 12},
                {"0x1F\n", 31},   {"1e99\n", INFINITY}, {"3,5\n", 3},          {"inf\n", INFINITY}};
    for (const auto& row : rows)
    {
        setWorld("sim/adc/level", row.text);
        EXPECT_EQ(adc.read(), row.value) << row.text;
    }
    for (const char* text : {"", "\n", "abc\n", "-", ".", "nan"})
    {
        setWorld("sim/adc/level", text);
        EXPECT_TRUE(std::isnan(adc.read())) << text;
    }
    for (const char* text : {"21\n", "x\n"})
    {
        setWorld("sim/adc/level", text);
        accesses();
        adc.read();
        expectOneReading(text[0] == 'x' ? "x\\n" : "21\\n");
    }
}

TEST_F(LinuxAdc, NumbersHaveADecimalPointInEveryLocale)
{
    const DecimalComma comma;
    if (!comma.isSet)
        GTEST_SKIP() << "a locale with a decimal comma cannot be made here";
    const CLinuxPollingADC adc(path);
    for (const char* text : {"2.5\n", " 2.5 V\n"})
    {
        setWorld("sim/adc/level", text);
        EXPECT_EQ(adc.read(), 2.5F) << text;
    }
}

TEST_F(LinuxAdc, OnlyTheConstructorLogsAFileThatCannotBeOpened)
{
    LogRecorder log(Kiv::Diag::diagLogger());
    setWorld("sim/faults", "open " + path + " 1-2 ENOENT\nread " + path + " 1 EIO\n");
    CLinuxPollingADC adc(path);
    EXPECT_TRUE(std::isnan(adc.read())) << "not there yet";
    EXPECT_TRUE(std::isnan(adc.read())) << "a failed reading";
    EXPECT_EQ(adc.read(), 1837);
    adc.setDevicePath(path + "2");
    EXPECT_TRUE(std::isnan(adc.read()));
    const auto records = log.records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, log4cplus::ERROR_LOG_LEVEL);
    EXPECT_EQ(records[0].text, "Error opening ADC file " + path);
    EXPECT_EQ(records[0].file, "../../src/kiv/env/unix/helper/linux_adc");
    EXPECT_EQ(records[0].line, 29);
    EXPECT_EQ(records[0].function, "CLinuxPollingADC");
    const CLinuxPollingADC missing(std::string(300, 'x'));
    EXPECT_EQ(log.texts()[1].size(), 255U) << "texts are cut";
}

TEST_F(LinuxAdc, FilesAreClosedOnEveryWay)
{
    const CLinuxPollingADC adc(path);
    EXPECT_THAT(accesses(), ElementsAre("open sim/adc/level r 0", "close sim/adc/level - 0"));
    setWorld("sim/faults", "read " + path + " 1 EIO\n");
    adc.read();
    EXPECT_THAT(accesses(),
                ElementsAre("open sim/adc/level r 0", "read sim/adc/level - -EIO", "close sim/adc/level - 0"));
}
