#include <kiv/linux_adc.h>

#include <charconv>
#include <cstdlib>
#include <limits>

#include <locale.h>

#include <kiv/diag.h>

#include "kiv/env/unix/diag/logging.h"
#include "kiv/env/unix/helper/SysfsFile.h"

namespace Kiv
{

namespace
{

constexpr const char* thisFile = "../../src/kiv/env/unix/helper/linux_adc";
constexpr int openCheckLine = 29;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/// The locale in which drivers write numbers. Never freed: threads may read while the program exits.
locale_t driversLocale()
{
    static locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return locale;
}

/// As scanf's %f reads it. std::from_chars() knows no locale and is several times as fast as strtof_l(), which has the
/// last word on whatever is not simply a number and a line break: blanks, signs, hexadecimal digits, units.
float numberAtTheBeginning(const char* text, const char* textEnd)
{
    float value = 0;
    const auto [numberEnd, error] = std::from_chars(text, textEnd, value);
    if (error == std::errc() && (*numberEnd == '\n' || *numberEnd == '\0'))
        return value;
    char* end = nullptr;
    value = strtof_l(text, &end, driversLocale());
    return end == text ? notANumber : value;
}

} // namespace

CLinuxPollingADC::CLinuxPollingADC(const std::string& devicePath) : path(devicePath)
{
    if (!CSysfsFile(path.c_str(), O_RDONLY).isOpen())
        Diag::logAt(Diag::diagLogger(), log4cplus::ERROR_LOG_LEVEL, {thisFile, openCheckLine, "CLinuxPollingADC"},
                    [this] { return Diag::formatted("Error opening ADC file %s", path.c_str()); });
}

void CLinuxPollingADC::setDevicePath(const std::string& devicePath) { path = devicePath; }

float CLinuxPollingADC::read() const
{
    char text[256];
    const CSysfsFile file(path.c_str(), O_RDONLY);
    const ssize_t length = file.isOpen() ? file.read(text, sizeof text - 1) : -1;
    if (length < 0)
        return notANumber;
    text[length] = '\0';
    return numberAtTheBeginning(text, text + length);
}

} // namespace Kiv
