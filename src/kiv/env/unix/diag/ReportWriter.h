/// Text and numbers to a file descriptor with nothing but write(2): for signal handlers.
#ifndef KIV_REPORTWRITER_H
#define KIV_REPORTWRITER_H

#include <cstddef>
#include <cstdint>
#include <ctime>

#include <unistd.h>

namespace Kiv
{
namespace Diag
{

/// Collects text in a buffer of its own; what does not reach the file is lost silently.
class CReportWriter
{
public:
    explicit CReportWriter(int fileDescriptor) : descriptor(fileDescriptor) {}
    ~CReportWriter() { flush(); }
    CReportWriter(const CReportWriter&) = delete;
    CReportWriter& operator=(const CReportWriter&) = delete;

    CReportWriter& text(const char* characters)
    {
        while (*characters != '\0')
            put(*characters++);
        return *this;
    }

    CReportWriter& decimal(std::uint64_t value, int minimalDigits = 1) { return number(value, 10, minimalDigits); }
    CReportWriter& hex(std::uint64_t value) { return text("0x").number(value, 16, 1); }

    CReportWriter& bytes(const unsigned char* data, std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i)
            number(data[i], 16, 2);
        return *this;
    }

    /// A time as "2026-11-21T08:30:00Z". The calendar of gmtime(3), which is not async-signal-safe: years begin in
    /// March here, so that the leap day comes last, and 400 years have 146,097 days.
    CReportWriter& utc(std::time_t time)
    {
        const auto seconds = static_cast<std::uint64_t>(time);
        const std::uint64_t days = seconds / 86400 + 719468; // since 0000-03-01
        const std::uint64_t era = days / 146097;
        const std::uint64_t dayOfEra = days % 146097;
        const std::uint64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
        const std::uint64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
        const std::uint64_t marchMonth = (5 * dayOfYear + 2) / 153;
        const std::uint64_t day = dayOfYear - (153 * marchMonth + 2) / 5 + 1;
        const std::uint64_t month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
        const std::uint64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
        decimal(year, 4).text("-").decimal(month, 2).text("-").decimal(day, 2).text("T");
        return decimal(seconds / 3600 % 24, 2)
            .text(":")
            .decimal(seconds / 60 % 60, 2)
            .text(":")
            .decimal(seconds % 60, 2)
            .text("Z");
    }

    void flush()
    {
        for (std::size_t done = 0; done < used;)
        {
            const ssize_t written = ::write(descriptor, buffer + done, used - done);
            if (written <= 0)
                break;
            done += static_cast<std::size_t>(written);
        }
        used = 0;
    }

private:
    void put(char character)
    {
        if (used == sizeof buffer)
            flush();
        buffer[used++] = character;
    }

    CReportWriter& number(std::uint64_t value, unsigned base, int minimalDigits)
    {
        char digits[20];
        int count = 0;
        for (; value != 0 || count < minimalDigits; value /= base)
            digits[count++] = "0123456789abcdef"[value % base];
        while (count > 0)
            put(digits[--count]);
        return *this;
    }

    const int descriptor;
    std::size_t used = 0;
    char buffer[512];
};

} // namespace Diag
} // namespace Kiv

#endif
