#include <kiv/linux_gpio.h>

#include <cstdlib>
#include <cstring>

#include "kiv/env/unix/helper/SysfsFile.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

/// The path of one attribute of a line, such as "/value".
template<std::size_t Size>
CSysfsText pinPath(unsigned int pin, const char (&attribute)[Size])
{
    return CSysfsText("/sys/class/gpio/gpio", static_cast<int>(pin), attribute);
}

} // namespace

int gpio_export(unsigned int pin)
{
    return writeSysfsNumber("/sys/class/gpio/export", pin, "gpio/export", "gpio/export");
}

int gpio_unexport(unsigned int pin)
{
    return writeSysfsNumber("/sys/class/gpio/unexport", pin, "gpio/unexport", "gpio/unexport");
}

// What follows writes texts with their NUL byte, which the kernel ignores: traces of the writes are compared byte for
// byte. Only the numbers above are written without.

int gpio_set_dir(unsigned int pin, ePinDirection dir)
{
    const CSysfsText path = pinPath(pin, "/direction");
    if (dir == PinDirectionOutput)
        return writeSysfs(path.c_str(), "out", sizeof "out", "gpio/direction", "gpio/direction");
    return writeSysfs(path.c_str(), "in", sizeof "in", "gpio/direction", "gpio/direction");
}

int gpio_set_value(unsigned int pin, ePinValue value)
{
    const CSysfsText path = pinPath(pin, "/value");
    return writeSysfs(path.c_str(), value != PinValueLow ? "1" : "0", sizeof "1", "gpio/set-value", "gpio/set-value");
}

int gpio_get_value(unsigned int pin, unsigned int* value)
{
    if (value == nullptr)
        return invalidArgument;
    const CSysfsFile file(pinPath(pin, "/value").c_str(), O_RDONLY);
    if (!file.isOpen())
        return reportErrno("gpio/get-value");
    char level = '\0';
    const bool failed = file.read(&level, 1) < 0;
    *value = level == '0' ? 0 : 1;
    return failed ? reportErrno("gpio/value") : 0;
}

int gpio_set_edge(unsigned int pin, const char* edge)
{
    if (edge == nullptr)
        return invalidArgument;
    const CSysfsFile file(pinPath(pin, "/edge").c_str(), O_WRONLY);
    if (!file.isOpen())
    {
        std::perror("gpio/set-edge");
        return -1;
    }
    return file.write(edge, std::strlen(edge) + 1) ? 0 : reportErrno("gpio/edge");
}

int gpio_fd_open(unsigned int pin)
{
    CDescriptor value = CDescriptor::open(pinPath(pin, "/value").c_str(), O_RDONLY | O_NONBLOCK);
    if (!value.isOpen())
        std::perror("gpio/fd_open");
    return value.release();
}

int gpio_fd_close(int fd) { return ::close(fd) == 0 ? 0 : negatedErrno(); }

CLinuxIoPin::CLinuxIoPin(unsigned int pin, ePinDirection dir, ePinMode mode)
    : pinNumber(pin), direction(dir), activeMode(mode)
{}

void CLinuxIoPin::configure(unsigned int pin, ePinDirection dir, ePinMode mode)
{
    pinNumber = pin;
    direction = dir;
    activeMode = mode;
}

int CLinuxIoPin::connect()
{
    const int result = gpio_export(pinNumber);
    return result < 0 ? result : gpio_set_dir(pinNumber, direction);
}

int CLinuxIoPin::read() const
{
    unsigned int raw = 0;
    const int result = gpio_get_value(pinNumber, &raw);
    return result < 0 ? result : static_cast<int>(std::llabs(static_cast<long long>(raw) - activeMode));
}

int CLinuxIoPin::write(ePinValue value)
{
    // As |value - mode| without its overflow at the ends of int: only whether the two are equal matters.
    return gpio_set_value(pinNumber,
                          static_cast<int>(value) != static_cast<int>(activeMode) ? PinValueHigh : PinValueLow);
}

int CLinuxIoPin::toggle() { return write(read() == PinValueHigh ? PinValueLow : PinValueHigh); }

} // namespace Kiv
