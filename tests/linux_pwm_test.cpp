#include <kiv/linux_pwm.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "SysfsSandbox.h"

using std::string_literals::operator""s;

class LinuxPwm : public CSysfsSandbox
{};

TEST_F(LinuxPwm, WritesExactlyTheseBytes)
{
    const struct
    {
        const char* row;
        const char* path;
        std::function<int()> call;
        std::string bytes;
    } rows[] = {
        {"export", "pwm/pwmchip1/export", [] { return pwm_export(1, 2); }, "2"},
        {"unexport", "pwm/pwmchip1/unexport", [] { return pwm_unexport(1, 2); }, "2"},
        {"duty cycle", "pwm/pwmchip1/pwm2/duty_cycle", [] { return pwm_set_duty_cycle(1, 2, 1000); }, "1000"},
        {"long period", "pwm/pwmchip1/pwm2/period", [] { return pwm_set_period(1, 2, 3000000000U); }, "-1294967296"},
        {"on", "pwm/pwmchip1/pwm2/enable", [] { return pwm_set_enabled(1, 2, true); }, "1\0"s},
        {"off", "pwm/pwmchip1/pwm2/enable", [] { return pwm_set_enabled(1, 2, false); }, "0\0"s},
        {"normal", "pwm/pwmchip1/pwm2/polarity", [] { return pwm_set_polarity(1, 2, PWMPolarityNormal); }, "normal\0"s},
        {"inversed", "pwm/pwmchip1/pwm2/polarity", [] { return pwm_set_polarity(1, 2, PWMPolarityInversed); },
         "inversed\0"s},
    };
    for (const auto& row : rows)
    {
        make(row.path);
        EXPECT_EQ(row.call(), 0) << row.row;
        EXPECT_EQ(content(row.path), row.bytes) << row.row;
    }
    make("pwm/pwmchip1/pwm2/polarity");
    EXPECT_EQ(pwm_set_polarity(1, 2, static_cast<ePWMPolarity>(2)), -22);
    EXPECT_EQ(content("pwm/pwmchip1/pwm2/polarity"), "");
}

TEST_F(LinuxPwm, ReadsWhatTheFilesHold)
{
    make("pwm/pwmchip0/npwm", "300\n");
    make("pwm/pwmchip0/pwm0/duty_cycle", "1000\n");
    make("pwm/pwmchip0/pwm0/period", "2000000\n");
    unsigned char count = 0;
    unsigned int ns = 0;
    EXPECT_EQ(pwm_get_channel_count(0, count), 0);
    EXPECT_EQ(count, 44);
    EXPECT_EQ(pwm_get_duty_cycle(0, 0, ns), 0);
    EXPECT_EQ(ns, 1000U);
    EXPECT_EQ(pwm_get_period(0, 0, ns), 0);
    EXPECT_EQ(ns, 2000000U);
    for (const auto& [text, polarity] :
         {std::pair("normal", PWMPolarityNormal), std::pair("normal\n", PWMPolarityInversed),
          std::pair("inversed\n", PWMPolarityInversed)})
    {
        make("pwm/pwmchip0/pwm0/polarity", text);
        ePWMPolarity p = static_cast<ePWMPolarity>(9);
        EXPECT_EQ(pwm_get_polarity(0, 0, p), 0);
        EXPECT_EQ(p, polarity) << text;
    }
    for (const auto& [text, enabled] : {std::pair("0\n", false), std::pair("1\n", true)})
    {
        make("pwm/pwmchip0/pwm0/enable", text);
        bool on = !enabled;
        EXPECT_EQ(pwm_get_enabled(0, 0, on), 0);
        EXPECT_EQ(on, enabled);
    }
}

TEST_F(LinuxPwm, FailuresKeepOrClearTheOutputAsTheHeaderSays)
{
    unsigned int ns = 7;
    unsigned char count = 7;
    bool on = false;
    ePWMPolarity p = static_cast<ePWMPolarity>(7);
    testing::internal::CaptureStderr();
    EXPECT_EQ(pwm_get_period(9, 0, ns), -2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "/sys/class/pwm/pwmchip9/pwm0/period: No such file or directory\n");
    EXPECT_EQ(ns, 7U);
    EXPECT_EQ(pwm_get_channel_count(9, count), -2);
    EXPECT_EQ(count, 0);

    // A folder opens and cannot be read.
    for (const char* attribute : {"period", "polarity", "enable"})
        make("pwm/pwmchip9/pwm1/" + std::string(attribute) + "/file");
    EXPECT_EQ(pwm_get_period(9, 1, ns), -21);
    EXPECT_EQ(ns, 0U);
    EXPECT_EQ(pwm_get_polarity(9, 1, p), -21);
    EXPECT_EQ(p, PWMPolarityNormal);
    EXPECT_EQ(pwm_get_enabled(9, 1, on), 0);
    EXPECT_TRUE(on);
}
