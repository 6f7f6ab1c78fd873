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
    Kiv::PwmChipStart start;
    start.firstPeriodNs = 40000; // 25 kHz: before it has a period, a channel takes nothing else
    Kiv::CLinuxPWMChip fans(static_cast<unsigned char>(found), 2, start); // takes the channels, or adopts them
    if (fans.error() != 0)
        return 1; // the log says why
    fans.setDutyCycle(0, 10000);
    fans.setOn(0, true);
    std::printf("fan 0: %u of %u ns, %s\n", fans.dutyCycle_ns(0), fans.period_ns(), fans.isOn(0) ? "on" : "off");
    const int refused = fans.setDutyCycle(0, 50000); // longer than the period
    std::printf("%d: %s\n", refused, ErrorToString(static_cast<ErrCode>(refused)));
}
// [pwm]
