#include "BoardWorld.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <kiv/ErrorToString.h>
#include <kiv/errno_translation.h>
#include <kiv/linux_pwm.h>
#include <kiv/sysfs_tools.h>

#include "Wiring.h"

namespace PumpStation
{

namespace
{

int failure(int error) { return -static_cast<int>(errnoToErrCode(error)); }

/// A file of the world, kept open.
class CWorldFile
{
public:
    explicit CWorldFile(const std::string& path, int flags = O_RDWR)
        : descriptor(open(path.c_str(), flags | O_CLOEXEC, 0666))
    {
        if (descriptor < 0)
            throw CWiringError(path + ": " + ErrorToString(errnoToErrCode(errno)));
    }

    CWorldFile(CWorldFile&& other) noexcept : descriptor(other.descriptor) { other.descriptor = -1; }
    CWorldFile& operator=(CWorldFile&&) = delete;

    ~CWorldFile()
    {
        if (descriptor >= 0)
            close(descriptor);
    }

    int write(const std::string& text) const
    {
        return pwrite(descriptor, text.data(), text.size(), 0) < 0 ? failure(errno) : 0;
    }

    int read(std::string& text) const
    {
        text.assign(32, '\0');
        const ssize_t size = pread(descriptor, text.data(), text.size(), 0);
        text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        return size < 0 ? failure(errno) : 0;
    }

private:
    int descriptor;
};

class CSimulatedWorld final : public IBoardWorld
{
public:
    explicit CSimulatedWorld(const BoardEnds& ends)
        : level(ends.levelInput), floatSwitch("/sys/class/sim/gpio/gpio" + std::to_string(ends.floatLine))
    {
        for (std::size_t pump = 0; pump < pumpCount; ++pump)
            speeds.emplace_back(
                "/sys/class/sim/pwm/pwmchip" + std::to_string(ends.pwmChip) + "/pwm" + std::to_string(pump), O_RDONLY);
    }

    int showLevel(int millimetres) override { return level.write(std::to_string(millimetres) + "\n"); }
    int showFloat(bool up) override { return floatSwitch.write(up ? "1" : "0"); }

    int readSpeed(std::size_t pump, int& percent) override
    {
        std::string fraction;
        const int result = speeds.at(pump).read(fraction);
        percent = static_cast<int>(std::lround(100 * std::strtod(fraction.c_str(), nullptr)));
        return result;
    }

private:
    CWorldFile level;
    CWorldFile floatSwitch;
    std::vector<CWorldFile> speeds;
};

/// A file stands for the analogue input. The line of the float switch becomes an output, whose level the controller
/// reads like an input's, and what reaches the pumps is what their channels are set to.
class CLoopbackWorld final : public IBoardWorld
{
public:
    explicit CLoopbackWorld(const BoardEnds& boardEnds)
        : ends(boardEnds), level(boardEnds.levelInput, O_RDWR | O_CREAT | O_TRUNC)
    {}

    /// Always four digits: what a longer number left behind would be read as well.
    int showLevel(int millimetres) override
    {
        const std::string digits = std::to_string(millimetres);
        return level.write(std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits + "\n");
    }

    int showFloat(bool up) override
    {
        return Kiv::gpio_set_output(ends.floatLine, up ? Kiv::PinValueHigh : Kiv::PinValueLow);
    }

    int readSpeed(std::size_t pump, int& percent) override
    {
        const auto channel = static_cast<unsigned char>(pump);
        unsigned dutyCycle = 0;
        bool on = false;
        int result = pwm_get_duty_cycle(ends.pwmChip, channel, dutyCycle);
        if (result == 0)
            result = pwm_get_enabled(ends.pwmChip, channel, on);
        percent = on ? static_cast<int>(dutyCycle / (ends.pwmPeriod / 100)) : 0;
        return result;
    }

private:
    BoardEnds ends;
    CWorldFile level;
};

} // namespace

std::unique_ptr<IBoardWorld> makeBoardWorld(eBoardWorld kind, const BoardEnds& ends)
{
    if (kind == BoardWorldLoopback)
        return std::make_unique<CLoopbackWorld>(ends);
    return std::make_unique<CSimulatedWorld>(ends);
}

} // namespace PumpStation
