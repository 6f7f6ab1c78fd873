/// The file that crash reports are kept in: how much of it stays, and whether a crash is the last one again.
#ifndef KIV_REPORTFILE_H
#define KIV_REPORTFILE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/types.h>

#include <kiv/CrashReport.h>

namespace Kiv
{
namespace Diag
{

/// With this line a report begins.
constexpr char reportBegin[] = "=== crash report ===\n";
/// In its head stands how often the crash came again, in a field of fixed width, and until when.
constexpr char repeatedBegin[] = "repeated: ";
/// At its end stands what tells one crash from another, wherever the modules were loaded.
constexpr char fingerprintBegin[] = "fingerprint: 0x";

/// Before the crash: prepare(). Inside the handler: the rest, which calls async-signal-safe functions only.
///
/// Threads: prepare() by one at a time; the rest by the one that reports.
/// Errors: a file that cannot be read or shortened stays as it is, and every crash leaves a report.
class CReportFile
{
public:
    /// Drops the oldest reports of a regular file and remembers the last one.
    void prepare(const std::string& path, const CrashReportLimits& limits);

    /// How many bytes a report may have.
    std::size_t room() const { return reportRoom; }

    /// The report begins at the end of the file.
    void begin(int file);
    /// If the report that has just been written is of the same crash as the one before: takes it back and counts.
    void end(int file, std::uint64_t fingerprint, std::int64_t now);

private:
    void remember(const std::string& text, std::int64_t within);

    std::size_t reportRoom = 0;
    bool hasLast = false;
    std::uint64_t lastFingerprint = 0;
    off_t counterPlace = 0; ///< of the last report's field
    unsigned counted = 0;
    std::int64_t countUntil = 0; ///< a crash after this has a report of its own
    int counterFile = -1;        ///< not for appending
    off_t reportPlace = -1;
};

} // namespace Diag
} // namespace Kiv

#endif
