#include <kiv/linux_pwm.h>

#include <cstdlib>
#include <cstring>

#include "SysfsFile.h"

using Kiv::CSysfsFile;
using Kiv::reportErrno;

namespace
{

/// The path of one attribute of a chip or of one of its channels.
class CPwmPath
{
public:
    CPwmPath(unsigned char chip, const char* attribute)
    {
        std::snprintf(text, sizeof text, "/sys/class/pwm/pwmchip%d/%s", chip, attribute);
    }

    CPwmPath(unsigned char chip, unsigned char channel, const char* attribute)
    {
        std::snprintf(text, sizeof text, "/sys/class/pwm/pwmchip%d/pwm%d/%s", chip, channel, attribute);
    }

    const char* c_str() const { return text; }

private:
    char text[Kiv::sysfsPathSize];
};

/// The text of an attribute, cut at 63 bytes; empty after a failure.
struct AttributeText
{
    int result = 0;
    bool opened = false;
    char text[64] = "";

    explicit AttributeText(const CPwmPath& path)
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

int writeNumber(const CPwmPath& path, unsigned int number, const char* tag)
{
    return Kiv::writeSysfsNumber(path.c_str(), number, path.c_str(), tag);
}

int readNumber(const CPwmPath& path, unsigned int& number)
{
    const AttributeText attribute(path);
    if (attribute.opened)
        number = static_cast<unsigned int>(attribute.number());
    return attribute.result;
}

constexpr const char* enableTag = "pwmchip/pwm/enable";

} // namespace

int pwm_export(unsigned char chip, unsigned char channel)
{
    return writeNumber(CPwmPath(chip, "export"), channel, "pwmchip/export");
}

int pwm_unexport(unsigned char chip, unsigned char channel)
{
    return writeNumber(CPwmPath(chip, "unexport"), channel, "pwmchip/unexport");
}

int pwm_set_duty_cycle(unsigned char chip, unsigned char channel, unsigned int ns)
{
    return writeNumber(CPwmPath(chip, channel, "duty_cycle"), ns, "pwmchip/duty_cycle");
}

int pwm_get_duty_cycle(unsigned char chip, unsigned char channel, unsigned int& ns)
{
    return readNumber(CPwmPath(chip, channel, "duty_cycle"), ns);
}

int pwm_set_period(unsigned char chip, unsigned char channel, unsigned int ns)
{
    return writeNumber(CPwmPath(chip, channel, "period"), ns, "pwmchip/period");
}

int pwm_get_period(unsigned char chip, unsigned char channel, unsigned int& ns)
{
    return readNumber(CPwmPath(chip, channel, "period"), ns);
}

int pwm_set_enabled(unsigned char chip, unsigned char channel, bool on)
{
    const CPwmPath path(chip, channel, "enable");
    return Kiv::writeSysfs(path.c_str(), on ? "1" : "0", sizeof "1", path.c_str(), enableTag);
}

int pwm_get_enabled(unsigned char chip, unsigned char channel, bool& on)
{
    const CPwmPath path(chip, channel, "enable");
    const CSysfsFile file(path.c_str(), O_RDONLY);
    if (!file.isOpen())
        return reportErrno(path.c_str());
    char state = *path.c_str(); // what a failed read leaves, and that counts as enabled
    static_cast<void>(file.read(&state, 1));
    on = state != '0';
    return 0;
}

int pwm_set_polarity(unsigned char chip, unsigned char channel, ePWMPolarity p)
{
    const CPwmPath path(chip, channel, "polarity");
    const CSysfsFile file(path.c_str(), O_WRONLY);
    if (!file.isOpen())
        return reportErrno(path.c_str());
    if (p != PWMPolarityNormal && p != PWMPolarityInversed)
        return -22;
    const bool written =
        p == PWMPolarityNormal ? file.write("normal", sizeof "normal") : file.write("inversed", sizeof "inversed");
    return written ? 0 : reportErrno(enableTag);
}

int pwm_get_polarity(unsigned char chip, unsigned char channel, ePWMPolarity& p)
{
    const AttributeText attribute(CPwmPath(chip, channel, "polarity"));
    if (attribute.opened)
    {
        const bool normal = attribute.result != 0 || std::strcmp(attribute.text, "normal") == 0;
        p = normal ? PWMPolarityNormal : PWMPolarityInversed;
    }
    return attribute.result;
}

int pwm_get_channel_count(unsigned char chip, unsigned char& count)
{
    const AttributeText attribute(CPwmPath(chip, "npwm"));
    count = static_cast<unsigned char>(attribute.number());
    return attribute.result;
}
