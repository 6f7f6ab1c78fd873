#include <kiv/GpioRequest.h>

#include <algorithm>
#include <chrono>

#include <poll.h>
#include <sys/eventfd.h>

#include "kiv/env/unix/helper/GpioDevice.h"
#include "kiv/env/unix/helper/SysfsTake.h"
#include "kiv/errors/ResultCodes.h"
#include "kiv/time/TimeSource.h"

namespace Kiv
{

namespace
{

bool isSound(const GpioRequestSettings& wanted)
{
    const bool isOutput = wanted.direction == PinDirectionOutput && !wanted.isDirectionKept;
    const bool isKnown = (wanted.direction == PinDirectionInput || wanted.direction == PinDirectionOutput) &&
                         wanted.bias >= GpioBiasAsIs && wanted.bias <= GpioBiasPullDown &&
                         wanted.drive >= GpioDrivePushPull && wanted.drive <= GpioDriveOpenSource &&
                         wanted.edge >= GpioEdgeNone && wanted.edge <= GpioEdgeBoth;
    const bool isForInputs = wanted.edge != GpioEdgeNone || wanted.debounceUs != 0;
    return isKnown && !(isForInputs && (isOutput || wanted.isDirectionKept)) &&
           !(wanted.drive != GpioDrivePushPull && !isOutput);
}

/// A bit for each line of a request.
std::uint64_t bitsOf(std::size_t lines)
{
    return lines >= GPIO_V2_LINES_MAX ? ~std::uint64_t{0} : (std::uint64_t{1} << lines) - 1;
}

std::uint64_t flagsOf(const GpioRequestSettings& wanted)
{
    constexpr std::uint64_t biases[] = {0, GPIO_V2_LINE_FLAG_BIAS_DISABLED, GPIO_V2_LINE_FLAG_BIAS_PULL_UP,
                                        GPIO_V2_LINE_FLAG_BIAS_PULL_DOWN};
    constexpr std::uint64_t drives[] = {0, GPIO_V2_LINE_FLAG_OPEN_DRAIN, GPIO_V2_LINE_FLAG_OPEN_SOURCE};
    constexpr std::uint64_t edges[] = {0, GPIO_V2_LINE_FLAG_EDGE_RISING, GPIO_V2_LINE_FLAG_EDGE_FALLING,
                                       GPIO_V2_LINE_FLAG_EDGE_RISING | GPIO_V2_LINE_FLAG_EDGE_FALLING};
    const bool isOutput = wanted.direction == PinDirectionOutput;
    std::uint64_t flags = biases[wanted.bias] | drives[wanted.drive] | edges[wanted.edge];
    if (!wanted.isDirectionKept)
        flags |= isOutput ? GPIO_V2_LINE_FLAG_OUTPUT : GPIO_V2_LINE_FLAG_INPUT;
    if (wanted.mode == PinModeActiveLow)
        flags |= GPIO_V2_LINE_FLAG_ACTIVE_LOW;
    if (wanted.isWallClock)
        flags |= GPIO_V2_LINE_FLAG_EVENT_CLOCK_REALTIME;
    return flags;
}

/// `lines` has a bit for each line of the request.
gpio_v2_line_config configOf(const GpioRequestSettings& wanted, std::uint64_t lines)
{
    gpio_v2_line_config config = {};
    config.flags = flagsOf(wanted);
    const auto add = [&config, lines]() -> gpio_v2_line_attribute& {
        gpio_v2_line_config_attribute& attribute = config.attrs[config.num_attrs++];
        attribute.mask = lines;
        return attribute.attr;
    };
    if ((config.flags & GPIO_V2_LINE_FLAG_OUTPUT) != 0)
    {
        gpio_v2_line_attribute& values = add();
        values.id = GPIO_V2_LINE_ATTR_ID_OUTPUT_VALUES;
        values.values = wanted.firstValues & lines;
    }
    if (wanted.debounceUs != 0)
    {
        gpio_v2_line_attribute& debounce = add();
        debounce.id = GPIO_V2_LINE_ATTR_ID_DEBOUNCE;
        debounce.debounce_period_us = wanted.debounceUs;
    }
    return config;
}

/// "GPIO chip 9030000.pl061, lines 1 4"
std::string nameOf(const std::string& chip, const std::vector<unsigned int>& offsets)
{
    std::string text = "GPIO chip " + chip + (offsets.size() == 1 ? ", line" : ", lines");
    for (const unsigned int offset : offsets)
        text.append(" ").append(std::to_string(offset));
    return text;
}

/// "line 4 is held by gpio-keys", if one is.
std::string holderOf(const CDescriptor& chip, const std::vector<unsigned int>& offsets)
{
    for (const unsigned int offset : offsets)
    {
        GpioLineInfo line;
        if (askGpioLine(chip, offset, line) == 0 && line.isHeld)
            return "line " + std::to_string(offset) + " is held by " +
                   (line.consumer.empty() ? "another" : line.consumer);
    }
    return "held by another";
}

} // namespace

class CGpioRequestPrivate
{
public:
    CGpioRequestPrivate() : wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

    std::uint64_t all() const { return bitsOf(offsets.size()); }

    /// The next edge that the kernel has; 1 or a negated code.
    int takeEvent(GpioEdgeEvent& event)
    {
        gpio_v2_line_event read = {};
        const ssize_t size = uninterrupted([&] { return ::read(lines.get(), &read, sizeof read); });
        if (size < 0)
            return negatedErrno();
        if (size != static_cast<ssize_t>(sizeof read))
            return inputOutputError;
        const auto found = std::find(offsets.begin(), offsets.end(), read.offset);
        event.timeNs = read.timestamp_ns;
        event.index = static_cast<unsigned int>(found - offsets.begin());
        event.edge = read.id == GPIO_V2_LINE_EVENT_RISING_EDGE ? GpioEdgeRising : GpioEdgeFalling;
        event.sequence = read.seqno;
        event.lineSequence = read.line_seqno;
        event.lostEdges = read.seqno - lastSequence - 1; // wraps as the kernel's number does
        lastSequence = read.seqno;
        return 1;
    }

    bool wasInterrupted() const
    {
        eventfd_t count = 0;
        return eventfd_read(wake.get(), &count) == 0;
    }

    CDescriptor wake;
    CDescriptor lines;
    std::vector<unsigned int> offsets;
    std::uint32_t lastSequence = 0;
};

CGpioRequest::CGpioRequest() : d(std::make_unique<CGpioRequestPrivate>()) {}

CGpioRequest::~CGpioRequest() = default;

int CGpioRequest::request(const std::string& chip, const std::vector<unsigned int>& offsets,
                          const GpioRequestSettings& settings)
{
    release();
    if (offsets.empty() || offsets.size() > GPIO_V2_LINES_MAX || !isSound(settings))
        return invalidArgument;
    CDescriptor device;
    GpioChipInfo info;
    if (const int result = openGpioChip(chip, device, info))
        return refused(nameOf(chip, offsets), "/dev", result);
    gpio_v2_line_request wanted = {};
    std::copy(offsets.begin(), offsets.end(), wanted.offsets);
    wanted.num_lines = static_cast<std::uint32_t>(offsets.size());
    wanted.config = configOf(settings, bitsOf(offsets.size()));
    wanted.event_buffer_size = settings.edgesKept;
    setText(wanted.consumer, settings.consumer);
    if (const int result = gpioCall(device, GPIO_V2_GET_LINE_IOCTL, wanted))
        return refused(nameOf(chip, offsets), info.path, result,
                       result == resourceBusy ? holderOf(device, offsets) : std::string());
    d->lines = CDescriptor(wanted.fd);
    d->offsets = offsets;
    d->lastSequence = 0;
    return 0;
}

int CGpioRequest::request(const std::vector<std::string>& names, const GpioRequestSettings& settings)
{
    constexpr int otherDevice = -18;
    release();
    std::string chip;
    std::vector<unsigned int> offsets;
    for (const std::string& name : names)
    {
        std::string found;
        unsigned int offset = 0;
        int result = gpio_find_line(name, found, offset);
        if (result == 0 && !chip.empty() && found != chip)
            result = otherDevice;
        if (result != 0)
            return refused("GPIO line " + name, "/dev", result);
        chip = found;
        offsets.push_back(offset);
    }
    return request(chip, offsets, settings);
}

int CGpioRequest::reconfigure(const GpioRequestSettings& settings)
{
    if (!isSound(settings))
        return invalidArgument;
    if (!isRequested())
        return badDescriptor;
    gpio_v2_line_config config = configOf(settings, d->all());
    return gpioCall(d->lines, GPIO_V2_LINE_SET_CONFIG_IOCTL, config);
}

void CGpioRequest::release()
{
    d->lines = CDescriptor();
    d->offsets.clear();
}

bool CGpioRequest::isRequested() const { return d->lines.isOpen(); }

const std::vector<unsigned int>& CGpioRequest::offsets() const { return d->offsets; }

int CGpioRequest::read(std::uint64_t& values) const
{
    if (!isRequested())
        return badDescriptor;
    gpio_v2_line_values answer = {};
    answer.mask = d->all();
    const int result = gpioCall(d->lines, GPIO_V2_LINE_GET_VALUES_IOCTL, answer);
    if (result == 0)
        values = answer.bits & answer.mask;
    return result;
}

int CGpioRequest::readLine(unsigned int index) const
{
    if (!isRequested())
        return badDescriptor;
    if (index >= d->offsets.size())
        return invalidArgument;
    gpio_v2_line_values answer = {};
    answer.mask = std::uint64_t{1} << index;
    const int result = gpioCall(d->lines, GPIO_V2_LINE_GET_VALUES_IOCTL, answer);
    return result != 0 ? result : (answer.bits & answer.mask) != 0 ? 1 : 0;
}

int CGpioRequest::write(std::uint64_t values, std::uint64_t mask)
{
    if (!isRequested())
        return badDescriptor;
    gpio_v2_line_values wanted = {};
    wanted.mask = mask & d->all();
    wanted.bits = values & wanted.mask;
    return wanted.mask == 0 ? 0 : gpioCall(d->lines, GPIO_V2_LINE_SET_VALUES_IOCTL, wanted);
}

int CGpioRequest::writeLine(unsigned int index, ePinValue value)
{
    if (isRequested() && index >= d->offsets.size())
        return invalidArgument;
    return write(value != PinValueLow ? ~std::uint64_t{0} : 0, isRequested() ? std::uint64_t{1} << index : 0);
}

int CGpioRequest::wait(int timeoutMs, GpioEdgeEvent& event)
{
    return wait(timeoutMs < 0 ? CDeadline::never() : CDeadline::in(std::chrono::milliseconds(timeoutMs)), event);
}

int CGpioRequest::wait(const CDeadline& deadline, GpioEdgeEvent& event)
{
    if (!isRequested() || !d->wake.isOpen())
        return badDescriptor;
    pollfd descriptors[] = {{d->wake.get(), POLLIN, 0}, {d->lines.get(), POLLIN, 0}};
    const int ready = Time::poll(descriptors, 2, deadline);
    if (ready < 0)
        return negatedErrno();
    if (d->wasInterrupted())
        return operationCanceled;
    return ready == 0 ? 0 : d->takeEvent(event);
}

void CGpioRequest::interrupt() { eventfd_write(d->wake.get(), 1); }

} // namespace Kiv
