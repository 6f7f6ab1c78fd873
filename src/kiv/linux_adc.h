/// An analogue input that a Linux driver presents as a text file with one number.
#ifndef KIV_LINUX_ADC_H
#define KIV_LINUX_ADC_H

#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// Reads the input anew at every call; nothing is cached and nothing is scaled: the unit is the driver's.
///
/// Threads: reentrant; read() on one object is safe from any thread while nobody changes its path.
/// Errors: read() returns NaN; only the constructor logs, through Diag::diagLogger().
class KIV_API CLinuxPollingADC
{
public:
    /// Tries once to open the file and logs an error if that fails; the object is usable either way.
    explicit CLinuxPollingADC(const std::string& devicePath);

    /// From now on reads another file; checks and logs nothing.
    void setDevicePath(const std::string& devicePath);

    /// The number at the beginning of the file, with a decimal point whatever the process's locale; NaN if the file
    /// cannot be read or does not begin with a number within 255 bytes.
    float read() const;

private:
    std::string path;
};

} // namespace Kiv

#endif
