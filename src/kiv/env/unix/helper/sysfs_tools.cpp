#include <kiv/sysfs_tools.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>

#include <dirent.h>
#include <poll.h>
#include <sys/eventfd.h>

#include "kiv/env/unix/helper/SysfsFile.h"
#include "kiv/errors/ResultCodes.h"
#include "kiv/time/TimeSource.h"

namespace Kiv
{

namespace
{

struct CloseFolder
{
    void operator()(DIR* folder) const { closedir(folder); }
};

/// Calls matches(name) for each entry of a folder that begins with `prefix`, until it returns true; the number behind
/// the prefix of that entry, or a code.
template<class Matches>
int findNumbered(const char* folder, const char* prefix, Matches matches)
{
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder));
    if (!entries)
        return negatedErrno();
    const std::size_t prefixSize = std::strlen(prefix);
    while (const dirent* entry = readdir(entries.get()))
    {
        if (std::strncmp(entry->d_name, prefix, prefixSize) == 0 && matches(entry->d_name))
            return static_cast<int>(std::strtol(entry->d_name + prefixSize, nullptr, 10));
    }
    return noSuchDevice;
}

/// Compares an attribute's text, without its line break.
bool attributeIs(const char* path, const char* expected)
{
    char text[256];
    const CSysfsFile file(path, O_RDONLY);
    const ssize_t length = file.isOpen() ? file.read(text, sizeof text - 1) : -1;
    if (length < 0)
        return false;
    text[length] = '\0';
    text[std::strcspn(text, "\n")] = '\0';
    return std::strcmp(text, expected) == 0;
}

bool linkEndsWith(const char* path, const char* expected)
{
    char target[512];
    const ssize_t length = readlink(path, target, sizeof target - 1);
    if (length < 0)
        return false;
    target[length] = '\0';
    const char* slash = std::strrchr(target, '/');
    return std::strcmp(slash != nullptr ? slash + 1 : target, expected) == 0;
}

/// Tries to open every attribute of a folder for writing, which alone changes nothing. 0, or why one cannot be.
int openAll(const std::string& folder, std::initializer_list<const char*> attributes)
{
    for (const char* attribute : attributes)
    {
        if (!CSysfsFile((folder + attribute).c_str(), O_WRONLY).isOpen())
            return negatedErrno();
    }
    return 0;
}

int waitWritable(const char* folder, std::initializer_list<const char*> attributes, unsigned int timeoutMs)
{
    const CDeadline end = CDeadline::in(std::chrono::milliseconds(timeoutMs));
    int result = openAll(folder, attributes);
    while (result != 0 && !end.isExpired())
    {
        Time::sleepUntil(CDeadline::in(std::chrono::milliseconds(1)));
        result = openAll(folder, attributes);
    }
    return result;
}

} // namespace

int gpio_set_output(unsigned int pin, ePinValue value)
{
    const CSysfsText path("/sys/class/gpio/gpio", static_cast<int>(pin), "/direction");
    const CSysfsFile file(path.c_str(), O_WRONLY);
    if (!file.isOpen())
        return negatedErrno();
    const bool written = value != PinValueLow ? file.write("high", 4) : file.write("low", 3);
    return written ? 0 : negatedErrno();
}

int gpio_chip_base(const char* label)
{
    if (label == nullptr)
        return noSuchDevice;
    return findNumbered("/sys/class/gpio", "gpiochip", [label](const char* chip) {
        char path[512];
        std::snprintf(path, sizeof path, "/sys/class/gpio/%s/label", chip);
        return attributeIs(path, label);
    });
}

int pwm_chip_number(const char* device)
{
    if (device == nullptr)
        return noSuchDevice;
    return findNumbered("/sys/class/pwm", "pwmchip", [device](const char* chip) {
        char path[512];
        std::snprintf(path, sizeof path, "/sys/class/pwm/%s/device", chip);
        return linkEndsWith(path, device);
    });
}

int gpio_wait_access(unsigned int pin, unsigned int timeoutMs)
{
    const CSysfsText folder("/sys/class/gpio/gpio", static_cast<int>(pin), "/");
    return waitWritable(folder.c_str(), {"direction", "value"}, timeoutMs);
}

int pwm_wait_access(unsigned char chip, unsigned char channel, unsigned int timeoutMs)
{
    const CSysfsText folder("/sys/class/pwm/pwmchip", chip, "/pwm", channel, "/");
    return waitWritable(folder.c_str(), {"period", "duty_cycle", "polarity", "enable"}, timeoutMs);
}

class CGpioEdgePrivate
{
public:
    explicit CGpioEdgePrivate(unsigned int pin) : wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    {
        const CSysfsText path("/sys/class/gpio/gpio", static_cast<int>(pin), "/value");
        if (wake.isOpen())
            value = CDescriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK);
        error = !value.isOpen() || !rearm() ? negatedErrno() : 0;
    }

    /// The kernel reports the next edge after a read; pread(2) needs no seek back to the start.
    bool rearm() const
    {
        char level[4];
        return uninterrupted([&] { return ::pread(value.get(), level, sizeof level, 0); }) >= 0;
    }

    bool wasInterrupted() const
    {
        eventfd_t count = 0;
        return eventfd_read(wake.get(), &count) == 0;
    }

    CDescriptor wake;
    CDescriptor value;
    int error = 0;
};

CGpioEdge::CGpioEdge(unsigned int pin) : d(std::make_unique<CGpioEdgePrivate>(pin)) {}

CGpioEdge::~CGpioEdge() = default;

int CGpioEdge::error() const { return d->error; }

int CGpioEdge::wait(int timeoutMs)
{
    return wait(timeoutMs < 0 ? CDeadline::never() : CDeadline::in(std::chrono::milliseconds(timeoutMs)));
}

int CGpioEdge::wait(const CDeadline& deadline)
{
    if (d->error != 0)
        return d->error;
    pollfd descriptors[] = {{d->wake.get(), POLLIN, 0}, {d->value.get(), POLLPRI | POLLERR, 0}};
    const int ready = Time::poll(descriptors, 2, deadline);
    if (ready < 0)
        return negatedErrno();
    if (d->wasInterrupted())
        return operationCanceled;
    if (ready == 0)
        return 0;
    return d->rearm() ? 1 : negatedErrno();
}

void CGpioEdge::interrupt() { eventfd_write(d->wake.get(), 1); }

} // namespace Kiv
