#include <kiv/linux_pwm.h>

#include <cstdlib>
#include <cstring>

#include "kiv/env/unix/helper/SysfsFile.h"
#include "kiv/errors/ResultCodes.h"

using Kiv::CSysfsFile;
using Kiv::CSysfsText;
using Kiv::reportErrno;

namespace
{

/// The path of one attribute of a chip, such as "/npwm".
template<std::size_t Size>
CSysfsText chipPath(unsigned char chip, const char (&attribute)[Size])
{
    return CSysfsText("/sys/class/pwm/pwmchip", chip, attribute);
}

/// The path of one attribute of a channel.
template<std::size_t Size>
CSysfsText channelPath(unsigned char chip, unsigned char channel, const char (&attribute)[Size])
{
    return CSysfsText("/sys/class/pwm/pwmchip", chip, "/pwm", channel, attribute);
}

/// The text of an attribute, cut at 63 bytes; empty after a failure.
struct AttributeText
{
    int result = 0;
    bool opened = false;
    char text[64] = "";

    explicit AttributeText(const CSysfsText& path)
    {
        const CSysfsFile file(path.c_str(), O_RDONLY);
        opened = file.isOpen();
        const ssize_t length = opened ? file.read(text, sizeof text - 1) : -1;
        if (length < 0)
            result = reportErrno(path.c_str());
        text[length < 0 ? 0 : length] = '\0';
    }

    long number() const { return std::strtol(text, nullptr, 10); }
};

int writeNumber(const CSysfsText& path, unsigned int number, const char* tag)
{
    return Kiv::writeSysfsNumber(path.c_str(), number, path.c_str(), tag);
}

int readNumber(const CSysfsText& path, unsigned int& number)
{
    const AttributeText attribute(path);
    if (attribute.opened)
        number = static_cast<unsigned int>(attribute.number());
    return attribute.result;
}

// Failed writes of the polarity are reported under it, too: whoever searches logs knows that line.
constexpr const char* enableTag = "pwmchip/pwm/enable";

} // namespace

int pwm_export(unsigned char chip, unsigned char channel)
{
    return writeNumber(chipPath(chip, "/export"), channel, "pwmchip/export");
}

int pwm_unexport(unsigned char chip, unsigned char channel)
{
    return writeNumber(chipPath(chip, "/unexport"), channel, "pwmchip/unexport");
}

int pwm_set_duty_cycle(unsigned char chip, unsigned char channel, unsigned int ns)
{
    return writeNumber(channelPath(chip, channel, "/duty_cycle"), ns, "pwmchip/duty_cycle");
}

int pwm_get_duty_cycle(unsigned char chip, unsigned char channel, unsigned int& ns)
{
    return readNumber(channelPath(chip, channel, "/duty_cycle"), ns);
}

int pwm_set_period(unsigned char chip, unsigned char channel, unsigned int ns)
{
    return writeNumber(channelPath(chip, channel, "/period"), ns, "pwmchip/period");
}

int pwm_get_period(unsigned char chip, unsigned char channel, unsigned int& ns)
{
    return readNumber(channelPath(chip, channel, "/period"), ns);
}

int pwm_set_enabled(unsigned char chip, unsigned char channel, bool on)
{
    const CSysfsText path = channelPath(chip, channel, "/enable");
    // With the NUL byte, which the kernel ignores: traces of the writes are compared byte for byte.
    return Kiv::writeSysfs(path.c_str(), on ? "1" : "0", sizeof "1", path.c_str(), enableTag);
}

int pwm_get_enabled(unsigned char chip, unsigned char channel, bool& on)
{
    const CSysfsText path = channelPath(chip, channel, "/enable");
    const CSysfsFile file(path.c_str(), O_RDONLY);
    if (!file.isOpen())
        return reportErrno(path.c_str());
    char state = '\0';
    const bool failed = file.read(&state, 1) < 0;
    on = failed || state != '0'; // a failed read counts as enabled
    return 0;
}

int pwm_set_polarity(unsigned char chip, unsigned char channel, ePWMPolarity p)
{
    const CSysfsText path = channelPath(chip, channel, "/polarity");
    const CSysfsFile file(path.c_str(), O_WRONLY);
    if (!file.isOpen())
        return reportErrno(path.c_str());
    if (p != PWMPolarityNormal && p != PWMPolarityInversed)
        return Kiv::invalidArgument;
    // With the NUL byte, as in pwm_set_enabled().
    const bool written =
        p == PWMPolarityNormal ? file.write("normal", sizeof "normal") : file.write("inversed", sizeof "inversed");
    return written ? 0 : reportErrno(enableTag);
}

int pwm_get_polarity(unsigned char chip, unsigned char channel, ePWMPolarity& p)
{
    const AttributeText attribute(channelPath(chip, channel, "/polarity"));
    if (attribute.opened)
    {
        const bool normal = attribute.result != 0 || std::strcmp(attribute.text, "normal") == 0;
        p = normal ? PWMPolarityNormal : PWMPolarityInversed;
    }
    return attribute.result;
}

int pwm_get_channel_count(unsigned char chip, unsigned char& count)
{
    const AttributeText attribute(chipPath(chip, "/npwm"));
    count = static_cast<unsigned char>(attribute.number());
    return attribute.result;
}
