// Channels that are taken or adopted on the simulated board: fe20c000.pwm has three that share a period and change
// their polarity while off only.
#include <kiv/PwmOutput.h>

#include <kiv/diag.h>
#include <kiv/sysfs_tools.h>

#include "support/BoardAccess.h"
#include "support/RecordingAppender.h"

using namespace Kiv;
using testing::ElementsAre;

namespace
{

PwmOutputSettings wanted(const PwmWave& wave)
{
    PwmOutputSettings settings;
    settings.wave = wave;
    return settings;
}

/// What was written to channel 0 since the last call: "period 1000".
std::vector<std::string> steps()
{
    std::vector<std::string> found;
    for (std::string access : accesses("write"))
    {
        access.erase(access.rfind(' '));
        found.push_back(access.substr(access.rfind('/') + 1));
    }
    return found;
}

const std::string channel0 = "/sys/class/pwm/pwmchip0/pwm0/";

using PwmOutput = COnBoard;

bool operator==(const PwmWave& left, const PwmWave& right)
{
    return left.periodNs == right.periodNs && left.dutyCycleNs == right.dutyCycleNs &&
           left.polarity == right.polarity && left.isOn == right.isOn;
}

} // namespace

TEST_F(PwmOutput, StepsComeInTheOrderThatEveryKernelTakes)
{
    CPwmOutput output;
    ASSERT_EQ(output.takeOn("fe20c000.pwm", 0, wanted({1000, 250, PWMPolarityNormal, true})), 0);
    EXPECT_FALSE(output.isAdopted());
    EXPECT_THAT(steps(), ElementsAre("export 0", "period 1000", "duty_cycle 250", "enable 1"));
    const struct
    {
        PwmWave wave;
        std::vector<std::string> steps;
    } rows[] = {
        {{1000, 250, PWMPolarityNormal, true}, {}},
        {{200, 100, PWMPolarityNormal, true}, {"duty_cycle 100", "period 200"}},
        {{1000, 900, PWMPolarityNormal, true}, {"period 1000", "duty_cycle 900"}},
        {{1000, 900, PWMPolarityInversed, true}, {"enable 0", "polarity inversed", "enable 1"}},
        {{1000, 100, PWMPolarityInversed, false}, {"enable 0", "duty_cycle 100"}},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(output.set(row.wave), 0);
        EXPECT_EQ(steps(), row.steps);
        PwmWave found;
        EXPECT_EQ(output.read(found), 0);
        EXPECT_TRUE(found == row.wave);
        accesses();
    }
    for (const PwmWave& wrong : {PwmWave{100, 101, PWMPolarityNormal, false}, PwmWave{0, 0, PWMPolarityNormal, true},
                                 PwmWave{1U << 31, 0, PWMPolarityNormal, false}})
        EXPECT_EQ(output.set(wrong), -22);
    EXPECT_THAT(steps(), ElementsAre());
}

TEST_F(PwmOutput, RunningChannelsAreAdoptedUndisturbed)
{
    const PwmWave fan = {40000, 10000, PWMPolarityInversed, true};
    {
        CPwmOutput earlierRun;
        ASSERT_EQ(earlierRun.take(0, 0, wanted(fan)), 0);
    }
    accesses();
    CPwmOutput output;
    ASSERT_EQ(output.take(0, 0, wanted(fan)), 0);
    EXPECT_TRUE(output.isAdopted());
    PwmOutputSettings kept = wanted({1000, 0, PWMPolarityNormal, false});
    kept.isKept = true;
    ASSERT_EQ(output.take(0, 0, kept), 0);
    EXPECT_THAT(steps(), ElementsAre());
    EXPECT_EQ(attribute("sim/pwm/pwmchip0/pwm0"), "0.250000\n");
    EXPECT_EQ(output.release(), 0);
    EXPECT_THAT(steps(), ElementsAre("enable 0", "unexport 0"));
}

TEST_F(PwmOutput, RefusalsAreCodesAndOneLineInTheLog)
{
    LogRecorder log(Diag::diagLogger());
    CPwmOutput output;
    EXPECT_EQ(output.take(0, 3, {}), -19);
    EXPECT_EQ(output.takeOn("none", 0, {}), -19);
    setWorld("sim/faults", "write /sys/class/pwm/pwmchip0/export 1 EBUSY\n");
    EXPECT_EQ(output.take(0, 0, {}), -16);
    setWorld("sim/faults", "write " + channel0 + "duty_cycle EIO\n");
    EXPECT_EQ(output.take(0, 0, wanted({1000, 10, PWMPolarityNormal, true})), -5);
    EXPECT_NE(access(channel0.c_str(), F_OK), 0) << "given back";
    EXPECT_FALSE(output.isTaken());
    EXPECT_EQ(output.setOn(true), -9);
    EXPECT_THAT(
        log.texts(),
        ElementsAre("PWM chip 0, channel 3: /sys/class/pwm/pwmchip0/export: No such device (-19), the chip has no "
                    "such channel",
                    "PWM chip none: /sys/class/pwm: No such device (-19)",
                    "PWM chip 0, channel 0: /sys/class/pwm/pwmchip0/export: Resource busy (-16), held by another",
                    "PWM chip 0, channel 0: " + channel0 + "duty_cycle: I/O error (-5)"));
}
