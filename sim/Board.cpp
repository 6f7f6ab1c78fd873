#include "Board.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>

#include <fcntl.h>

#include "KernelText.h"

namespace Sim
{

namespace
{

constexpr std::size_t pageSize = 4096;
constexpr int mostLinks = 40;

bool isForReading(int flags) { return (flags & O_ACCMODE) != O_WRONLY; }

bool isForWriting(int flags) { return (flags & O_ACCMODE) != O_RDONLY; }

const char* accessWord(int flags) { return !isForWriting(flags) ? "r" : isForReading(flags) ? "rw" : "w"; }

/// Appends the names of a path in front of those in `rest`.
void prependNames(std::deque<std::string>& rest, const std::string& path)
{
    std::deque<std::string> names;
    for (std::size_t begin = 0; begin < path.size();)
    {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (end > begin)
            names.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    rest.insert(rest.begin(), names.begin(), names.end());
}

std::string fractionText(double fraction)
{
    char text[16];
    std::snprintf(text, sizeof text, "%.6f", fraction);
    return text;
}

/// What a file of the outer world does; it is readable or writable where there is something to do.
struct WorldFile
{
    CAttribute::Show show;
    CAttribute::Store store;
    std::function<void()> clear; ///< when it is opened with O_TRUNC
};

void addWorldFile(CFolder& folder, const std::string& name, const WorldFile& operations)
{
    const mode_t permissions = (operations.show ? 0444 : 0) | (operations.store ? 0200 : 0);
    const auto file = std::make_shared<CAttribute>(permissions, operations.show, operations.store);
    file->clear = operations.clear;
    file->isSilent = true;
    folder.add(name, file);
}

} // namespace

CBoard::CBoard(const BoardConfig& config) : kernel(config.kernel), adcAtPowerOn(config.adc)
{
    root = std::make_shared<CFolder>("");
    const auto sys = root->addFolder("sys");
    classFolder = sys->addFolder("class");
    deviceFolder = sys->addFolder("devices")->addFolder("platform");
    busFolder = sys->addFolder("bus");
    if (config.hasGpio)
        addGpio(config);
    if (config.hasPwm)
        addPwm(config);
    addWorld(config);
    if (config.hasAdc)
        addIio(config.iio);
}

void CBoard::addGpio(const BoardConfig& config)
{
    const auto folder = classFolder->addFolder("gpio");
    for (const GpioChipConfig& chip : config.gpio)
        gpioChips.emplace_back(chip, *folder, *deviceFolder);
    const auto store = [this](int (CGpioChip::*operation)(CGpioLine&)) {
        return [this, operation](std::string_view bytes) { return exportLine(bytes, operation); };
    };
    folder->add("export", std::make_shared<CAttribute>(0200, CAttribute::Show(), store(&CGpioChip::exportLine)));
    folder->add("unexport", std::make_shared<CAttribute>(0200, CAttribute::Show(), store(&CGpioChip::unexportLine)));
}

/// Kernels before 6.12 number a PWM chip after its first channel, counted over all chips.
void CBoard::addPwm(const BoardConfig& config)
{
    const auto folder = classFolder->addFolder("pwm");
    unsigned number = 0;
    for (const PwmChipConfig& chip : config.pwm)
    {
        pwmChips.emplace_back(number, chip, *folder, *deviceFolder);
        number += config.kernel == Kernel612 ? 1 : chip.channels;
    }
}

void CBoard::addWorld(const BoardConfig& config)
{
    const auto world = classFolder->addFolder("sim");
    const auto stateShown = shown([this] { return stateText(); });
    const auto faultsShown = shown([this] { return faults.text(); });
    const auto faultAdded = [this](std::string_view bytes) { return faults.add(bytes); };
    const auto journalShown = shown([this] { return journal.text(); });
    const auto refused = [](std::string_view) { return -EINVAL; };
    const auto boardReset = [this](std::string_view) {
        reset();
        return 0;
    };
    addWorldFile(*world, "state", {stateShown, {}, {}});
    addWorldFile(*world, "faults", {faultsShown, faultAdded, [this] { faults.clear(); }});
    addWorldFile(*world, "journal", {journalShown, refused, [this] { journal.clear(); }});
    addWorldFile(*world, "reset", {{}, boardReset, {}});
    addWorldLines(*world->addFolder("gpio"));
    addWorldChannels(*world->addFolder("pwm"));
    const auto inputs = world->addFolder("adc");
    for (const AdcConfig& input : config.adc)
        addAdcInput(*inputs, input);
}

void CBoard::addWorldLines(CFolder& folder)
{
    for (CGpioChip& chip : gpioChips)
        for (CGpioLine& line : chip.lines())
        {
            const auto levelShown = shown([&line] { return bitText(line.level()); });
            const auto driven = [&line](std::string_view bytes) { return line.drive(bytes); };
            addWorldFile(folder, "gpio" + std::to_string(line.number()), {levelShown, driven, {}});
        }
}

void CBoard::addWorldChannels(CFolder& folder)
{
    for (const CPwmChip& chip : pwmChips)
    {
        const auto channels = folder.addFolder("pwmchip" + std::to_string(chip.number()));
        for (std::size_t i = 0; i < chip.channels().size(); ++i)
        {
            const CPwmChannel& channel = chip.channels()[i];
            const auto dutyShown = shown([&channel] { return fractionText(channel.dutyFraction()) + "\n"; });
            addWorldFile(*channels, "pwm" + std::to_string(i), {dutyShown, {}, {}});
        }
    }
}

/// Reading gives what was written last, byte by byte.
void CBoard::addAdcInput(CFolder& folder, const AdcConfig& input)
{
    const auto text = std::make_shared<std::string>(input.text);
    adcTexts.emplace_back(input.name, text);
    const auto store = [text](std::string_view bytes) {
        *text = bytes;
        return 0;
    };
    const auto attribute = std::make_shared<CAttribute>(0644, shown([text] { return *text; }), store);
    attribute->clear = [text] { text->clear(); };
    folder.add(input.name, attribute);
}

/// The inputs once more, as the kernel's converters show themselves.
void CBoard::addIio(const IioConfig& config)
{
    const auto device = std::make_shared<CFolder>("/sys/bus/iio/devices/iio:device0");
    deviceFolder->addFolder(config.name)->add("iio:device0", device);
    device->add("name", constantAttribute(config.name + "\n"));
    device->add("in_voltage_scale", constantAttribute(config.scale + "\n"));
    if (!config.offset.empty())
        device->add("in_voltage_offset", constantAttribute(config.offset + "\n"));
    for (std::size_t i = 0; i < adcTexts.size(); ++i)
    {
        const auto raw = shown([text = adcTexts[i].second] { return *text; });
        device->add("in_voltage" + std::to_string(i) + "_raw", std::make_shared<CAttribute>(0444, raw));
    }
    const auto link = std::make_shared<CLink>("../../../devices/platform/" + config.name + "/iio:device0");
    busFolder->addFolder("iio")->addFolder("devices")->add("iio:device0", link);
}

/// As at power-on; files that are open are those of lines and channels that are gone.
void CBoard::reset()
{
    for (CGpioChip& chip : gpioChips)
        chip.reset();
    for (CPwmChip& chip : pwmChips)
        chip.reset();
    for (std::size_t i = 0; i < adcTexts.size(); ++i)
        *adcTexts[i].second = adcAtPowerOn[i].text;
    faults.clear();
    journal.clear();
}

int CBoard::exportLine(std::string_view bytes, int (CGpioChip::*operation)(CGpioLine&))
{
    using Limits = std::numeric_limits<std::int64_t>;
    std::int64_t number = 0;
    if (const int refusal = parseSigned(bytes, Limits::min(), Limits::max(), number))
        return refusal;
    for (CGpioChip& chip : gpioChips)
        if (CGpioLine* line = chip.findLine(number))
            return (chip.*operation)(*line);
    return -EINVAL;
}

std::shared_ptr<CNode> CBoard::find(const std::string& path) const
{
    std::deque<std::string> rest;
    prependNames(rest, path);
    std::vector<std::shared_ptr<CNode>> way = {root};
    for (int links = 0; !rest.empty();)
    {
        const std::string name = rest.front();
        rest.pop_front();
        if (name == "..")
        {
            if (way.size() > 1)
                way.pop_back();
            continue;
        }
        const auto folder = std::dynamic_pointer_cast<CFolder>(way.back());
        auto node = folder ? folder->find(name) : nullptr;
        if (!node)
            return nullptr;
        if (const auto link = std::dynamic_pointer_cast<CLink>(node))
        {
            if (++links > mostLinks)
                return nullptr;
            prependNames(rest, link->target());
            continue;
        }
        way.push_back(std::move(node));
    }
    return way.back();
}

int CBoard::list(const std::string& path, std::vector<std::string>& names) const
{
    names.clear();
    const auto node = find(path);
    const auto folder = std::dynamic_pointer_cast<CFolder>(node);
    if (!folder)
        return node ? -ENOTDIR : -ENOENT;
    for (const auto& [name, entry] : folder->entries())
        names.push_back(name);
    return 0;
}

int CBoard::open(const std::string& path, int flags, std::unique_ptr<COpenFile>& file)
{
    const auto node = find(path);
    if (!node)
        return (flags & O_CREAT) != 0 ? -EACCES : -ENOENT;
    const auto attribute = std::dynamic_pointer_cast<CAttribute>(node);
    return attribute ? open(attribute, flags, file) : -EISDIR;
}

int CBoard::open(const std::shared_ptr<CAttribute>& attribute, int flags, std::unique_ptr<COpenFile>& file)
{
    int result = 0;
    const bool isRefused = (isForReading(flags) && (attribute->mode & 0444) == 0) ||
                           (isForWriting(flags) && (attribute->mode & 0222) == 0);
    if (attribute->isRemoved())
        result = -ENODEV;
    else if (const int error = attribute->isSilent ? 0 : faults.count("open", attribute->path()))
        result = -error;
    else if (isRefused)
        result = -EACCES;
    if (!attribute->isSilent)
        journal.add("open", attribute->path(), accessWord(flags), result);
    if (result < 0)
        return result;
    if ((flags & O_TRUNC) != 0 && attribute->clear)
        attribute->clear();
    file = std::make_unique<COpenFile>(attribute);
    return 0;
}

int CBoard::read(COpenFile& file, std::size_t offset, std::size_t size, std::string& bytes)
{
    const CAttribute& attribute = file.attribute();
    if (attribute.isSilent)
        return file.read(offset, size, bytes);
    bytes.clear();
    const int error = faults.count("read", attribute.path());
    const int result = error != 0 ? -error : file.read(offset, size, bytes);
    journal.addBytes("read", attribute.path(), bytes, result);
    return result;
}

int CBoard::write(COpenFile& file, std::string_view bytes)
{
    bytes = bytes.substr(0, pageSize);
    const CAttribute& attribute = file.attribute();
    if (attribute.isSilent)
        return attribute.store(bytes);
    const int error = faults.count("write", attribute.path());
    const int result = error != 0 ? -error : attribute.store(bytes);
    journal.addBytes("write", attribute.path(), bytes, result);
    return result;
}

void CBoard::close(std::unique_ptr<COpenFile> file)
{
    if (!file->attribute().isSilent)
        journal.add("close", file->attribute().path(), "", 0);
}

/// One line for each thing on the board, its fields separated by tabs; the manual describes them.
std::string CBoard::stateText() const
{
    std::string text = std::string("kernel\t") + (kernel == Kernel612 ? "6.12" : "6.1") + "\n";
    for (const CGpioChip& chip : gpioChips)
        for (const CGpioLine& line : chip.lines())
            text += "gpio\t" + chip.label() + "\t" + std::to_string(line.number()) + "\t" + line.name() + "\t" +
                    (line.isHeld()       ? "held"
                     : line.isExported() ? "exported"
                                         : "free") +
                    "\t" + (line.isOutput() ? "out" : "in") + "\t" + bitText(line.level());
    for (const CPwmChip& chip : pwmChips)
        for (std::size_t i = 0; i < chip.channels().size(); ++i)
        {
            const CPwmChannel& channel = chip.channels()[i];
            text += "pwm\t" + chip.config().device + "\tpwmchip" + std::to_string(chip.number()) + "\tpwm" +
                    std::to_string(i) + "\t" + (channel.state().isEnabled ? "on" : "off") + "\t" +
                    fractionText(channel.dutyFraction()) + "\t" + std::to_string(channel.state().period) + "\t" +
                    (channel.state().isInversed ? "inversed" : "normal") + "\n";
        }
    for (const auto& [name, value] : adcTexts)
        text += "adc\t" + name + "\t" + value->substr(0, value->find('\n')) + "\n";
    return text;
}

} // namespace Sim
