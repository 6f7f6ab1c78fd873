/// The two records of an operating-hours counter in a file; private.
#ifndef KIV_HOURSFILE_H
#define KIV_HOURSFILE_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include <kiv/OperatingHours.h>

#include "kiv/env/unix/helper/SystemCall.h"

namespace Kiv
{

/// A record, in bytes: "KivHours", the version, the sequence number, the milliseconds, the starts, and two CRC-16 with
/// different polynomials over all that; little-endian.
struct HoursRecord
{
    static constexpr std::size_t size = 40;
    using Bytes = std::array<unsigned char, size>;

    std::uint32_t sequence = 0;
    OperatingHours hours;

    Bytes encoded() const;

    /// Nothing for what is no record, or a damaged one.
    static std::optional<HoursRecord> decoded(const Bytes& bytes);
};

/// A place is a block of its own, so that a write to one never touches the other.
///
/// Threads: one at a time.
/// Errors: 0 or a negated code.
class CHoursFile
{
public:
    CHoursFile(std::string filePath, unsigned counterNumber);

    /// Opens for writing, and makes the file; or for reading only.
    int open(bool isWritten);

    /// The newer of the two records, as it is then the base of the next write; zeros if nothing has been written yet.
    int read(OperatingHours& found);

    /// Nothing was in the file when it was read.
    bool isNew() const { return newest.sequence == 0; }

    /// Writes the older place and waits until the medium has it.
    int write(const OperatingHours& hours);

private:
    static constexpr std::int64_t blockSize = 4096;
    static constexpr std::uint32_t placeCount = 2;

    std::int64_t place(std::uint32_t sequence) const;

    const std::string path;
    const std::int64_t begin;
    CDescriptor file;
    HoursRecord newest;
};

} // namespace Kiv

#endif
