#include "kiv/files/HoursFile.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <kiv/crc.h>

#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

namespace
{

constexpr char mark[] = {'K', 'i', 'v', 'H', 'o', 'u', 'r', 's'};
constexpr std::uint32_t version = 1;
constexpr std::size_t checkedSize = 36; // what the checksums are over

using Bytes = HoursRecord::Bytes;

template<class Number>
void put(Bytes& bytes, std::size_t at, Number number)
{
    for (std::size_t i = 0; i < sizeof number; ++i)
        bytes.at(at + i) = static_cast<unsigned char>(number >> (8 * i));
}

template<class Number>
Number get(const Bytes& bytes, std::size_t at)
{
    Number number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i)
        number = static_cast<Number>(number | static_cast<Number>(Number{bytes.at(at + i)} << (8 * i)));
    return number;
}

std::uint32_t checksum(const Bytes& bytes)
{
    const auto size = static_cast<int>(checkedSize);
    return std::uint32_t{simpleCRC16(bytes.data(), size, 0x11021)} << 16 | simpleCRC16(bytes.data(), size, 0x18005);
}

bool isBlank(const Bytes& bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte == 0; });
}

bool isMarked(const Bytes& bytes) { return std::memcmp(bytes.data(), mark, sizeof mark) == 0; }

/// What the file does not have is zero. 0 or a negated code.
int readBytes(int file, std::int64_t offset, Bytes& bytes)
{
    bytes.fill(0);
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const auto at = offset + static_cast<std::int64_t>(done);
        const ssize_t size = uninterrupted([&] { return pread(file, bytes.data() + done, bytes.size() - done, at); });
        if (size < 0)
            return negatedErrno();
        if (size == 0)
            return 0;
        done += static_cast<std::size_t>(size);
    }
    return 0;
}

int writeBytes(int file, std::int64_t offset, const Bytes& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const auto at = offset + static_cast<std::int64_t>(done);
        const ssize_t size = uninterrupted([&] { return pwrite(file, bytes.data() + done, bytes.size() - done, at); });
        if (size < 0)
            return negatedErrno();
        done += static_cast<std::size_t>(size);
    }
    return 0;
}

/// The name of a new file.
void flushFolderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const CDescriptor opened = CDescriptor::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (opened.isOpen())
        fsync(opened.get());
}

} // namespace

Bytes HoursRecord::encoded() const
{
    Bytes bytes{};
    std::copy(std::begin(mark), std::end(mark), bytes.begin());
    put(bytes, 8, version);
    put(bytes, 12, sequence);
    put(bytes, 16, static_cast<std::uint64_t>(hours.total.count()));
    put(bytes, 24, hours.starts);
    put(bytes, checkedSize, checksum(bytes));
    return bytes;
}

std::optional<HoursRecord> HoursRecord::decoded(const Bytes& bytes)
{
    if (!isMarked(bytes) || get<std::uint32_t>(bytes, 8) != version ||
        get<std::uint32_t>(bytes, checkedSize) != checksum(bytes))
        return std::nullopt;
    HoursRecord record;
    record.sequence = get<std::uint32_t>(bytes, 12);
    record.hours.total = std::chrono::milliseconds(static_cast<std::int64_t>(get<std::uint64_t>(bytes, 16)));
    record.hours.starts = get<std::uint64_t>(bytes, 24);
    return record;
}

CHoursFile::CHoursFile(std::string filePath, unsigned counterNumber)
    : path(std::move(filePath)), begin(std::int64_t{counterNumber} * placeCount * blockSize)
{}

int CHoursFile::open(bool isWritten)
{
    file = CDescriptor::open(path.c_str(), isWritten ? O_RDWR : O_RDONLY | O_NONBLOCK);
    if (file.isOpen() || !isWritten || errno != ENOENT)
        return file.isOpen() ? 0 : negatedErrno();
    file = CDescriptor(uninterrupted([this] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666); }));
    if (!file.isOpen())
        return negatedErrno();
    flushFolderOf(path);
    return 0;
}

std::int64_t CHoursFile::place(std::uint32_t sequence) const { return begin + sequence % placeCount * blockSize; }

int CHoursFile::read(OperatingHours& found)
{
    std::array<Bytes, placeCount> bytes{};
    for (std::uint32_t i = 0; i < placeCount; ++i)
        if (const int error = readBytes(file.get(), place(i), bytes.at(i)))
            return error;
    newest = {};
    for (const Bytes& one : bytes)
        if (const auto record = HoursRecord::decoded(one))
            // They follow each other, also across the end of 32 bits.
            if (newest.sequence == 0 || static_cast<std::int32_t>(record->sequence - newest.sequence) > 0)
                newest = *record;
    found = newest.hours;
    const bool isBlankFile = std::all_of(bytes.begin(), bytes.end(), isBlank);
    // A first save that was torn leaves a part of a record, and nothing in the other place.
    const bool isTornFirst = isBlank(bytes[0]) && isMarked(bytes[1]);
    return newest.sequence != 0 || isBlankFile || isTornFirst ? 0 : badMessage;
}

int CHoursFile::write(const OperatingHours& hours)
{
    HoursRecord next{newest.sequence + 1, hours};
    if (next.sequence == 0) // stands for nothing written
        next.sequence += placeCount;
    int error = writeBytes(file.get(), place(next.sequence), next.encoded());
    if (error == 0 && fdatasync(file.get()) != 0)
        error = negatedErrno();
    if (error == 0)
        newest = next;
    return error;
}

} // namespace Kiv
