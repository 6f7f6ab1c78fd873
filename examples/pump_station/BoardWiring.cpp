#include "BoardWiring.h"

#include <cerrno>
#include <cmath>

#include <kiv/ErrorToString.h>
#include <kiv/errno_translation.h>
#include <kiv/linux_pwm.h>
#include <kiv/sysfs_tools.h>

#include "Settings.h"

namespace PumpStation
{

namespace
{

constexpr unsigned patience = 2000; // milliseconds for udev to grant access
constexpr int busy = -16;           // a line or channel that is exported already is as good

/// The result, or the error that it stands for.
int required(int result, const std::string& what)
{
    if (result < 0)
        throw CWiringError(what + ": " + ErrorToString(static_cast<ErrCode>(result)));
    return result;
}

int failure(int error) { return -static_cast<int>(errnoToErrCode(error)); }

unsigned chipBase(const std::string& label)
{
    return static_cast<unsigned>(required(Kiv::gpio_chip_base(label.c_str()), "GPIO chip " + label));
}

Kiv::CLinuxIoPin connected(unsigned line, Kiv::ePinDirection direction)
{
    const std::string name = "GPIO line " + std::to_string(line);
    const int exported = Kiv::gpio_export(line);
    if (exported != busy)
        required(exported, name);
    required(Kiv::gpio_wait_access(line, patience), name);
    required(Kiv::gpio_set_dir(line, direction), name);
    return {line, direction, Kiv::PinModeActiveHigh};
}

/// A channel without a period takes nothing else; one with a period takes none below its duty cycle.
int quietWithPeriod(unsigned char chip, unsigned char channel, unsigned period)
{
    unsigned before = 0;
    int result = pwm_get_period(chip, channel, before);
    if (result == 0 && before != 0)
        result = pwm_set_duty_cycle(chip, channel, 0);
    if (result == 0)
        result = pwm_set_period(chip, channel, period);
    return result != 0 ? result : pwm_set_enabled(chip, channel, false);
}

/// The number of a chip whose channels have their period. They accept nothing before they have one, and keep it when
/// they are given back.
unsigned char preparedChip(const TerminalSettings& settings)
{
    const std::string name = "PWM chip " + settings.pwmDevice;
    const auto chip = static_cast<unsigned char>(required(Kiv::pwm_chip_number(settings.pwmDevice.c_str()), name));
    for (unsigned char channel = 0; channel < pumpCount; ++channel)
    {
        const int exported = pwm_export(chip, channel);
        if (exported != busy)
            required(exported, name);
        required(Kiv::pwm_wait_access(chip, channel, patience), name);
        required(quietWithPeriod(chip, channel, settings.pwmPeriod), name);
        required(pwm_unexport(chip, channel), name);
    }
    return chip;
}

} // namespace

CBoardWiring::CBoardWiring(const TerminalSettings& settings, eBoardWorld worldKind)
    : firstLine(chipBase(settings.gpioChip)),
      floatSwitch(connected(firstLine + settings.floatSwitch, Kiv::PinDirectionInput)), period(settings.pwmPeriod),
      drives(preparedChip(settings), pumpCount),
      world(
          makeBoardWorld(worldKind, {settings.levelInput, firstLine + settings.floatSwitch, drives.number(), period})),
      levelInput(settings.levelInput)
{
    for (const unsigned line : settings.lamps)
        lamps.push_back(connected(firstLine + line, Kiv::PinDirectionOutput));
}

int CBoardWiring::level()
{
    const float reading = levelInput.read();
    if (std::isnan(reading))
        note(failure(EIO));
    else
        lastLevel = static_cast<int>(std::lround(reading));
    return lastLevel;
}

bool CBoardWiring::isFloatUp()
{
    const int value = floatSwitch.read();
    note(value);
    if (value >= 0)
        wasFloatUp = value != 0;
    return wasFloatUp;
}

void CBoardWiring::setPumpSpeed(std::size_t pump, int percent)
{
    const auto channel = static_cast<unsigned char>(pump);
    note(drives.setDutyCycle(channel, period / 100 * static_cast<unsigned>(percent)));
    note(drives.setOn(channel, percent > 0));
}

void CBoardWiring::setLamp(eLamp lamp, bool lit)
{
    note(lamps.at(lamp).write(lit ? Kiv::PinValueHigh : Kiv::PinValueLow));
}

void CBoardWiring::showPlant(int level, bool floatUp)
{
    note(world->showLevel(level));
    if (floatUp != shownFloat)
        note(world->showFloat(floatUp));
    shownFloat = floatUp;
}

int CBoardWiring::pumpSpeed(std::size_t pump)
{
    int percent = 0;
    const int result = world->readSpeed(pump, percent);
    note(result);
    if (result >= 0)
        lastSpeeds.at(pump) = percent;
    return lastSpeeds.at(pump);
}

void CBoardWiring::note(int result)
{
    ErrCode none = 0;
    if (result < 0)
        firstError.compare_exchange_strong(none, static_cast<ErrCode>(result));
}

} // namespace PumpStation
