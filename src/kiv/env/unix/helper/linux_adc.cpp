#include <kiv/linux_adc.h>

#include <charconv>
#include <cstdlib>
#include <limits>

#include <locale.h>

#include <kiv/diag.h>

#include "../diag/logging.h"
#include "SysfsFile.h"

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

/// As scanf's %f reads it. Whole numbers, which are what most drivers give, do without the slower strtof_l().
float numberAtTheBeginning(const char* text, const char* textEnd)
{
    int whole = 0;
    const auto [wholeEnd, error] = std::from_chars(text, textEnd, whole);
    if (error == std::errc() && (*wholeEnd == '\n' || *wholeEnd == '\0'))
        return static_cast<float>(whole);
    char* end = nullptr;
    const float value = strtof_l(text, &end, driversLocale());
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
