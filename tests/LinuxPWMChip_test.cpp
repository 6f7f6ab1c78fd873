#include <kiv/LinuxPWMChip.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kiv/diag.h>

#include "RecordingAppender.h"
#include "SysfsSandbox.h"

using Kiv::CLinuxPWMChip;
using testing::ElementsAre;
using testing::IsEmpty;
using std::string_literals::operator""s;

class LinuxPWMChip : public CSysfsSandbox
{
protected:
    void SetUp() override
    {
        CSysfsSandbox::SetUp();
        if (IsSkipped())
            return;
        for (const char* attribute : {"export", "unexport"})
            make("pwm/pwmchip0/"s + attribute);
        for (const char* channel : {"pwm0", "pwm1", "pwm2"})
            makeChannel(channel);
    }

    static void makeChannel(const std::string& channel)
    {
        make("pwm/pwmchip0/" + channel + "/enable", "1\n");
        make("pwm/pwmchip0/" + channel + "/polarity", "normal");
        make("pwm/pwmchip0/" + channel + "/duty_cycle", "500\n");
        make("pwm/pwmchip0/" + channel + "/period", "1000\n");
    }
};

TEST_F(LinuxPWMChip, TakesOverWhatTheKernelHas)
{
    const CLinuxPWMChip chip(0, 3);
    EXPECT_EQ(chip.number(), 0);
    EXPECT_EQ(chip.channelCount(), 3);
    EXPECT_EQ(chip.period_ns(), 1000U);
    EXPECT_EQ(chip.dutyCycle_ns(2), 500U);
    EXPECT_TRUE(chip.isOn(1));
}

TEST_F(LinuxPWMChip, ChannelsBeyondTheCountAreRefused)
{
    CLinuxPWMChip chip(0, 1);
    EXPECT_EQ(chip.setOn(1, true), -22);
    EXPECT_EQ(chip.setDutyCycle(1, 5), -22);
    EXPECT_EQ(chip.setPolarity(1, PWMPolarityNormal), -22);
    EXPECT_EQ(chip.dutyCycle_ns(1), 0U);
    EXPECT_FALSE(chip.isOn(1));
    EXPECT_EQ(content("pwm/pwmchip0/pwm1/enable"), "1\n");
}

TEST_F(LinuxPWMChip, NewPeriodLeavesAllChannelsQuiet)
{
    CLinuxPWMChip chip(0, 3);
    make("pwm/pwmchip0/unexport");
    EXPECT_EQ(chip.setPeriod(2000), 0);
    EXPECT_EQ(chip.period_ns(), 2000U);
    EXPECT_EQ(content("pwm/pwmchip0/pwm2/period"), "2000\n");
    EXPECT_EQ(content("pwm/pwmchip0/unexport"), "1"); // each write of the descending row starts the file anew
    for (unsigned char channel = 0; channel < 3; ++channel)
    {
        EXPECT_EQ(chip.dutyCycle_ns(channel), 0U);
        EXPECT_FALSE(chip.isOn(channel));
    }
}

TEST_F(LinuxPWMChip, FailedStepIsLoggedWithItsLineAndEndsTheChange)
{
    const struct
    {
        const char* missing;
        int line;
    } rows[] = {
        {"pwm0/duty_cycle", 95}, {"pwm2/enable", 97}, {"unexport", 105},
        {"pwm0/period", 109},    {"export", 114},     {"pwm1/period", 116},
    };
    for (const auto& row : rows)
    {
        SetUp();
        CLinuxPWMChip chip(0, 3);
        unlink((root + "pwm/pwmchip0/" + row.missing).c_str());
        LogRecorder log(Kiv::Diag::diagLogger());
        EXPECT_EQ(chip.setPeriod(2000), -2) << row.missing;
        EXPECT_EQ(chip.period_ns(), 1000U);
        ASSERT_THAT(log.texts(), ElementsAre("Return code  -2 0x0002 - No such entity")) << row.missing;
        EXPECT_EQ(log.records()[0].line, row.line);
        EXPECT_EQ(log.records()[0].function, "setPeriod");
        EXPECT_EQ(log.records()[0].file, "../../src/kiv/env/unix/helper/LinuxPWMChip");
        SetUp();
        EXPECT_EQ(chip.setPeriod(2000), 0) << row.missing;
    }
}

TEST_F(LinuxPWMChip, PolarityChangesWhileOffAndRestoresTheState)
{
    CLinuxPWMChip chip(0, 2);
    EXPECT_EQ(chip.setPolarity(1, PWMPolarityInversed), 0);
    EXPECT_EQ(content("pwm/pwmchip0/pwm1/polarity"), "inversed\0"s);
    EXPECT_TRUE(chip.isOn(1));
    EXPECT_EQ(chip.setOn(1, false), 0);
    EXPECT_EQ(chip.setPolarity(1, PWMPolarityNormal), 0);
    EXPECT_FALSE(chip.isOn(1));
    LogRecorder log(Kiv::Diag::diagLogger());
    unlink((root + "pwm/pwmchip0/pwm1/polarity").c_str());
    EXPECT_EQ(chip.setPolarity(1, PWMPolarityInversed), -2);
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_EQ(log.records()[0].line, 165);
    EXPECT_EQ(log.records()[0].function, "setPolarity");
}

TEST_F(LinuxPWMChip, RecordedPeriodTouchesNothing)
{
    CLinuxPWMChip chip(0, 1);
    unlink((root + "pwm/pwmchip0/pwm0/duty_cycle").c_str());
    LogRecorder log(Kiv::Diag::diagLogger());
    EXPECT_EQ(chip.setPeriod(1000), 0);
    EXPECT_THAT(log.texts(), IsEmpty());
}
