#include <kiv/PwmOutput.h>

#include <charconv>
#include <climits>
#include <string>

#include <kiv/sysfs_tools.h>

#include "kiv/env/unix/helper/PwmWaves.h"
#include "kiv/env/unix/helper/SysfsTake.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

int readNumber(const std::string& path, unsigned int& number)
{
    std::string text;
    const int result = readAttribute(path, text);
    if (result != 0)
        return result;
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc() ? 0 : illegalText;
}

bool canBe(const PwmWave& wave)
{
    if (wave.polarity != PWMPolarityNormal && wave.polarity != PWMPolarityInversed)
        return false;
    return wave.periodNs <= INT_MAX && wave.dutyCycleNs <= wave.periodNs && (wave.periodNs != 0 || !wave.isOn);
}

/// The writes of one change; after the first that is refused there are no more.
class CPwmSteps
{
public:
    explicit CPwmSteps(const std::string& channelFolder) : folder(channelFolder) {}

    void write(bool isNeeded, const char* attribute, const std::string& text)
    {
        if (!isNeeded || result != 0)
            return;
        result = writeAttribute(folder + attribute, text);
        if (result != 0)
            refusedAt = folder + attribute;
    }

    const std::string& folder;
    std::string refusedAt;
    int result = 0;
};

} // namespace

int readPwmWave(const std::string& folder, PwmWave& wave)
{
    PwmWave found;
    unsigned int enabled = 0;
    std::string polarity;
    int result = readNumber(folder + "period", found.periodNs);
    if (result == 0)
        result = readNumber(folder + "duty_cycle", found.dutyCycleNs);
    if (result == 0)
        result = readNumber(folder + "enable", enabled);
    if (result == 0)
        result = readAttribute(folder + "polarity", polarity);
    if (result != 0)
        return result;
    found.isOn = enabled != 0;
    found.polarity = polarity == "inversed" ? PWMPolarityInversed : PWMPolarityNormal;
    wave = found;
    return 0;
}

int changePwmWave(const std::string& folder, const PwmWave& wanted, std::string& refusedAt)
{
    if (!canBe(wanted))
        return invalidArgument;
    PwmWave now;
    refusedAt = folder;
    if (const int result = readPwmWave(folder, now))
        return result;
    const bool hasPeriod = wanted.periodNs != 0;
    const bool turns = hasPeriod && wanted.polarity != now.polarity;
    const bool pauses = now.isOn && (!wanted.isOn || turns);
    const bool isDutyFirst = wanted.periodNs < now.dutyCycleNs;
    const std::string duty = std::to_string(wanted.dutyCycleNs);
    CPwmSteps steps(folder);
    steps.write(pauses, "enable", "0");
    steps.write(hasPeriod && isDutyFirst, "duty_cycle", duty);
    steps.write(hasPeriod && wanted.periodNs != now.periodNs, "period", std::to_string(wanted.periodNs));
    steps.write(hasPeriod && !isDutyFirst && wanted.dutyCycleNs != now.dutyCycleNs, "duty_cycle", duty);
    steps.write(turns, "polarity", wanted.polarity == PWMPolarityInversed ? "inversed" : "normal");
    steps.write(wanted.isOn && (pauses || !now.isOn), "enable", "1");
    refusedAt = steps.refusedAt;
    return steps.result;
}

class CPwmOutputPrivate
{
public:
    std::string who() const { return "PWM chip " + std::to_string(chip) + ", channel " + std::to_string(channel); }

    int giveBack() const
    {
        return writeAttribute("/sys/class/pwm/pwmchip" + std::to_string(chip) + "/unexport", std::to_string(channel));
    }

    int setUp(const PwmOutputSettings& settings) const
    {
        PwmWave now;
        if (settings.isKept && isAdopted && readPwmWave(folder, now) == 0 && now.periodNs != 0)
            return 0;
        if (settings.wave.periodNs == 0)
            return 0;
        std::string refusedAt;
        const int result = changePwmWave(folder, settings.wave, refusedAt);
        return result == 0 ? 0 : refused(who(), refusedAt, result, "");
    }

    unsigned char chip = 0;
    unsigned char channel = 0;
    std::string folder; ///< empty while no channel is taken
    bool isAdopted = false;
    bool isReleased = false;
};

CPwmOutput::CPwmOutput() : d(std::make_unique<CPwmOutputPrivate>()) {}

CPwmOutput::~CPwmOutput()
{
    if (d->isReleased)
        release();
}

int CPwmOutput::take(unsigned char chip, unsigned char channel, const PwmOutputSettings& settings)
{
    if (d->isReleased)
        release();
    leave();
    if (!canBe(settings.wave))
        return invalidArgument;
    d->chip = chip;
    d->channel = channel;
    int result = takePwmChannel(chip, channel, settings.accessTimeoutMs, d->folder, d->isAdopted);
    if (result == 0)
    {
        result = d->setUp(settings);
        if (result != 0 && !d->isAdopted)
            d->giveBack();
    }
    d->isReleased = settings.isReleased;
    if (result != 0)
        leave();
    return result;
}

int CPwmOutput::takeOn(const char* device, unsigned char channel, const PwmOutputSettings& settings)
{
    const int chip = pwm_chip_number(device);
    if (chip >= 0 && chip <= UCHAR_MAX)
        return take(static_cast<unsigned char>(chip), channel, settings);
    const std::string name = device != nullptr ? device : "";
    return refused("PWM chip " + name, "/sys/class/pwm", chip < 0 ? chip : outOfRange, "");
}

int CPwmOutput::release()
{
    if (!isTaken())
        return badDescriptor;
    PwmWave now;
    int result = readPwmWave(d->folder, now);
    if (result == 0 && now.isOn)
        result = setOn(false);
    const int given = d->giveBack();
    leave();
    return result != 0 ? result : given;
}

void CPwmOutput::leave() { *d = CPwmOutputPrivate(); }

bool CPwmOutput::isTaken() const { return !d->folder.empty(); }

bool CPwmOutput::isAdopted() const { return d->isAdopted; }

int CPwmOutput::read(PwmWave& wave) const { return isTaken() ? readPwmWave(d->folder, wave) : badDescriptor; }

int CPwmOutput::set(const PwmWave& wave)
{
    std::string refusedAt;
    return isTaken() ? changePwmWave(d->folder, wave, refusedAt) : badDescriptor;
}

int CPwmOutput::setDutyCycle(unsigned int ns)
{
    return isTaken() ? writeAttribute(d->folder + "duty_cycle", std::to_string(ns)) : badDescriptor;
}

int CPwmOutput::setOn(bool on)
{
    return isTaken() ? writeAttribute(d->folder + "enable", on ? "1" : "0") : badDescriptor;
}

} // namespace Kiv
