/// A GPIO character device in the process: this program's own open(), opendir() and ioctl() stand before those of the C
/// library, and answer for /dev/gpiochip*. Include it in one source of a program.
#ifndef KIV_TESTS_FAKEGPIODEVICE_H
#define KIV_TESTS_FAKEGPIODEVICE_H

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <linux/gpio.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"

struct FakeGpioLine
{
    std::string name;
    std::string holder; ///< empty: free
    bool level = false; ///< electrical
    std::uint64_t flags = 0;
};

/// What the kernel would keep. One at a time; `refuse` fails the named ioctl once.
class CFakeGpio
{
public:
    CFakeGpio() { current() = this; }
    ~CFakeGpio() { current() = nullptr; }
    CFakeGpio(const CFakeGpio&) = delete;
    CFakeGpio& operator=(const CFakeGpio&) = delete;

    static CFakeGpio*& current()
    {
        static CFakeGpio* fake = nullptr;
        return fake;
    }

    struct Chip
    {
        std::string label;
        std::vector<FakeGpioLine> lines;
    };

    void addChip(const std::string& device, const Chip& chip)
    {
        chips[device] = chip;
        std::ofstream(folder.path() / device) << "";
    }

    FakeGpioLine& line(const std::string& device, unsigned offset) { return chips.at(device).lines.at(offset); }

    /// Gives an edge to the program that requested lines last.
    void report(unsigned offset, unsigned id, unsigned sequence, unsigned lineSequence) const
    {
        gpio_v2_line_event event = {};
        event.timestamp_ns = 1000ULL * sequence;
        event.id = id;
        event.offset = offset;
        event.seqno = sequence;
        event.line_seqno = lineSequence;
        if (::write(kernelEnd, &event, sizeof event) != static_cast<ssize_t>(sizeof event))
            std::perror("fake GPIO device");
    }

    int open(const std::string& device)
    {
        if (chips.count(device) == 0)
            return fail(ENOENT);
        const int descriptor = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR | O_CLOEXEC));
        opened[descriptor] = device;
        return descriptor;
    }

    int call(int descriptor, unsigned long number, void* argument)
    {
        const auto refusal = refused.find(number);
        if (refusal != refused.end())
        {
            const int error = refusal->second;
            refused.erase(refusal);
            return fail(error);
        }
        calls.push_back(number);
        if (number == GPIO_V2_LINE_GET_VALUES_IOCTL || number == GPIO_V2_LINE_SET_VALUES_IOCTL)
            return values(number, *static_cast<gpio_v2_line_values*>(argument));
        if (number == GPIO_V2_LINE_SET_CONFIG_IOCTL)
            return configure(*static_cast<gpio_v2_line_config*>(argument));
        Chip& chip = chips.at(opened.at(descriptor));
        if (number == GPIO_GET_CHIPINFO_IOCTL)
            return describe(chip, *static_cast<gpiochip_info*>(argument));
        if (number == GPIO_V2_GET_LINEINFO_IOCTL)
            return describe(chip, *static_cast<gpio_v2_line_info*>(argument));
        return request(chip, *static_cast<gpio_v2_line_request*>(argument));
    }

    const TemporaryDirectory folder;
    std::map<unsigned long, int> refused; ///< ioctl numbers, and the errno of their next call
    std::vector<unsigned long> calls;
    gpio_v2_line_request requested = {};

private:
    static int fail(int error)
    {
        errno = error;
        return -1;
    }

    static int describe(const Chip& chip, gpiochip_info& info)
    {
        chip.label.copy(info.label, sizeof info.label); // no NUL when it just fits
        info.lines = static_cast<unsigned>(chip.lines.size());
        return 0;
    }

    static int describe(const Chip& chip, gpio_v2_line_info& info)
    {
        if (info.offset >= chip.lines.size())
            return fail(EINVAL);
        const FakeGpioLine& line = chip.lines[info.offset];
        std::strncpy(info.name, line.name.c_str(), sizeof info.name - 1);
        std::strncpy(info.consumer, line.holder.c_str(), sizeof info.consumer - 1);
        info.flags = line.flags | (line.holder.empty() ? 0 : GPIO_V2_LINE_FLAG_USED);
        info.num_attrs = 1;
        info.attrs[0].id = GPIO_V2_LINE_ATTR_ID_DEBOUNCE;
        info.attrs[0].debounce_period_us = 50;
        return 0;
    }

    int request(Chip& chip, gpio_v2_line_request& wanted)
    {
        for (unsigned i = 0; i < wanted.num_lines; ++i)
        {
            if (wanted.offsets[i] >= chip.lines.size())
                return fail(EINVAL);
            if (!chip.lines[wanted.offsets[i]].holder.empty())
                return fail(EBUSY);
        }
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            return -1;
        if (kernelEnd >= 0)
            close(kernelEnd);
        kernelEnd = ends[1];
        wanted.fd = ends[0];
        requested = wanted;
        held = &chip;
        return configure(wanted.config);
    }

    int configure(const gpio_v2_line_config& config)
    {
        requested.config = config;
        for (unsigned i = 0; i < config.num_attrs; ++i)
            if (config.attrs[i].attr.id == GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES)
                for (unsigned bit = 0; bit < requested.num_lines; ++bit)
                    set(bit, ((config.attrs[i].attr.values >> bit) & 1) != 0);
        return 0;
    }

    bool isInverted() const { return (requested.config.flags & GPIO_V2_LINE_FLAG_ACTIVE_LOW) != 0; }

    void set(unsigned bit, bool value) { held->lines[requested.offsets[bit]].level = value != isInverted(); }

    int values(unsigned long number, gpio_v2_line_values& answer)
    {
        const bool sets = number == GPIO_V2_LINE_SET_VALUES_IOCTL;
        if (sets && (requested.config.flags & GPIO_V2_LINE_FLAG_OUTPUT) == 0)
            return fail(EPERM);
        for (unsigned bit = 0; bit < requested.num_lines; ++bit)
        {
            const std::uint64_t mask = std::uint64_t{1} << bit;
            if ((answer.mask & mask) == 0)
                continue;
            if (sets)
                set(bit, (answer.bits & mask) != 0);
            else if (held->lines[requested.offsets[bit]].level != isInverted())
                answer.bits |= mask;
        }
        return 0;
    }

    std::map<std::string, Chip> chips;
    std::map<int, std::string> opened;
    Chip* held = nullptr;
    int kernelEnd = -1;
};

extern "C" int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    CFakeGpio* fake = CFakeGpio::current();
    if (fake != nullptr && std::strncmp(path, "/dev/gpiochip", 13) == 0)
        return fake->open(path + 5);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" DIR* opendir(const char* path)
{
    CFakeGpio* fake = CFakeGpio::current();
    const std::string real = fake != nullptr && std::strcmp(path, "/dev") == 0 ? fake->folder.path().string() : path;
    const long folder = syscall(SYS_openat, AT_FDCWD, real.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return folder < 0 ? nullptr : fdopendir(static_cast<int>(folder));
}

extern "C" int ioctl(int descriptor, unsigned long number, ...) noexcept
{
    va_list arguments;
    va_start(arguments, number);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    CFakeGpio* fake = CFakeGpio::current();
    if (fake != nullptr && _IOC_TYPE(number) == 0xB4)
        return fake->call(descriptor, number, argument);
    return static_cast<int>(syscall(SYS_ioctl, descriptor, number, argument));
}

#endif
