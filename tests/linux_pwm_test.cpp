// PWM channels on the simulated board: channel 0 of pwmchip0 runs, 1 is off, 2 is free.
#include <kiv/linux_pwm.h>

#include "support/BoardAccess.h"

using testing::ElementsAre;

namespace
{

/// A getter's result and output, which was `before` at first.
template<class Output>
std::string get(int (*getter)(unsigned char, unsigned char, Output&), unsigned char channel, Output before)
{
    const int result = getter(0, channel, before);
    return answer(result, static_cast<long>(before));
}

void prepare()
{
    pwm_export(0, 0);
    pwm_export(0, 1);
    pwm_set_period(0, 0, 2000000);
    pwm_set_period(0, 1, 2000000);
    pwm_set_duty_cycle(0, 0, 500000);
    pwm_set_enabled(0, 0, true);
}

class LinuxPwm : public COnBoard
{
protected:
    void SetUp() override
    {
        COnBoard::SetUp();
        if (IsSkipped())
            return;
        prepare();
        accesses();
    }
};

} // namespace

TEST_F(LinuxPwm, EachFunctionMakesOneAccess)
{
    const auto path = [](const char* name) { return "/sys/class/pwm/pwmchip0/" + std::string(name); };
    const auto at = [](const char* name) { return "pwm/pwmchip0/" + std::string(name); };
    const std::string enable = "pwmchip/pwm/enable";
    const ePWMPolarity noPolarity = static_cast<ePWMPolarity>(9);
    const AccessRow rows[] = {
        {"export", [] { return answer(pwm_export(0, 2)); }, "write", at("export"), "2", path("export"),
         "pwmchip/export"},
        {"unexport", [] { return answer(pwm_unexport(0, 1)); }, "write", at("unexport"), "1", path("unexport"),
         "pwmchip/unexport"},
        {"set duty cycle", [] { return answer(pwm_set_duty_cycle(0, 0, 1000)); }, "write", at("pwm0/duty_cycle"),
         "1000", path("pwm0/duty_cycle"), "pwmchip/duty_cycle"},
        {"get duty cycle", [] { return get(pwm_get_duty_cycle, 0, 7U); }, "read", at("pwm0/duty_cycle"), "500000\\n",
         path("pwm0/duty_cycle"), path("pwm0/duty_cycle"), "0 500000", "-300 7", "-300 0"},
        {"set period", [] { return answer(pwm_set_period(0, 0, 3000000)); }, "write", at("pwm0/period"), "3000000",
         path("pwm0/period"), "pwmchip/period"},
        {"get period", [] { return get(pwm_get_period, 0, 7U); }, "read", at("pwm0/period"), "2000000\\n",
         path("pwm0/period"), path("pwm0/period"), "0 2000000", "-300 7", "-300 0"},
        {"on", [] { return answer(pwm_set_enabled(0, 0, true)); }, "write", at("pwm0/enable"), "1\\0",
         path("pwm0/enable"), enable},
        {"off", [] { return answer(pwm_set_enabled(0, 0, false)); }, "write", at("pwm0/enable"), "0\\0",
         path("pwm0/enable"), enable},
        {"is on", [] { return get(pwm_get_enabled, 0, false); }, "read", at("pwm0/enable"), "1", path("pwm0/enable"),
         "silent", "0 1", "-300 0", "0 1"},
        {"is off", [] { return get(pwm_get_enabled, 1, true); }, "read", at("pwm1/enable"), "0", path("pwm1/enable"),
         "silent", "0 0", "-300 1", "0 1"},
        {"normal", [] { return answer(pwm_set_polarity(0, 0, PWMPolarityNormal)); }, "write", at("pwm0/polarity"),
         "normal\\0", path("pwm0/polarity"), enable},
        {"inversed", [] { return answer(pwm_set_polarity(0, 1, PWMPolarityInversed)); }, "write", at("pwm1/polarity"),
         "inversed\\0", path("pwm1/polarity"), enable},
        {"get polarity", [=] { return get(pwm_get_polarity, 0, noPolarity); }, "read", at("pwm0/polarity"), "normal\\n",
         path("pwm0/polarity"), path("pwm0/polarity"), "0 1", "-300 9", "-300 0"},
        {"channel count",
         [] {
             unsigned char count = 7;
             const int result = pwm_get_channel_count(0, count);
             return answer(result, count);
         },
         "read", at("npwm"), "3\\n", path("npwm"), path("npwm"), "0 3", "-300 0", "-300 0"},
    };
    for (const AccessRow& row : rows)
        play(row, prepare);
}

TEST_F(LinuxPwm, RefusalsOfTheKernelComeBackAsTheirCodes)
{
    const struct
    {
        const char* name;
        int result;
        int expected;
    } rows[] = {
        {"export again", pwm_export(0, 0), -16},
        {"export what is not there", pwm_export(0, 3), -19},
        {"unexport a free one", pwm_unexport(0, 2), -19},
        {"on a chip that is not there", pwm_export(9, 0), -2},
        {"duty cycle of a free one", pwm_set_duty_cycle(0, 2, 0), -2},
        {"duty cycle above the period", pwm_set_duty_cycle(0, 0, 2000001), -22},
        {"period below the duty cycle", pwm_set_period(0, 0, 499999), -22},
        {"export", pwm_export(0, 2), 0},
        {"duty cycle before a period", pwm_set_duty_cycle(0, 2, 0), -22},
        {"polarity before a period", pwm_set_polarity(0, 2, PWMPolarityNormal), -22},
        {"on before a period", pwm_set_enabled(0, 2, true), -22},
        {"polarity while on", pwm_set_polarity(0, 0, PWMPolarityInversed), -16},
        {"another period than the clock's", pwm_set_period(0, 1, 1000000), -16},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.result, row.expected) << row.name;
    EXPECT_EQ(attribute("sim/pwm/pwmchip0/pwm0"), "0.250000\n");
}

TEST_F(LinuxPwm, ValuesThatCannotBeAreRefused)
{
    EXPECT_EQ(pwm_set_period(0, 0, 3000000000U), -22);
    EXPECT_THAT(accesses("write"), ElementsAre("write pwm/pwmchip0/pwm0/period -1294967296 -EINVAL"));
    CChildProcess child([] { return pwm_set_polarity(0, 0, static_cast<ePWMPolarity>(2)) == -22 ? 0 : 1; });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.err(), "");
    EXPECT_THAT(accesses(), ElementsAre("open pwm/pwmchip0/pwm0/polarity w 0", "close pwm/pwmchip0/pwm0/polarity - 0"));
}

TEST_F(LinuxPwm, TextsThatNoKernelPresentsAreReadToo)
{
    const CPlainFile polarity("pwm/pwmchip0/pwm0/polarity", "normal");
    EXPECT_EQ(get(pwm_get_polarity, 0, PWMPolarityInversed), "0 0");
    const CPlainFile npwm("pwm/pwmchip0/npwm", "300\n");
    unsigned char count = 0;
    EXPECT_EQ(pwm_get_channel_count(0, count), 0);
    EXPECT_EQ(count, 44) << "8 bits are kept";
}
