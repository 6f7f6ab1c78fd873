/// One access to one sysfs file by raw system calls: a buffered writer would report success when the kernel refuses.
#ifndef KIV_SYSFSFILE_H
#define KIV_SYSFSFILE_H

#include <cerrno>
#include <cstddef>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include <kiv/errno_translation.h>

namespace Kiv
{

/// Room for any path below /sys/class/gpio and /sys/class/pwm that is made of 32-bit numbers.
constexpr std::size_t sysfsPathSize = 64;

/// Repeats a system call that a signal interrupted.
template<class Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// The negated code of the last failed system call.
inline int negatedErrno() { return -static_cast<int>(errnoToErrCode(errno)); }

/// Reports the last failed system call on standard error; returns its negated code.
inline int reportErrno(const char* tag)
{
    const int code = negatedErrno();
    std::perror(tag);
    return code;
}

/// An open file, closed at the end of its scope.
class CSysfsFile
{
public:
    CSysfsFile(const char* path, int flags) : descriptor(uninterrupted([&] { return ::open(path, flags | O_CLOEXEC); }))
    {}
    ~CSysfsFile()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    CSysfsFile(const CSysfsFile&) = delete;
    CSysfsFile& operator=(const CSysfsFile&) = delete;

    bool isOpen() const { return descriptor >= 0; }

    bool write(const void* data, std::size_t size) const
    {
        return uninterrupted([&] { return ::write(descriptor, data, size); }) >= 0;
    }

    /// The number of bytes, or -1.
    ssize_t read(void* buffer, std::size_t size) const
    {
        return uninterrupted([&] { return ::read(descriptor, buffer, size); });
    }

private:
    const int descriptor;
};

/// Writes `data` in one call. Failures are reported under `openTag` or `writeTag`.
inline int writeSysfs(const char* path, const void* data, std::size_t size, const char* openTag, const char* writeTag)
{
    const CSysfsFile file(path, O_WRONLY);
    if (!file.isOpen())
        return reportErrno(openTag);
    return file.write(data, size) ? 0 : reportErrno(writeTag);
}

/// Writes a number as decimal text, as %d does: without end, from 2^31 on as a negative number.
inline int writeSysfsNumber(const char* path, unsigned int number, const char* openTag, const char* writeTag)
{
    char text[16];
    const int length = std::snprintf(text, sizeof text, "%d", static_cast<int>(number));
    return writeSysfs(path, text, static_cast<std::size_t>(length), openTag, writeTag);
}

} // namespace Kiv

#endif
