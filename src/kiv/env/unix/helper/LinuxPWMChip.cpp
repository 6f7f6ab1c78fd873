#include <kiv/LinuxPWMChip.h>

#include <string>
#include <vector>

#include <kiv/ErrorToString.h>
#include <kiv/diag.h>

#include "kiv/env/unix/diag/logging.h"
#include "kiv/env/unix/helper/PwmWaves.h"
#include "kiv/env/unix/helper/SysfsTake.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

constexpr const char* thisFile = "../../src/kiv/env/unix/helper/LinuxPWMChip";

/// A step of a longer operation, under the number that its log record carries as the source line.
enum eStep : int
{
    StepQuietDuty = 95,
    StepQuietOff = 97,
    StepRelease = 105,
    StepFirstPeriod = 109,
    StepTake = 114,
    StepOtherPeriod = 116,
    StepPolarityOff = 162,
    StepPolarity = 165
};

/// Logs a step that failed; true if it did.
bool failed(int result, eStep step, const char* function)
{
    if (result >= 0)
        return false;
    Diag::logAt(Diag::diagLogger(), log4cplus::ERROR_LOG_LEVEL, {thisFile, step, function}, [result] {
        return Diag::formatted("%s %d 0x%04x - %s", "Return code ", result, static_cast<unsigned int>(-result),
                               ErrorToString(static_cast<ErrCode>(result)));
    });
    return true;
}

} // namespace

class CLinuxPWMChipPrivate
{
public:
    CLinuxPWMChipPrivate(CLinuxPWMChip* chip, unsigned char chipNumber, unsigned char channels)
        : owner(chip), number(chipNumber), dutyCycles(channels, 0), on(channels, false),
          polarities(channels, PWMPolarityNormal)
    {}

    unsigned char channelCount() const { return static_cast<unsigned char>(dutyCycles.size()); }
    bool has(unsigned char channel) const { return channel < channelCount(); }

    void takeChannel(unsigned char channel)
    {
        pwm_export(number, channel);
        bool enabled = false;
        pwm_get_enabled(number, channel, enabled);
        on[channel] = enabled;
        pwm_get_polarity(number, channel, polarities[channel]);
        pwm_get_duty_cycle(number, channel, dutyCycles[channel]);
    }

    /// As takeChannel(), but in silence, with the polarity as it is, and with a period.
    int adoptChannel(unsigned char channel, const PwmChipStart& start)
    {
        std::string folder;
        bool isAdopted = false;
        PwmWave wave;
        int result = takePwmChannel(number, channel, start.accessTimeoutMs, folder, isAdopted);
        if (result != 0)
            return result;
        result = readPwmWave(folder, wave);
        if (result == 0 && wave.periodNs == 0 && start.firstPeriodNs != 0)
        {
            result = writeAttribute(folder + "period", std::to_string(start.firstPeriodNs));
            wave.periodNs = start.firstPeriodNs;
        }
        if (result != 0)
            return refused("PWM chip " + std::to_string(number), folder, result, "");
        on[channel] = wave.isOn;
        polarities[channel] = wave.polarity;
        dutyCycles[channel] = wave.dutyCycleNs;
        if (channel == 0)
            period = wave.periodNs;
        return 0;
    }

    int quietAllChannels()
    {
        for (unsigned char channel = 0; channel < channelCount(); ++channel)
        {
            int result = owner->setDutyCycle(channel, 0);
            if (failed(result, StepQuietDuty, "setPeriod"))
                return result;
            result = owner->setOn(channel, false);
            if (failed(result, StepQuietOff, "setPeriod"))
                return result;
        }
        return 0;
    }

    int releaseOtherChannels()
    {
        for (int channel = channelCount() - 1; channel >= 1; --channel)
        {
            const int result = pwm_unexport(number, static_cast<unsigned char>(channel));
            if (failed(result, StepRelease, "setPeriod"))
                return result;
        }
        return 0;
    }

    int setFirstPeriod(unsigned int ns)
    {
        const int result = pwm_set_period(number, 0, ns);
        failed(result, StepFirstPeriod, "setPeriod");
        return result;
    }

    int takeOtherChannels(unsigned int ns)
    {
        for (unsigned char channel = 1; channel < channelCount(); ++channel)
        {
            int result = pwm_export(number, channel);
            if (failed(result, StepTake, "setPeriod"))
                return result;
            result = pwm_set_period(number, channel, ns);
            if (failed(result, StepOtherPeriod, "setPeriod"))
                return result;
            owner->setPolarity(channel, polarities[channel]); // logs its own failure, which ends nothing here
        }
        return 0;
    }

    CLinuxPWMChip* const owner;
    const unsigned char number;
    std::vector<unsigned int> dutyCycles;
    std::vector<bool> on;
    std::vector<ePWMPolarity> polarities;
    unsigned int period = 0;
    int error = 0;
};

CLinuxPWMChip::CLinuxPWMChip(unsigned char chip, unsigned char channelCount)
    : d(std::make_unique<CLinuxPWMChipPrivate>(this, chip, channelCount))
{
    for (unsigned char channel = 0; channel < channelCount; ++channel)
        d->takeChannel(channel);
    pwm_get_period(chip, 0, d->period);
}

CLinuxPWMChip::CLinuxPWMChip(unsigned char chip, unsigned char channelCount, const PwmChipStart& start)
    : d(std::make_unique<CLinuxPWMChipPrivate>(this, chip, channelCount))
{
    for (unsigned char channel = 0; channel < channelCount && d->error == 0; ++channel)
        d->error = d->adoptChannel(channel, start);
}

CLinuxPWMChip::~CLinuxPWMChip() = default;

int CLinuxPWMChip::error() const { return d->error; }

unsigned char CLinuxPWMChip::number() const { return d->number; }

unsigned char CLinuxPWMChip::channelCount() const { return d->channelCount(); }

unsigned int CLinuxPWMChip::period_ns() const { return d->period; }

unsigned int CLinuxPWMChip::dutyCycle_ns(unsigned char channel) const
{
    return d->has(channel) ? d->dutyCycles[channel] : 0;
}

bool CLinuxPWMChip::isOn(unsigned char channel) const { return d->has(channel) && d->on[channel]; }

int CLinuxPWMChip::setOn(unsigned char channel, bool on)
{
    if (!d->has(channel))
        return invalidArgument;
    const int result = pwm_set_enabled(d->number, channel, on);
    if (result == 0)
        d->on[channel] = on;
    return result;
}

int CLinuxPWMChip::setDutyCycle(unsigned char channel, unsigned int ns)
{
    if (!d->has(channel))
        return invalidArgument;
    const int result = pwm_set_duty_cycle(d->number, channel, ns);
    if (result == 0)
        d->dutyCycles[channel] = ns;
    return result;
}

int CLinuxPWMChip::setPolarity(unsigned char channel, ePWMPolarity polarity)
{
    if (!d->has(channel))
        return invalidArgument;
    const bool wasOn = isOn(channel);
    int result = setOn(channel, false);
    if (failed(result, StepPolarityOff, "setPolarity"))
        return result;
    result = pwm_set_polarity(d->number, channel, polarity);
    if (failed(result, StepPolarity, "setPolarity"))
        return result;
    d->polarities[channel] = polarity;
    return setOn(channel, wasOn);
}

int CLinuxPWMChip::setPeriod(unsigned int ns)
{
    if (ns == d->period)
        return 0;
    int result = d->quietAllChannels();
    if (result >= 0)
        result = d->releaseOtherChannels();
    if (result >= 0)
        result = d->setFirstPeriod(ns);
    if (result >= 0)
        result = d->takeOtherChannels(ns);
    if (result < 0)
        return result;
    d->period = ns;
    return 0;
}

} // namespace Kiv
