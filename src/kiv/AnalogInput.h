/// An analogue input of the kernel's industrial I/O system: readings in volts or in a person's unit, each one or a
/// code.
#ifndef KIV_ANALOGINPUT_H
#define KIV_ANALOGINPUT_H

#include <limits>
#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// What volts mean to a person, and which readings can be: reading = atZeroVolts + volts * perVolt.
struct AnalogUnit
{
    double perVolt = 1;                                        ///< how many of the unit a volt is
    double atZeroVolts = 0;                                    ///< in the unit
    double minimum = -std::numeric_limits<double>::infinity(); ///< of what is read, in the unit
    double maximum = std::numeric_limits<double>::infinity();  ///< the same
};

/// Reads the input anew at every call: the converter's number, and what the driver says of it.
///
/// The number stands in a file such as in_voltage0_raw. Beside it are a scale and perhaps an offset, the channel's own
/// (in_voltage0_scale) or those of all channels (in_voltage_scale): millivolts = (raw + offset) * scale (Linux ABI
/// testing/sysfs-bus-iio). A missing offset is 0.
///
/// Broken wires and cut supplies show as readings that cannot be: give the unit's range, and they are codes.
///
/// Threads: safe.
/// Errors: negated codes; the value stays as it was then. -31 for a text that is no finite number ("inf" and "nan" are
/// no readings), -34 outside the range, -2 for a file that is not there, or what the driver said. Nothing is logged.
class KIV_API CAnalogInput
{
public:
    /// By the file of the converter's number. Touches no hardware.
    explicit CAnalogInput(const std::string& rawPath);

    /// By the device's name, as it stands in /sys/bus/iio/devices/iio:deviceN/name: numbers of devices move between
    /// starts, names do not. A device that is not there makes an input whose readings are -2.
    CAnalogInput(const std::string& device, unsigned int channel);

    /// The file of the converter's number.
    const std::string& path() const;

    /// The converter's own number, not scaled.
    int readRaw(double& raw) const;
    int readVolts(double& volts) const;
    /// In a person's unit, within its range.
    int read(const AnalogUnit& unit, double& value) const;

private:
    KIV_LOCAL int readFactor(const char* what, double& factor) const;

    std::string rawFile;
};

} // namespace Kiv

#endif
