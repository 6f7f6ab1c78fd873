#include <kiv/FileStorage.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <istream>

#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>

#include <kiv/errno_translation.h>

namespace Kiv
{

namespace
{

constexpr ErrCode negated(ErrCode code) { return 0U - code; }

constexpr ErrCode noSuchEntity = negated(2);
constexpr ErrCode inputOutputError = negated(5);

/// As std::fstream, but programs that the controller starts do not inherit the file.
class CFileStream
{
public:
    std::iostream& stream() { return io; }
    bool isOpen() const { return buffer.is_open(); }

    /// Fails when a file is open already.
    void open(const std::string& path)
    {
        const int descriptor = isOpen() ? -1 : ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        if (descriptor < 0)
            return io.setstate(std::ios::failbit);
        buffer = Buffer(descriptor, std::ios::in | std::ios::out | std::ios::binary);
        io.clear();
    }

    void close()
    {
        if (buffer.close() == nullptr)
            io.setstate(std::ios::failbit);
    }

    /// As read() of the stream at that place: whatever cannot be read as a whole silences the stream. What waits to be
    /// written goes out first. Not through the stream's buffer, since a block would be read for a few bytes.
    void readAt(char* to, long length, long offset)
    {
        if (hasWritten)
            io.flush();
        hasWritten = false;
        for (long left = length; io.good() && left != 0;)
        {
            const ssize_t count = left > 0 ? ::pread(buffer.fd(), to, static_cast<std::size_t>(left), offset) : -1;
            if (count <= 0 && !(left > 0 && count < 0 && errno == EINTR))
                io.setstate(count == 0 ? std::ios::eofbit | std::ios::failbit : std::ios::failbit);
            else if (count > 0)
            {
                to += count;
                offset += count;
                left -= count;
            }
        }
    }

    /// As write() of the stream at that place.
    void writeAt(const char* from, long length, long offset)
    {
        hasWritten = true;
        io.seekp(offset);
        io.write(from, length);
    }

    /// 0 or an errno value.
    int sync() { return ::fsync(buffer.fd()) == 0 ? 0 : errno; }

private:
    using Buffer = __gnu_cxx::stdio_filebuf<char>;

    Buffer buffer;
    std::iostream io{&buffer};
    bool hasWritten = false; ///< since the stream was flushed last
};

} // namespace

class CFileStoragePrivate
{
public:
    explicit CFileStoragePrivate(int storageSize) : size(storageSize) {}

    CFileStream file;
    int size;
};

CFileStorage::CFileStorage(int size) : d(std::make_unique<CFileStoragePrivate>(size)) {}

CFileStorage::~CFileStorage() = default;

ErrCode CFileStorage::open(const std::string& path)
{
    // The lowest values: status_error and file_not_found.
    if (boost::filesystem::status(path).type() <= boost::filesystem::file_not_found)
        return noSuchEntity;
    d->file.open(path);
    return isOpen() ? 0 : inputOutputError;
}

ErrCode CFileStorage::read(char* buffer, long length, long offset)
{
    if (!isOpen())
        return inputOutputError;
    d->file.readAt(buffer, length, offset);
    return 0;
}

ErrCode CFileStorage::write(const char* buffer, long length, long offset)
{
    if (!isOpen())
        return inputOutputError;
    d->file.writeAt(buffer, length, offset);
    return 0;
}

void CFileStorage::close() { d->file.close(); }

void CFileStorage::erase()
{
    constexpr std::array<char, 4096> zeros{};
    const long size = d->size;
    for (long done = 0; done < size; done += static_cast<long>(zeros.size()))
        d->file.writeAt(zeros.data(), std::min(size - done, static_cast<long>(zeros.size())), done);
}

ErrCode CFileStorage::flush()
{
    if (!isGood() || !d->file.stream().flush())
        return inputOutputError;
    return negated(errnoToErrCode(d->file.sync()));
}

bool CFileStorage::isOpen() const { return d->file.isOpen(); }

bool CFileStorage::isGood() const { return isOpen() && d->file.stream().good(); }

} // namespace Kiv
