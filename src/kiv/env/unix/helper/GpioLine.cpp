#include <kiv/GpioLine.h>

#include <climits>
#include <string>

#include <kiv/sysfs_tools.h>

#include "kiv/env/unix/helper/SysfsTake.h"
#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

constexpr const char* gpioFolder = "/sys/class/gpio/";
constexpr const char* edgeWords[] = {"none", "rising", "falling", "both"};

bool isSound(const GpioLineSettings& wanted)
{
    const bool isOutput = wanted.direction == PinDirectionOutput;
    if (!isOutput && wanted.direction != PinDirectionInput)
        return false;
    if (wanted.first < GpioFirstLow || wanted.first > GpioFirstKept)
        return false;
    if (wanted.mode != PinModeActiveHigh && wanted.mode != PinModeActiveLow)
        return false;
    return wanted.edge >= GpioEdgeNone && wanted.edge <= (isOutput ? GpioEdgeNone : GpioEdgeBoth);
}

std::string hintOf(int result)
{
    if (result == resourceBusy)
        return "held by another";
    if (result == invalidArgument)
        return "there is no such line";
    return result == noSuchEntity ? "this kernel has no files for GPIO" : "";
}

} // namespace

class CGpioLinePrivate
{
public:
    std::string nameOfLine() const { return "GPIO line " + std::to_string(pin); }
    std::string path(const char* attribute) const
    {
        return gpioFolder + ("gpio" + std::to_string(pin)).append("/").append(attribute);
    }

    int obtain(const CAccessPatience& patience)
    {
        isAdopted = isThere(path(""));
        if (isAdopted)
            return 0;
        const std::string file = std::string(gpioFolder) + "export";
        const int result = untilAllowed(patience, [&] { return writeAttribute(file, std::to_string(pin)); });
        isAdopted = result == resourceBusy && isThere(path("")); // somebody was faster
        return result == 0 || isAdopted ? 0 : refused(nameOfLine(), file, result, hintOf(result));
    }

    int set(const CAccessPatience& patience, const char* attribute, const char* text) const
    {
        const std::string file = path(attribute);
        const int result = untilAllowed(patience, [&] { return writeAttribute(file, text); });
        return result == 0 ? 0 : refused(nameOfLine(), file, result);
    }

    /// The kernel takes levels here, whatever active_low says.
    int makeOutput(const CAccessPatience& patience, const GpioLineSettings& wanted) const
    {
        bool isHigh = (wanted.first == GpioFirstHigh) != (wanted.mode == PinModeActiveLow);
        if (wanted.first == GpioFirstKept)
        {
            std::string direction;
            std::string level;
            int result = readAttribute(path("direction"), direction);
            if (result == 0)
                result = readAttribute(path("value"), level);
            if (result != 0)
                return refused(nameOfLine(), path("value"), result);
            if (direction == "out")
                return 0;
            isHigh = (level != "0") != (wanted.mode == PinModeActiveLow);
        }
        return set(patience, "direction", isHigh ? "high" : "low");
    }

    /// The sense first: an edge goes by the logical value.
    int setUp(const CAccessPatience& patience, const GpioLineSettings& wanted)
    {
        int result = gpio_wait_access(pin, patience.left());
        if (result != 0)
            return refused(nameOfLine(), path("direction"), result);
        result = set(patience, "active_low", wanted.mode == PinModeActiveLow ? "1" : "0");
        const bool isOutput = wanted.direction == PinDirectionOutput;
        if (result == 0)
            result = isOutput ? makeOutput(patience, wanted) : set(patience, "direction", "in");
        if (result == 0 && !isOutput && hasEdges(wanted.edge))
            result = set(patience, "edge", edgeWords[wanted.edge]);
        if (result != 0)
            return result;
        value = CDescriptor::open(path("value").c_str(), O_RDWR);
        return value.isOpen() ? 0 : refused(nameOfLine(), path("value"), negatedErrno());
    }

    /// Lines without interrupt have no such file, which is no fault while none is wanted.
    bool hasEdges(eGpioEdge wanted) const { return wanted != GpioEdgeNone || isThere(path("edge")); }

    int giveBack() const { return writeAttribute(std::string(gpioFolder) + "unexport", std::to_string(pin)); }

    unsigned int pin = 0;
    bool isTaken = false;
    bool isAdopted = false;
    bool isReleased = false;
    CDescriptor value;
};

CGpioLine::CGpioLine() : d(std::make_unique<CGpioLinePrivate>()) {}

CGpioLine::~CGpioLine()
{
    if (d->isReleased)
        release();
}

int CGpioLine::take(unsigned int line, const GpioLineSettings& settings)
{
    if (d->isReleased)
        release();
    leave();
    if (line > INT_MAX || !isSound(settings))
        return invalidArgument;
    const CAccessPatience patience(settings.accessTimeoutMs);
    d->pin = line;
    int result = d->obtain(patience);
    if (result == 0)
    {
        result = d->setUp(patience, settings);
        if (result != 0 && !d->isAdopted)
            d->giveBack();
    }
    if (result != 0)
    {
        leave();
        return result;
    }
    d->isTaken = true;
    d->isReleased = settings.isReleased;
    return 0;
}

int CGpioLine::takeOn(const char* chipLabel, unsigned int offset, const GpioLineSettings& settings)
{
    const std::string chipName = std::string("GPIO chip ") + (chipLabel != nullptr ? chipLabel : "");
    const int base = gpio_chip_base(chipLabel);
    if (base < 0)
        return refused(chipName, gpioFolder, base, "");
    const std::string path = gpioFolder + ("gpiochip" + std::to_string(base)) + "/ngpio";
    std::string count;
    const int result = readAttribute(path, count);
    if (result != 0)
        return refused(chipName, path, result, "");
    if (offset >= std::strtoul(count.c_str(), nullptr, 10))
        return refused(chipName, path, invalidArgument, "there is no line " + std::to_string(offset));
    return take(static_cast<unsigned int>(base) + offset, settings);
}

int CGpioLine::release()
{
    const int result = d->isTaken ? d->giveBack() : badDescriptor;
    leave();
    return result;
}

void CGpioLine::leave() { *d = CGpioLinePrivate(); }

bool CGpioLine::isTaken() const { return d->isTaken; }

bool CGpioLine::isAdopted() const { return d->isAdopted; }

unsigned int CGpioLine::number() const { return d->pin; }

int CGpioLine::read() const
{
    char level = '\0';
    const ssize_t size = uninterrupted([&] { return ::pread(d->value.get(), &level, 1, 0); });
    return size < 0 ? negatedErrno() : level == '0' ? 0 : 1;
}

int CGpioLine::write(ePinValue value)
{
    const char* text = value == PinValueLow ? "0" : "1";
    const ssize_t size = uninterrupted([&] { return ::pwrite(d->value.get(), text, 1, 0); });
    return size < 0 ? negatedErrno() : 0;
}

int CGpioLine::toggle()
{
    const int value = read();
    return value < 0 ? value : write(value == 0 ? PinValueHigh : PinValueLow);
}

} // namespace Kiv
