/// The machine's GPIO chips and lines as the character device tells of them: what there is, and who holds it.
#ifndef KIV_GPIOCHIPS_H
#define KIV_GPIOCHIPS_H

#include <string>
#include <vector>

#include <kiv/kiv_export.h>
#include <kiv/linux_gpio.h>

/// Nothing here touches a line. Needs Linux 5.10, and the right to open /dev/gpiochip*.
///
/// A chip is called by its device ("/dev/gpiochip0", "gpiochip0") or by its label ("9030000.pl061"). Numbers of devices
/// move between kernels and starts, labels do not; of two chips with the same label the first one counts.
///
/// Results: 0 or a negated code, -19 for a chip that is not there; outputs stay as they were then. Nothing is printed
/// or logged. Threads: safe.
namespace Kiv
{

/// What pulls a line while nobody drives it.
enum eGpioBias : int
{
    GpioBiasAsIs = 0, ///< as it was; or unknown
    GpioBiasNone = 1,
    GpioBiasPullUp = 2,
    GpioBiasPullDown = 3
};

/// Which levels an output drives; the other one is left to a resistor.
enum eGpioDrive : int
{
    GpioDrivePushPull = 0,   ///< both
    GpioDriveOpenDrain = 1,  ///< low
    GpioDriveOpenSource = 2, ///< high
};

struct GpioChipInfo
{
    std::string path; ///< "/dev/gpiochip0"
    std::string label;
    unsigned int lineCount = 0;
};

struct GpioLineInfo
{
    unsigned int offset = 0;
    std::string name;     ///< as the board's description calls it; often empty
    std::string consumer; ///< who holds it, as the holder says; often empty for the kernel itself
    bool isHeld = false;  ///< by a driver, a request, or /sys/class/gpio ("sysfs")
    ePinDirection direction = PinDirectionInput;
    ePinMode mode = PinModeActiveHigh;
    eGpioBias bias = GpioBiasAsIs;
    eGpioDrive drive = GpioDrivePushPull;
    eGpioEdge edge = GpioEdgeNone; ///< that its holder waits for
    unsigned int debounceUs = 0;
};

/// All chips whose devices may be opened, by number. -2 or -13 if there is none and why; an empty machine is 0 and
/// empty.
KIV_API int gpio_chips(std::vector<GpioChipInfo>& chips);

/// One chip.
KIV_API int gpio_chip(const std::string& chip, GpioChipInfo& info);

/// One line of a chip; -22 beyond its lines.
KIV_API int gpio_line(const std::string& chip, unsigned int offset, GpioLineInfo& info);

/// Finds a line by its name on all chips: `chip` becomes its chip's device. -2 if no line is called so, -302 ("File
/// exists") if several are.
KIV_API int gpio_find_line(const std::string& name, std::string& chip, unsigned int& offset);

} // namespace Kiv

#endif
