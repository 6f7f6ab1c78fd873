// Two fans on the two channels of a PWM chip.

// [pwm]
#include <cstdio>

#include <kiv/ErrorToString.h>
#include <kiv/LinuxPWMChip.h>
#include <kiv/sysfs_tools.h>

int main()
{
    const int found = Kiv::pwm_chip_number("fe20c000.pwm");
    if (found < 0)
    {
        std::printf("no chip: %s\n", ErrorToString(static_cast<ErrCode>(found)));
        return 1;
    }
    const auto chip = static_cast<unsigned char>(found);
    for (unsigned char channel = 0; channel < 2; ++channel) // before it has a period, a channel takes nothing else
    {
        pwm_export(chip, channel);
        pwm_set_period(chip, channel, 40000); // 25 kHz
        pwm_unexport(chip, channel);          // keeps its period
    }
    Kiv::CLinuxPWMChip fans(chip, 2); // takes the channels
    fans.setDutyCycle(0, 10000);
    fans.setOn(0, true);
    std::printf("fan 0: %u of %u ns, %s\n", fans.dutyCycle_ns(0), fans.period_ns(), fans.isOn(0) ? "on" : "off");
    const int refused = fans.setDutyCycle(0, 50000); // longer than the period
    std::printf("%d: %s\n", refused, ErrorToString(static_cast<ErrCode>(refused)));
}
// [pwm]
