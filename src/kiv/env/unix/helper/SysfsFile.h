/// One access to one sysfs file by raw system calls: a buffered writer would report success when the kernel refuses.
#ifndef KIV_SYSFSFILE_H
#define KIV_SYSFSFILE_H

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "kiv/env/unix/helper/SystemCall.h"

namespace Kiv
{

/// A path or a number as text: literals and integers, one behind the other. By hand, because formatting by printf(3)
/// takes a tenth of the time of a whole access.
class CSysfsText
{
public:
    template<class... Parts>
    explicit CSysfsText(const Parts&... parts)
    {
        static_assert((longest<Parts>() + ...) < sizeof text);
        (append(parts), ...);
        *end = '\0';
    }
    CSysfsText(const CSysfsText&) = delete;
    CSysfsText& operator=(const CSysfsText&) = delete;

    const char* c_str() const { return text; }
    std::size_t size() const { return static_cast<std::size_t>(end - text); }

private:
    template<class Part>
    static constexpr std::size_t longest()
    {
        return std::is_integral_v<Part> ? sizeof "-2147483648" - 1 : sizeof(Part) - 1;
    }

    template<std::size_t Size>
    void append(const char (&literal)[Size])
    {
        std::memcpy(end, literal, Size - 1);
        end += Size - 1;
    }

    void append(int number) { end = std::to_chars(end, text + sizeof text, number).ptr; }

    char text[64];
    char* end = text;
};

/// Reports the last failed system call on standard error; returns its negated code.
inline int reportErrno(const char* tag)
{
    const int code = negatedErrno();
    std::perror(tag);
    return code;
}

/// An open file of sysfs, closed at the end of its scope.
class CSysfsFile
{
public:
    CSysfsFile(const char* path, int flags) : descriptor(CDescriptor::open(path, flags)) {}

    bool isOpen() const { return descriptor.isOpen(); }

    bool write(const void* data, std::size_t size) const
    {
        return uninterrupted([&] { return ::write(descriptor.get(), data, size); }) >= 0;
    }

    /// The number of bytes, or -1.
    ssize_t read(void* buffer, std::size_t size) const
    {
        return uninterrupted([&] { return ::read(descriptor.get(), buffer, size); });
    }

private:
    const CDescriptor descriptor;
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
    const CSysfsText text(static_cast<int>(number));
    return writeSysfs(path, text.c_str(), text.size(), openTag, writeTag);
}

} // namespace Kiv

#endif
