#include <kiv/FileStorage.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>

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

/// The same file once more, because a stream does not tell its descriptor: fsync works on the file.
class CSyncDescriptor
{
public:
    CSyncDescriptor() = default;
    CSyncDescriptor(const CSyncDescriptor&) = delete;
    CSyncDescriptor& operator=(const CSyncDescriptor&) = delete;
    ~CSyncDescriptor() { close(); }

    void open(const std::string& path)
    {
        close();
        descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }

    void close()
    {
        if (descriptor >= 0)
            ::close(descriptor);
        descriptor = -1;
    }

    /// 0 or an errno value.
    int sync() const { return ::fsync(descriptor) == 0 ? 0 : errno; }

private:
    int descriptor = -1;
};

} // namespace

class CFileStoragePrivate
{
public:
    explicit CFileStoragePrivate(int storageSize) : size(storageSize) {}

    std::fstream stream;
    int size;
    CSyncDescriptor onDisk;
};

CFileStorage::CFileStorage(int size) : d(std::make_unique<CFileStoragePrivate>(size)) {}

CFileStorage::~CFileStorage() = default;

ErrCode CFileStorage::open(const std::string& path)
{
    // The lowest values: status_error and file_not_found.
    if (boost::filesystem::status(path).type() <= boost::filesystem::file_not_found)
        return noSuchEntity;
    const bool wasOpen = d->stream.is_open();
    d->stream.open(path, std::ios::in | std::ios::out | std::ios::binary);
    if (!d->stream.is_open())
        return inputOutputError;
    if (!wasOpen)
        d->onDisk.open(path);
    return 0;
}

ErrCode CFileStorage::read(char* buffer, long length, long offset)
{
    if (!isOpen())
        return inputOutputError;
    d->stream.seekp(offset);
    d->stream.read(buffer, length);
    return 0;
}

ErrCode CFileStorage::write(const char* buffer, long length, long offset)
{
    if (!isOpen())
        return inputOutputError;
    d->stream.seekp(offset);
    d->stream.write(buffer, length);
    return 0;
}

void CFileStorage::close()
{
    d->stream.close();
    d->onDisk.close();
}

void CFileStorage::erase()
{
    constexpr std::array<char, 4096> zeros{};
    d->stream.seekp(0);
    for (long left = d->size; left > 0; left -= static_cast<long>(zeros.size()))
        d->stream.write(zeros.data(), std::min(left, static_cast<long>(zeros.size())));
}

ErrCode CFileStorage::flush()
{
    if (!isGood() || !d->stream.flush())
        return inputOutputError;
    return negated(errnoToErrCode(d->onDisk.sync()));
}

bool CFileStorage::isOpen() const { return d->stream.is_open(); }

bool CFileStorage::isGood() const { return isOpen() && d->stream.good(); }

} // namespace Kiv
