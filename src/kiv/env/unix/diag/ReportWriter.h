/// Text and numbers to a file descriptor with nothing but system calls: for signal handlers.
#ifndef KIV_REPORTWRITER_H
#define KIV_REPORTWRITER_H

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Kiv
{
namespace Diag
{

/// Collects text in a buffer of its own; what does not reach the file is lost silently. A pipe or terminal without room
/// is waited for; after a second without progress all further text is dropped. The descriptor is non-blocking, or a
/// write may wait longer where room for a part of the buffer only is taken for room.
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

    CReportWriter& text(const char* characters, std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i)
            put(characters[i]);
        return *this;
    }

    CReportWriter& decimal(std::uint64_t value, int minimalDigits = 1) { return number(value, 10, minimalDigits); }
    CReportWriter& hex(std::uint64_t value) { return text("0x").hexDigits(value); }
    CReportWriter& hexDigits(std::uint64_t value) { return number(value, 16, 1); }

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
        for (std::size_t done = 0; done < used && waitForRoom();)
        {
            const ssize_t written = writeSome(buffer + done, used - done);
            if (written > 0)
            {
                done += static_cast<std::size_t>(written);
                patience = fullPatience;
            }
            else if (written == 0 || (errno != EINTR && errno != EAGAIN))
                patience = 0;
        }
        used = 0;
    }

    /// True as soon as something can be written or has failed, false if nothing was read for a second.
    bool waitForRoom()
    {
        while (patience > 0)
        {
            --patience; // also when there is room at once: a device may say so and take nothing
            pollfd state{descriptor, POLLOUT, 0};
            if (poll(&state, 1, stepMilliseconds) > 0)
                return true;
        }
        return false;
    }

    /// True if all that was flushed has been written.
    bool isComplete() const { return patience > 0; }

    /// All characters so far, also those that were lost.
    std::size_t size() const { return total; }

private:
    static constexpr int stepMilliseconds = 10;
    static constexpr int fullPatience = 1000 / stepMilliseconds;

    /// A socket is not waited for whether or not it is non-blocking.
    ssize_t writeSome(const char* from, std::size_t size) const
    {
        const ssize_t sent = send(descriptor, from, size, MSG_DONTWAIT | MSG_NOSIGNAL);
        return sent < 0 && errno == ENOTSOCK ? ::write(descriptor, from, size) : sent;
    }

    void put(char character)
    {
        if (used == sizeof buffer)
            flush();
        buffer[used++] = character;
        ++total;
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
    int patience = fullPatience;
    std::size_t used = 0;
    std::size_t total = 0;
    char buffer[512];
};

} // namespace Diag
} // namespace Kiv

#endif
