#include "PwmSetting.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "Command.h"
#include "Sysfs.h"

namespace Tool
{

namespace
{

constexpr double mostNanoseconds = std::numeric_limits<int>::max(); // what the library writes

struct Unit
{
    const char* name;
    double nanoseconds;
};

constexpr Unit timeUnits[] = {{"", 1}, {"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s", 1e9}};
constexpr Unit frequencyUnits[] = {{"Hz", 1e9}, {"kHz", 1e6}, {"MHz", 1e3}}; // the period of one of them

/// A number at the beginning of a text, what follows it in `rest`; nothing without a number or for a negative one.
std::optional<double> parseAmount(const std::string& text, std::string& rest)
{
    if (text.find_first_of("0123456789") != 0)
        return std::nullopt;
    char* end = nullptr;
    const double amount = std::strtod(text.c_str(), &end); // the program sets no locale: the sign is a point
    rest = end;
    return amount;
}

std::optional<double> parseTime(const std::string& text)
{
    std::string unitName;
    const auto amount = parseAmount(text, unitName);
    for (const Unit& unit : timeUnits)
        if (amount && unitName == unit.name)
            return *amount * unit.nanoseconds;
    return std::nullopt;
}

std::optional<double> parseFrequency(const std::string& text)
{
    std::string unitName;
    const auto amount = parseAmount(text, unitName);
    for (const Unit& unit : frequencyUnits)
        if (amount && *amount > 0 && unitName == unit.name)
            return unit.nanoseconds / *amount;
    return std::nullopt;
}

unsigned wholeNanoseconds(const std::string& text, const std::optional<double>& time, double least)
{
    if (!time || !(*time >= least) || !(*time <= mostNanoseconds))
        throw badInput("no time of " + std::to_string(std::lround(least)) + " to 2147483647 ns: " + text +
                       " (20000, 20us, 1.5ms)");
    return static_cast<unsigned>(std::lround(*time));
}

/// Calls one of the library's functions for a step that the message names.
template<class Call>
void step(const PwmPlace& place, const char* what, Call call)
{
    require(nameOf(place) + ": " + what, quietly(call));
}

void setPeriodAndDutyCycle(const PwmPlace& place, const PwmState& before, const PwmState& after)
{
    const auto setPeriod = [&] { return pwm_set_period(place.chip, place.channel, after.period_ns); };
    const auto setDutyCycle = [&] { return pwm_set_duty_cycle(place.chip, place.channel, after.dutyCycle_ns); };
    const bool isDutyFirst = after.period_ns < before.dutyCycle_ns;
    if (isDutyFirst)
        step(place, "duty cycle", setDutyCycle);
    if (after.period_ns != before.period_ns)
        step(place, "period", setPeriod);
    if (!isDutyFirst && after.dutyCycle_ns != before.dutyCycle_ns)
        step(place, "duty cycle", setDutyCycle);
}

} // namespace

unsigned parsePeriod(const std::string& text)
{
    const auto ofFrequency = parseFrequency(text);
    return wholeNanoseconds(text, ofFrequency ? ofFrequency : parseTime(text), 1);
}

void parseDutyCycle(const std::string& text, PwmWish& wish)
{
    constexpr double whole = 100;
    std::string unitName;
    const auto amount = parseAmount(text, unitName);
    if (amount && unitName == "%" && *amount <= whole)
        wish.dutyPart = *amount / whole;
    else if (unitName == "%")
        throw badInput("no part of the period: " + text);
    else
        wish.dutyCycle_ns = wholeNanoseconds(text, parseTime(text), 0);
}

std::string nameOf(const PwmPlace& place)
{
    return "pwmchip" + std::to_string(place.chip) + " channel " + std::to_string(place.channel);
}

std::string folderOf(const PwmPlace& place)
{
    return "/sys/class/pwm/pwmchip" + std::to_string(place.chip) + "/pwm" + std::to_string(place.channel);
}

PwmState readPwm(const PwmPlace& place)
{
    PwmState state;
    step(place, "period", [&] { return pwm_get_period(place.chip, place.channel, state.period_ns); });
    step(place, "duty cycle", [&] { return pwm_get_duty_cycle(place.chip, place.channel, state.dutyCycle_ns); });
    step(place, "enable", [&] { return pwm_get_enabled(place.chip, place.channel, state.isOn); });
    // The library's function takes the kernel's line break for a part of the word.
    const auto polarity = readAttribute(folderOf(place) + "/polarity");
    if (!polarity)
        throw systemFailure(nameOf(place) + ": polarity");
    state.isInversed = *polarity == "inversed";
    return state;
}

PwmState fulfilled(const PwmState& before, const PwmWish& wish)
{
    PwmState after = before;
    after.period_ns = wish.period_ns.value_or(before.period_ns);
    after.dutyCycle_ns = wish.dutyCycle_ns.value_or(before.dutyCycle_ns);
    if (wish.dutyPart)
        after.dutyCycle_ns = static_cast<unsigned>(std::lround(*wish.dutyPart * after.period_ns));
    after.isInversed = wish.isInversed.value_or(before.isInversed);
    after.isOn = wish.isOn.value_or(before.isOn);
    if (after.period_ns == 0 && (after.isOn || after.dutyCycle_ns != 0 || after.isInversed != before.isInversed))
        throw badInput("the channel has no period yet, and all else needs one: give --period");
    if (after.dutyCycle_ns > after.period_ns)
        throw badInput("the duty cycle would be " + std::to_string(after.dutyCycle_ns) +
                       " ns, longer than the period of " + std::to_string(after.period_ns) + " ns");
    return after;
}

void changePwm(const PwmPlace& place, const PwmState& before, const PwmState& after)
{
    const bool changesPolarity = after.isInversed != before.isInversed;
    const auto setEnabled = [&](bool on) {
        step(place, "enable", [&] { return pwm_set_enabled(place.chip, place.channel, on); });
    };
    const bool goesOff = before.isOn && (!after.isOn || changesPolarity); // polarity changes while off only
    if (goesOff)
        setEnabled(false);
    setPeriodAndDutyCycle(place, before, after);
    if (changesPolarity)
        step(place, "polarity", [&] {
            return pwm_set_polarity(place.chip, place.channel,
                                    after.isInversed ? PWMPolarityInversed : PWMPolarityNormal);
        });
    if (after.isOn && (goesOff || !before.isOn))
        setEnabled(true);
}

} // namespace Tool
