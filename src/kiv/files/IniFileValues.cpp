#include <kiv/IniFile.h>

#include <array>
#include <cstdarg>

#include <locale.h>

#include <kiv/string_utility.h>

#include "kiv/files/IniModel.h"
#include "kiv/time/TimeSource.h"
#include "kiv/time/localtime.h"

namespace Kiv
{

namespace
{

/// Makes the C locale the calling thread's for as long as this object lives: a file must mean the same in any country.
class CCLocale
{
public:
    CCLocale() : previous(uselocale(cLocale())) {}
    ~CCLocale() { uselocale(previous); }
    CCLocale(const CCLocale&) = delete;
    CCLocale& operator=(const CCLocale&) = delete;

private:
    static locale_t cLocale()
    {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    locale_t previous;
};

/// sscanf in the C locale.
[[gnu::format(scanf, 2, 3)]] int scan(const std::string& text, const char* format, ...)
{
    const CCLocale scope;
    std::va_list fields;
    va_start(fields, format);
    const int converted = std::vsscanf(text.c_str(), format, fields);
    va_end(fields);
    return converted;
}

/// printf in the C locale; the first 63 characters of the result.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...)
{
    const CCLocale scope;
    std::array<char, 64> buffer{};
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, values);
    va_end(values);
    return buffer.data();
}

/// Adds as the machine does, also beyond the range of int.
int wrappingSum(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b)); }

bool scanInteger(const std::string& text, long& value)
{
    if (text.size() < 2 || text[0] != '0')
        return scan(text, "%ld", &value) == 1;
    unsigned long bits = 0;
    const int converted = text[1] == 'x' ? scan(text, "%lx", &bits) : scan(text, "%lo", &bits);
    value = static_cast<long>(bits);
    return converted == 1;
}

} // namespace

// The argument types below are the public interface's, copies included.
// NOLINTBEGIN(performance-unnecessary-value-param)

// ---- reads

long CIniFile::readInteger(std::string section, std::string key, long defaultValue) const
{
    const CIniKeyEntry* found = d->find(section, key);
    long value = 0;
    return found && scanInteger(std::string(found->value()), value) ? value : defaultValue;
}

bool CIniFile::readBool(std::string section, std::string key, bool defaultValue) const
{
    return readInteger(std::move(section), std::move(key), defaultValue ? 1 : 0) != 0;
}

double CIniFile::readFloat(std::string section, std::string key, double defaultValue) const
{
    const CIniKeyEntry* found = d->find(section, key);
    double value = 0;
    return found && scan(std::string(found->value()), "%lf", &value) == 1 ? value : defaultValue;
}

std::tm CIniFile::readDate(std::string section, std::string key, std::tm& defaultValue) const
{
    std::tm result = defaultValue;
    int month = 0;
    int day = 0;
    int year = 0;
    const CIniKeyEntry* found = d->find(section, key);
    if (!found || scan(std::string(found->value()), "%2d-%2d-%4d", &month, &day, &year) != 3)
        return result;
    result.tm_mon = month - 1;
    result.tm_mday = day;
    result.tm_year = year - 1900;
    return result;
}

std::tm CIniFile::readTime(std::string section, std::string key, std::tm& defaultValue) const
{
    std::tm result = defaultValue;
    int hour = 0;
    int minute = 0;
    char marker = 0;
    const CIniKeyEntry* found = d->find(section, key);
    if (!found || scan(std::string(found->value()), "%2d:%2d%c", &hour, &minute, &marker) != 3)
        return result;
    if (marker != 'A' && marker != 'P')
        return result;
    result.tm_hour = marker == 'P' ? hour + 12 : hour;
    result.tm_min = minute;
    return result;
}

void CIniFile::readString(const std::string& section, const std::string& key, const std::string& defaultValue,
                          std::string& result) const
{
    const CIniKeyEntry* found = d->find(section, key);
    if (found)
        result = found->value();
    else
        result = defaultValue;
}

int CIniFile::readBinaryData(const std::string& section, const std::string& key, unsigned char* buffer, int size) const
{
    const CIniKeyEntry* found = d->find(section, key);
    if (!found || !buffer || size < 1 || found->value().size() % 2 != 0)
        return 0;
    int stored = 0;
    bool isHigh = true;
    for (const char character : found->value())
    {
        const int digit = String::HexToInt(character);
        if (digit < 0)
            return 0;
        if (isHigh)
            buffer[stored] = static_cast<unsigned char>(digit * 16);
        else
            buffer[stored++] |= static_cast<unsigned char>(digit);
        isHigh = !isHigh;
        if (stored == size)
            break;
    }
    return stored;
}

// ---- writes

void CIniFile::writeKey(const std::string& section, const std::string& key, const std::string& value)
{
    CIniFileSection* target = findSection(section);
    if (!target)
        target = addSection(section, "");
    if (CIniFileKey* existing = target->findKey(key))
        existing->text = value;
    else
        target->addKey(key, value, "");
}

void CIniFile::writeString(const std::string& section, const std::string& key, const std::string& value)
{
    writeKey(section, key, value);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the caller's own format
void CIniFile::writeIntFormated(std::string& section, std::string& key, long value, const char* format)
{
    writeKey(section, key, format ? formatted(format, value) : std::string());
}
#pragma GCC diagnostic pop

void CIniFile::writeInteger(std::string section, std::string key, long value)
{
    writeIntFormated(section, key, value, "%ld");
}

void CIniFile::writeIntHex(std::string section, std::string key, long value)
{
    writeIntFormated(section, key, value, "0x%08lX");
}

void CIniFile::writeIntHex(std::string section, std::string key, int value)
{
    writeIntHex(std::move(section), std::move(key), static_cast<long>(value));
}

void CIniFile::writeIntHex(std::string section, std::string key, short value)
{
    writeKey(section, key, formatted("0x%04hX", static_cast<unsigned short>(value)));
}

void CIniFile::writeIntHex(std::string section, std::string key, char value)
{
    const char high = static_cast<char>(static_cast<unsigned char>(value) >> 4);
    writeKey(section, key, {'0', 'x', String::LNibbleToHex(high), String::LNibbleToHex(value)});
}

void CIniFile::writeIntOctal(std::string section, std::string key, long value)
{
    writeIntFormated(section, key, value, "%#lo");
}

void CIniFile::writeBool(std::string section, std::string key, bool value)
{
    writeInteger(std::move(section), std::move(key), value ? 1 : 0);
}

void CIniFile::writeFloat(std::string section, std::string key, double value)
{
    writeKey(section, key, formatted("%g", value));
}

void CIniFile::writeDate(std::string section, std::string key, std::tm& date)
{
    writeKey(section, key,
             formatted("%02d-%02d-%04d", wrappingSum(date.tm_mon, 1), date.tm_mday, wrappingSum(date.tm_year, 1900)));
}

void CIniFile::writeCurrentDate(std::string section, std::string key)
{
    std::tm now = localTime(Time::wallSeconds());
    writeDate(std::move(section), std::move(key), now);
}

void CIniFile::writeTime(std::string section, std::string key, std::tm& time)
{
    const bool isMorning = time.tm_hour < 12;
    if (!isMorning)
        time.tm_hour -= 12;
    writeKey(section, key, formatted("%02d:%02d%s", time.tm_hour, time.tm_min, isMorning ? "AM" : "PM"));
}

void CIniFile::writeCurrentTime(std::string section, std::string key)
{
    std::tm now = localTime(Time::wallSeconds());
    writeTime(std::move(section), std::move(key), now);
}

void CIniFile::writeBinaryData(const std::string& section, const std::string& key, const void* data, int size)
{
    std::string digits;
    const auto* byte = static_cast<const unsigned char*>(data);
    for (int i = 0; byte && i < size; ++i, ++byte)
    {
        digits += String::LNibbleToHex(static_cast<char>(*byte >> 4));
        digits += String::LNibbleToHex(static_cast<char>(*byte));
    }
    writeKey(section, key, digits);
}

// NOLINTEND(performance-unnecessary-value-param)

} // namespace Kiv
