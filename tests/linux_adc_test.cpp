#include <kiv/linux_adc.h>

#include <cmath>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kiv/diag.h>

#include "RecordingAppender.h"
#include "TemporaryDirectory.h"

using Kiv::CLinuxPollingADC;
using testing::ElementsAre;

TEST(LinuxAdc, ReadsTheNumberAtTheBeginningAnewEachTime)
{
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "in_voltage0_raw";
    const struct
    {
        const char* text;
        float value;
    } rows[] = {{"1234\n", 1234}, {"0.5", 0.5F}, {" -7.25e1 mV\n", -72.5F}};
    const CLinuxPollingADC adc(path);
    for (const auto& row : rows)
    {
        std::ofstream(path) << row.text;
        EXPECT_EQ(adc.read(), row.value) << row.text;
    }
    for (const char* text : {"", "\n", "abc\n"})
    {
        std::ofstream(path) << text;
        EXPECT_TRUE(std::isnan(adc.read())) << text;
    }
}

TEST(LinuxAdc, OnlyTheConstructorLogsAMissingFile)
{
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "missing";
    LogRecorder log(Kiv::Diag::diagLogger());
    CLinuxPollingADC adc(path);
    EXPECT_THAT(log.texts(), ElementsAre("Error opening ADC file " + path));
    const LogRecord record = log.records()[0];
    EXPECT_EQ(record.level, log4cplus::ERROR_LOG_LEVEL);
    EXPECT_EQ(record.file, "../../src/kiv/env/unix/helper/linux_adc");
    EXPECT_EQ(record.line, 29);
    EXPECT_EQ(record.function, "CLinuxPollingADC");
    EXPECT_TRUE(std::isnan(adc.read()));
    std::ofstream(path) << "3\n";
    EXPECT_EQ(adc.read(), 3.0F);
    adc.setDevicePath(directory.path());
    EXPECT_TRUE(std::isnan(adc.read()));
    EXPECT_EQ(log.texts().size(), 1U);
}
