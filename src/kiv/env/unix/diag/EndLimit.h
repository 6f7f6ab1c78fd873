/// What ends a process that does not come to its end: whatever its threads hold, block or wait for.
#ifndef KIV_ENDLIMIT_H
#define KIV_ENDLIMIT_H

#include <sys/types.h>

/// For functions that run on the limit's own thread. It has no thread-local storage of its own, so that not even a
/// sanitizer may look at it: such functions make system calls by syscall(2) and use the __atomic built-ins.
#define KIV_BARE __attribute__((noinline, no_sanitize("address", "thread", "undefined")))

namespace Kiv
{
namespace Diag
{

/// Calls a function five seconds after start(), on a kernel thread that was made for it in static storage: it needs no
/// lock, no memory and no signal, so none of these can hold it up. Time during which the process is stopped does not
/// count. Where the system refuses a thread, SIGALRM calls the function instead.
///
/// Threads: start() is async-signal-safe. An object stands in static storage and is never destroyed.
class CEndLimit
{
public:
    using End = void (*)();

    /// False if the limit runs in this process already: the first call counts. `end` is a KIV_BARE function that ends
    /// the process; its thread has all signals blocked.
    bool start(End end);

private:
    KIV_BARE static int waitAndEnd(void* limit);
    static void startAlarm(End end);

    End atEnd = nullptr;
    pid_t process = 0;
    alignas(16) char stack[16384] = {};
};

} // namespace Diag
} // namespace Kiv

#endif
