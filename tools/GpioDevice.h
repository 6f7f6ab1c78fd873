/// GPIO lines through the character device, for kernels without /sys/class/gpio.
#ifndef KIV_TOOLS_GPIODEVICE_H
#define KIV_TOOLS_GPIODEVICE_H

#include <string>
#include <vector>

#include <kiv/GpioRequest.h>

#include "GpioList.h"

namespace Tool
{

/// The machine has none of the old files.
bool usesGpioDevice();

/// A line as the user calls it: CHIP:OFFSET, where the chip is a label or gpiochipN, or the line's own name.
struct DeviceLine
{
    std::string name; ///< "line 9030000.pl061:3", for messages
    std::string chip;
    unsigned offset;
};

/// Ends the program for what is no line.
DeviceLine deviceLine(const std::string& text);

/// What the kernel tells of a line. Failures end the program.
Kiv::GpioLineInfo lineInfo(const DeviceLine& line);

/// Requests a line. Failures end the program; that somebody holds it is said with his name.
void requestLine(const DeviceLine& line, const Kiv::GpioRequestSettings& settings, Kiv::CGpioRequest& request);

/// A line's value; it is requested for that moment, with its direction as it is.
int deviceValue(const DeviceLine& line);

/// Makes a line an output of "0" or "1", or an input ("in").
void setDeviceLine(const DeviceLine& line, const std::string& state);

std::vector<ListedChip> deviceChips();

} // namespace Tool

#endif
