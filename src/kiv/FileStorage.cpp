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

    /// 0 or an errno value.
    int sync() { return ::fsync(buffer.fd()) == 0 ? 0 : errno; }

private:
    using Buffer = __gnu_cxx::stdio_filebuf<char>;

    Buffer buffer;
    std::iostream io{&buffer};
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
    d->file.stream().seekp(offset);
    d->file.stream().read(buffer, length);
    return 0;
}

ErrCode CFileStorage::write(const char* buffer, long length, long offset)
{
    if (!isOpen())
        return inputOutputError;
    d->file.stream().seekp(offset);
    d->file.stream().write(buffer, length);
    return 0;
}

void CFileStorage::close() { d->file.close(); }

void CFileStorage::erase()
{
    constexpr std::array<char, 4096> zeros{};
    d->file.stream().seekp(0);
    for (long left = d->size; left > 0; left -= static_cast<long>(zeros.size()))
        d->file.stream().write(zeros.data(), std::min(left, static_cast<long>(zeros.size())));
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
