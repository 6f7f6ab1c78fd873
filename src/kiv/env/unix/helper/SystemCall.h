/// System calls without their traps: repeated after a signal, failures as codes, and what was opened is closed again.
#ifndef KIV_SYSTEMCALL_H
#define KIV_SYSTEMCALL_H

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <kiv/errno_translation.h>

namespace Kiv
{

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

/// A file descriptor with one owner, who closes it. errno is left as it was, so that a failure can be told afterwards.
///
/// Threads: reentrant.
/// Errors: those of open() are in errno.
class CDescriptor
{
public:
    /// Takes over what a system call returned; a negative number stands for nothing.
    explicit CDescriptor(int ownedDescriptor = -1) : descriptor(ownedDescriptor) {}
    CDescriptor(CDescriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    CDescriptor& operator=(CDescriptor&& other) noexcept
    {
        const CDescriptor former(std::exchange(descriptor, -1));
        descriptor = std::exchange(other.descriptor, -1);
        return *this;
    }
    ~CDescriptor()
    {
        if (descriptor < 0)
            return;
        const int kept = errno;
        ::close(descriptor); // once, even when interrupted: Linux has closed it by then
        errno = kept;
    }

    /// No child process inherits it.
    static CDescriptor open(const char* path, int flags)
    {
        return CDescriptor(uninterrupted([&] { return ::open(path, flags | O_CLOEXEC); }));
    }

    bool isOpen() const { return descriptor >= 0; }
    /// -1 when nothing is open.
    int get() const { return descriptor; }
    /// Gives it to a caller who closes it.
    int release() { return std::exchange(descriptor, -1); }

private:
    int descriptor;
};

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A stream that is closed when its handle goes.
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

} // namespace Kiv

#endif
