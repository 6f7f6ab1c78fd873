#include "BoardOutputs.h"

#include <cstdio>
#include <cstdlib>

#include <kiv/ErrorToString.h>
#include <kiv/linux_pwm.h>
#include <kiv/sysfs_tools.h>

namespace
{

constexpr unsigned patience = 2000; // milliseconds for udev to grant access

bool isRefused(int result, const char* what)
{
    if (result < 0)
        std::fprintf(stderr, "%s: %s\n", what, ErrorToString(static_cast<ErrCode>(result)));
    return result < 0;
}

/// An output line that is low from its first moment on; null if there is none.
std::unique_ptr<Kiv::CLinuxIoPin> lowOutput(unsigned line, const char* what)
{
    Kiv::gpio_export(line); // one that is exported already is as good
    if (isRefused(Kiv::gpio_wait_access(line, patience), what) ||
        isRefused(Kiv::gpio_set_output(line, Kiv::PinValueLow), what))
        return nullptr;
    return std::make_unique<Kiv::CLinuxIoPin>(line, Kiv::PinDirectionOutput, Kiv::PinModeActiveHigh);
}

} // namespace

bool CBoardOutputs::open()
{
    const int base = Kiv::gpio_chip_base("9030000.pl061");
    const int chip = Kiv::pwm_chip_number("fe20c000.pwm");
    if (isRefused(base, "GPIO chip") || isRefused(chip, "PWM chip"))
        return false;
    contactor = lowOutput(static_cast<unsigned>(base) + 2, "contactor");
    faultLamp = lowOutput(static_cast<unsigned>(base) + 3, "fault lamp");
    const auto number = static_cast<unsigned char>(chip);
    pwm_export(number, 0);
    if (!contactor || !faultLamp || isRefused(Kiv::pwm_wait_access(number, 0, patience), "motor") ||
        isRefused(pwm_set_period(number, 0, period_ns), "motor"))
        return false;
    pwm_unexport(number, 0); // keeps its period
    motor.emplace(number);
    return true;
}

bool CBoardOutputs::setPower(bool isOn)
{
    const Kiv::ePinValue level = isOn ? Kiv::PinValueHigh : Kiv::PinValueLow;
    const bool hasFollowed = contactor->write(level) == 0 && contactor->read() == level;
    return motor->chip.setOn(0, isOn && hasFollowed) == 0 && hasFollowed;
}

void CBoardOutputs::setSpeed(int rpm)
{
    motor->chip.setDutyCycle(0, static_cast<unsigned>(std::abs(rpm)) * (period_ns / fullSpeed));
    speed = rpm;
}

void CBoardOutputs::setFaultLamp(bool isOn) { faultLamp->write(isOn ? Kiv::PinValueHigh : Kiv::PinValueLow); }
