/// What stands on a board: its chips, their size and their manners, as board.ini describes them.
#ifndef KIV_SIM_BOARDCONFIG_H
#define KIV_SIM_BOARDCONFIG_H

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace Sim
{

/// Which kernel's answers are given where they differ; 5.10 answers as 6.1.
enum eKernel : int
{
    Kernel61,
    Kernel612
};

/// What a driver thinks of a period of 0 where the kernel lets it decide, which is on 6.12 while the channel is off.
enum ePwmDriver : int
{
    DriverSun5i,   ///< lives with it until a period is set, then refuses to go back
    DriverBcm2835, ///< refuses everything but what changes nothing
    DriverRk3288   ///< takes it
};

enum ePolarityChanges : int
{
    PolarityAlways,   ///< also while the channel is on
    PolarityDisabled, ///< -EBUSY while it is on
    PolarityNever     ///< -EINVAL
};

struct GpioChipConfig
{
    std::string label;
    std::string device;
    unsigned base = 0;
    unsigned lines = 8;
    std::vector<unsigned> held; ///< offsets of lines that belong to a driver
    std::vector<std::string> names;
};

/// Periods in nanoseconds.
struct PwmChipConfig
{
    std::string device;
    eKernel kernel = Kernel61;
    unsigned channels = 2;
    ePwmDriver driver = DriverSun5i;
    ePolarityChanges polarity = PolarityAlways;
    bool isPeriodShared = false;
    std::uint64_t minPeriod = 0;
    std::uint64_t maxPeriod = std::numeric_limits<std::uint64_t>::max();
    bool isRangeCheckedLate = false; ///< at enabling instead of at once
    std::uint64_t initialPeriod = 0;
    bool isInitiallyInversed = false;
};

struct AdcConfig
{
    std::string name;
    std::string text;
};

/// The ADC inputs as channels of an industrial I/O device.
struct IioConfig
{
    std::string name = "ads1015";
    std::string scale = "1"; ///< millivolts for each step, as the kernel shows it
    std::string offset;      ///< steps; without it there is no file
};

struct BoardConfig
{
    eKernel kernel = Kernel61;
    bool hasGpio = true;
    bool hasPwm = true;
    bool hasAdc = true;
    IioConfig iio;
    std::vector<GpioChipConfig> gpio;
    std::vector<PwmChipConfig> pwm;
    std::vector<AdcConfig> adc;
};

/// "board.ini: [gpio] lines=x: ...", fit to be shown as it is.
class CBoardConfigError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// 6.1's answers, eight lines, one PWM chip of two channels, two ADC inputs, which are also those of an IIO device.
BoardConfig defaultBoard();

/// The board of an INI file; what the file does not describe is as on the default board. Throws CBoardConfigError.
BoardConfig readBoard(const std::string& path);

} // namespace Sim

#endif
