// A PWM chip on the simulated board. The three channels of pwmchip0 share a clock and run; the polarity of the channels
// of the other chip cannot be changed.
#include <kiv/LinuxPWMChip.h>

#include <kiv/diag.h>
#include <kiv/sysfs_tools.h>

#include "support/BoardAccess.h"
#include "support/RecordingAppender.h"

using Kiv::CLinuxPWMChip;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr unsigned char allChannels[] = {0, 1, 2};
constexpr unsigned char upperChannels[] = {1, 2};
constexpr unsigned char twoChannels[] = {0, 1};
constexpr unsigned int oldPeriod = 1000000;
constexpr unsigned int newPeriod = 2000000;
constexpr unsigned int oldDuty = 250000;

void prepare()
{
    setWorld("sim/reset", "1");
    for (const unsigned char channel : allChannels)
    {
        pwm_export(0, channel);
        pwm_set_period(0, channel, oldPeriod);
        pwm_set_duty_cycle(0, channel, oldDuty);
        pwm_set_enabled(0, channel, true);
    }
}

class LinuxPWMChip : public COnBoard
{
protected:
    void SetUp() override
    {
        COnBoard::SetUp();
        if (!IsSkipped())
            prepare();
    }
};

/// One write of setPeriod(), and the record if it fails.
struct Step
{
    const char* file; ///< below pwmchip0
    const char* bytes;
    int line;
    const char* function = "setPeriod";
};

constexpr Step steps[] = {
    {"pwm0/duty_cycle", "0", 95},
    {"pwm0/enable", "0\\0", 97},
    {"pwm1/duty_cycle", "0", 95},
    {"pwm1/enable", "0\\0", 97},
    {"pwm2/duty_cycle", "0", 95},
    {"pwm2/enable", "0\\0", 97},
    {"unexport", "2", 105},
    {"unexport", "1", 105},
    {"pwm0/period", "2000000", 109},
    {"export", "1", 114},
    {"pwm1/period", "2000000", 116},
    {"pwm1/enable", "0\\0", 162, "setPolarity"},
    {"pwm1/polarity", "inversed\\0", 165, "setPolarity"},
    {"pwm1/enable", "0\\0", 0},
    {"export", "2", 114},
    {"pwm2/period", "2000000", 116},
    {"pwm2/enable", "0\\0", 162, "setPolarity"},
    {"pwm2/polarity", "inversed\\0", 165, "setPolarity"},
    {"pwm2/enable", "0\\0", 0},
};
constexpr std::size_t stepCount = std::size(steps);
constexpr std::size_t firstRelease = 6;
constexpr std::size_t lastExport = 14;

bool restoresPolarity(std::size_t step) { return steps[step].line == 0 || steps[step].line > 160; }

/// How often the file of a step is written up to this step.
std::ptrdiff_t occurrence(std::size_t step)
{
    return std::count_if(steps, steps + step + 1,
                         [&](const Step& other) { return std::string(other.file) == steps[step].file; });
}

/// The writes that are made when one of the steps fails: those before it and, if it only concerns a polarity, all but
/// the rest of that polarity's.
std::vector<std::string> writesWithFailing(std::size_t failing)
{
    std::vector<std::string> writes;
    bool isSkipping = false;
    for (std::size_t i = 0; i < stepCount; ++i)
    {
        isSkipping = isSkipping && restoresPolarity(i);
        if (!isSkipping)
            writes.push_back(std::string("write pwm/pwmchip0/") + steps[i].file + ' ' + steps[i].bytes + ' ' +
                             (i == failing ? "-EIO" : std::to_string(sizeOf(steps[i].bytes))));
        if (i == failing && !restoresPolarity(i))
            break;
        isSkipping = isSkipping || i == failing;
    }
    return writes;
}

} // namespace

TEST_F(LinuxPWMChip, TakesOverWhatTheKernelHas)
{
    pwm_unexport(0, 2);
    accesses();
    const CLinuxPWMChip chip(0, 3);
    EXPECT_THAT(accesses("write"), ElementsAre("write pwm/pwmchip0/export 0 -EBUSY",
                                               "write pwm/pwmchip0/export 1 -EBUSY", "write pwm/pwmchip0/export 2 1"));
    EXPECT_EQ(chip.number(), 0);
    EXPECT_EQ(chip.channelCount(), 3);
    EXPECT_EQ(chip.period_ns(), oldPeriod);
    EXPECT_EQ(chip.dutyCycle_ns(2), oldDuty);
    EXPECT_TRUE(chip.isOn(2)) << "released channels keep running";
}

TEST_F(LinuxPWMChip, ConstructorReportsNothing)
{
    LogRecorder log(Kiv::Diag::diagLogger());
    const CLinuxPWMChip chip(9, 2);
    EXPECT_EQ(chip.channelCount(), 2);
    EXPECT_EQ(chip.period_ns(), 0U);
    EXPECT_FALSE(chip.isOn(1));
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxPWMChip, ChannelsBeyondTheCountAreRefused)
{
    CLinuxPWMChip chip(0, 2);
    accesses();
    EXPECT_EQ(chip.setOn(2, false), -22);
    EXPECT_EQ(chip.setDutyCycle(2, 5), -22);
    EXPECT_EQ(chip.setPolarity(2, PWMPolarityNormal), -22);
    EXPECT_EQ(chip.dutyCycle_ns(2), 0U);
    EXPECT_FALSE(chip.isOn(2));
    EXPECT_THAT(accesses(), IsEmpty());
}

TEST_F(LinuxPWMChip, SingleStepsAreRecordedWhenTheKernelAcceptedThem)
{
    CLinuxPWMChip chip(0, 3);
    LogRecorder log(Kiv::Diag::diagLogger());
    EXPECT_EQ(chip.setDutyCycle(1, oldPeriod), 0);
    EXPECT_EQ(chip.setDutyCycle(1, oldPeriod + 1), -22);
    EXPECT_EQ(chip.dutyCycle_ns(1), oldPeriod);
    EXPECT_EQ(chip.setOn(1, false), 0);
    setWorld("sim/faults", "write /sys/class/pwm/pwmchip0/pwm1/enable 1 EIO\n");
    EXPECT_EQ(chip.setOn(1, true), -5);
    EXPECT_FALSE(chip.isOn(1));
    EXPECT_EQ(chip.setOn(1, true), 0);
    EXPECT_TRUE(chip.isOn(1));
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxPWMChip, PolarityChangesWhileOffAndRestoresTheState)
{
    CLinuxPWMChip chip(0, 3);
    ASSERT_EQ(chip.setOn(2, false), 0);
    for (const unsigned char channel : upperChannels)
    {
        const std::string path = "write pwm/pwmchip0/pwm" + std::to_string(channel);
        accesses();
        EXPECT_EQ(chip.setPolarity(channel, PWMPolarityInversed), 0);
        EXPECT_THAT(accesses("write"), ElementsAre(path + "/enable 0\\0 2", path + "/polarity inversed\\0 9",
                                                   path + (channel == 1 ? "/enable 1\\0 2" : "/enable 0\\0 2")));
        EXPECT_EQ(chip.isOn(channel), channel == 1);
    }
    LogRecorder log(Kiv::Diag::diagLogger());
    setWorld("sim/faults", "write /sys/class/pwm/pwmchip0/pwm1/enable 2 EIO\n");
    EXPECT_EQ(chip.setPolarity(1, PWMPolarityNormal), -5) << "switching on again fails";
    EXPECT_FALSE(chip.isOn(1));
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(LinuxPWMChip, NewPeriodIsSetWhileNothingRuns)
{
    CLinuxPWMChip chip(0, 3);
    EXPECT_EQ(pwm_set_period(0, 0, newPeriod), -16) << "the shared clock serves the neighbours";
    accesses();
    EXPECT_EQ(chip.setPeriod(oldPeriod), 0);
    EXPECT_THAT(accesses(), IsEmpty());
    EXPECT_EQ(chip.setPeriod(newPeriod), 0);
    EXPECT_EQ(accesses("write"), writesWithFailing(stepCount));
    EXPECT_EQ(chip.period_ns(), newPeriod);
    for (const unsigned char channel : allChannels)
    {
        EXPECT_EQ(chip.dutyCycle_ns(channel), 0U);
        EXPECT_FALSE(chip.isOn(channel));
    }

    CLinuxPWMChip alone(0, 1);
    accesses();
    EXPECT_EQ(alone.setPeriod(oldPeriod), 0);
    EXPECT_THAT(accesses("write"),
                ElementsAre("write pwm/pwmchip0/pwm0/duty_cycle 0 1", "write pwm/pwmchip0/pwm0/enable 0\\0 2",
                            "write pwm/pwmchip0/pwm0/period 1000000 7"));
}

TEST_F(LinuxPWMChip, EachFailingStepOfANewPeriodIsReportedOnce)
{
    for (std::size_t failing = 0; failing < stepCount; ++failing)
    {
        const Step& step = steps[failing];
        SCOPED_TRACE("step " + std::to_string(failing) + ": " + step.file);
        prepare();
        CLinuxPWMChip chip(0, 3);
        accesses();
        const std::string path = std::string("/sys/class/pwm/pwmchip0/") + step.file;
        setWorld("sim/faults", "write " + path + ' ' + std::to_string(occurrence(failing)) + " EIO\n");
        LogRecorder log(Kiv::Diag::diagLogger());
        EXPECT_EQ(chip.setPeriod(newPeriod), restoresPolarity(failing) ? 0 : -5);
        EXPECT_EQ(accesses("write"), writesWithFailing(failing));
        EXPECT_EQ(chip.period_ns(), restoresPolarity(failing) ? newPeriod : oldPeriod);
        for (const unsigned char channel : allChannels)
        {
            EXPECT_EQ(chip.dutyCycle_ns(channel), failing > 2U * channel ? 0 : oldDuty);
            EXPECT_EQ(chip.isOn(channel), failing <= 2U * channel + 1);
        }
        const auto records = log.records();
        ASSERT_EQ(records.size(), step.line == 0 ? 0U : 1U);
        for (const LogRecord& record : records)
        {
            EXPECT_EQ(record.level, log4cplus::ERROR_LOG_LEVEL);
            EXPECT_EQ(record.text, "Return code  -5 0x0005 - I/O error");
            EXPECT_EQ(record.file, "../../src/kiv/env/unix/helper/LinuxPWMChip");
            EXPECT_EQ(record.line, step.line);
            EXPECT_EQ(record.function, step.function);
        }
        const bool leavesReleased = failing > firstRelease && failing <= lastExport && !restoresPolarity(failing);
        EXPECT_EQ(chip.setPeriod(newPeriod), leavesReleased ? -2 : 0);
        for (const unsigned char channel : upperChannels)
            pwm_export(0, channel);
        EXPECT_EQ(chip.setPeriod(newPeriod), 0);
        EXPECT_EQ(chip.setDutyCycle(2, newPeriod / 2), 0);
        EXPECT_EQ(chip.setOn(2, true), 0);
        EXPECT_EQ(attribute("sim/pwm/pwmchip0/pwm2"), "0.500000\n");
    }
}

TEST_F(LinuxPWMChip, ChipsWithoutAPeriodNeedOneFirst)
{
    setWorld("sim/reset", "1");
    const bool isOld = attribute("sim/state").find("kernel\t6.1\n") == 0;
    LogRecorder log(Kiv::Diag::diagLogger());
    CLinuxPWMChip untouched(0, 3);
    EXPECT_EQ(untouched.setPeriod(newPeriod), isOld ? -22 : 0);
    EXPECT_EQ(log.texts().size(), isOld ? 1U : 0U);
    setWorld("sim/reset", "1");
    for (const unsigned char channel : allChannels)
    {
        pwm_export(0, channel);
        EXPECT_EQ(pwm_set_period(0, channel, oldPeriod), 0);
    }
    CLinuxPWMChip started(0, 3);
    EXPECT_EQ(started.setPeriod(newPeriod), 0);
}

TEST_F(LinuxPWMChip, ChannelsAreAdoptedInSilenceAsTheyRun)
{
    pwm_unexport(0, 2);
    accesses();
    CChildProcess child([] {
        LogRecorder log(Kiv::Diag::diagLogger());
        const CLinuxPWMChip chip(0, 3, Kiv::PwmChipStart());
        return chip.error() == 0 && chip.period_ns() == oldPeriod && chip.isOn(1) && chip.dutyCycle_ns(2) == oldDuty &&
                       log.texts().empty()
                   ? 0
                   : 1;
    });
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(child.err(), "");
    EXPECT_THAT(accesses("write"), ElementsAre("write pwm/pwmchip0/export 2 1"));
    CLinuxPWMChip chip(0, 3, Kiv::PwmChipStart());
    EXPECT_EQ(chip.setPeriod(newPeriod), 0);
    EXPECT_EQ(attribute("pwm/pwmchip0/pwm2/polarity"), "normal\n") << "it is no longer taken for inversed";
}

TEST_F(LinuxPWMChip, ChannelsWithoutAPeriodGetTheFirstOne)
{
    setWorld("sim/reset", "1");
    Kiv::PwmChipStart start;
    start.firstPeriodNs = oldPeriod;
    CLinuxPWMChip chip(0, 3, start);
    EXPECT_EQ(chip.error(), 0);
    EXPECT_EQ(chip.period_ns(), oldPeriod);
    EXPECT_EQ(chip.setDutyCycle(2, oldDuty), 0);
    LogRecorder log(Kiv::Diag::diagLogger());
    EXPECT_EQ(CLinuxPWMChip(0, 4, start).error(), -19);
    EXPECT_EQ(log.texts().size(), 1U);
}

TEST_F(LinuxPWMChip, ChannelsBecomeInversedUnlessTheirPolarityWasSet)
{
    CLinuxPWMChip chip(0, 3);
    EXPECT_EQ(chip.setPolarity(1, PWMPolarityNormal), 0);
    setWorld("sim/faults", "write /sys/class/pwm/pwmchip0/pwm2/polarity 1 EIO\n");
    EXPECT_EQ(chip.setPolarity(2, PWMPolarityNormal), -5) << "and nothing is recorded";
    EXPECT_EQ(chip.setPeriod(newPeriod), 0);
    EXPECT_EQ(attribute("pwm/pwmchip0/pwm0/polarity"), "normal\n");
    EXPECT_EQ(attribute("pwm/pwmchip0/pwm1/polarity"), "normal\n");
    EXPECT_EQ(attribute("pwm/pwmchip0/pwm2/polarity"), "inversed\n");
}

TEST_F(LinuxPWMChip, HardwareThatKeepsItsPolarityGetsItsPeriodAllTheSame)
{
    const int number = Kiv::pwm_chip_number("fe20d000.pwm");
    ASSERT_GT(number, 0);
    const auto fixed = static_cast<unsigned char>(number);
    for (const unsigned char channel : twoChannels)
    {
        pwm_export(fixed, channel);
        pwm_set_period(fixed, channel, oldPeriod);
    }
    CLinuxPWMChip chip(fixed, 2);
    LogRecorder log(Kiv::Diag::diagLogger());
    EXPECT_EQ(chip.setPeriod(newPeriod), 0);
    EXPECT_THAT(log.texts(), ElementsAre("Return code  -22 0x0016 - Invalid argument"));
    EXPECT_EQ(attribute("pwm/pwmchip" + std::to_string(number) + "/pwm1/period"), "2000000\n");
}
