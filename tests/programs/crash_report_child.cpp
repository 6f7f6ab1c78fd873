// Installs a crash report into the file of its first argument and crashes in the way that its second one names.

#include <kiv/CrashReport.h>
#include <kiv/Thread.h>
#include <kiv/TinySimpleFSM.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace
{

volatile int sink = 0;
std::string way;
std::atomic<bool> isUnwinding{false};
std::atomic<bool> isOtherCrashing{false};

// These fail on purpose and want the plain outcome, not a sanitizer's message.
#define FAILING __attribute__((noinline, no_sanitize("address", "undefined")))

FAILING void overflow_the_stack(int depth)
{
    volatile char room[4096];
    room[0] = static_cast<char>(depth);
    if (depth >= 0) // always: the compiler shall not know that it never ends
        overflow_the_stack(depth + 1);
    sink = sink + room[0];
}

FAILING void crash_here()
{
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
}

/// Breaks the heap's own records, so that the allocator finds out while it holds its lock.
FAILING void crash_in_malloc()
{
    auto* block = static_cast<char*>(std::malloc(2000));
    auto* next = static_cast<char*>(std::malloc(2000));
    std::memset(block, 0x7f, 2200); // beyond its end, over the head of the next one
    std::free(next);
    std::free(block);
    std::free(std::malloc(100000));
    std::abort();
}

class CCrashingAppender : public log4cplus::Appender
{
public:
    ~CCrashingAppender() override { destructorImpl(); }
    void close() override {}

protected:
    void append(const log4cplus::spi::InternalLoggingEvent&) override { crash_here(); }
};

void crashInTheLog()
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.addAppender(log4cplus::SharedAppenderPtr(new CCrashingAppender));
    LOG4CPLUS_ERROR(root, "never written");
}

/// Runs the crash on a machine's worker thread, after the machine has logged.
struct COnWorker : Kiv::CState
{
    COnWorker(Kiv::CState* parent, void (*function)()) : CState("Dying", parent), crash(function) {}
    void onProcessing() override { crash(); }
    void (*crash)();
};

void crashOnWorker(void (*crash)())
{
    Kiv::CStateMachine machine(Kiv::CStateMachine::ProcessingAsync);
    machine.setLogMessageCallback(cb::Callback1<void, const std::string&>([](const std::string&) {}));
    machine.setInitialState(new COnWorker(&machine, crash));
    machine.start();
    for (;;)
        Kiv::CThread::sleep(1000);
}

/// Crashes while the first thread's report is being written.
void crashBesideAnother()
{
    std::thread([] {
        while (!isUnwinding)
            usleep(1000);
        isOtherCrashing = true;
        std::abort();
    }).detach();
    crash_here();
}

bool isUnwoundForEver() { return way.rfind("endless", 0) == 0; }

/// What is to be so before the crash. False if it cannot be.
bool prepare(const std::string& path)
{
    if (way == "endless-blocked")
    {
        sigset_t alarms;
        sigemptyset(&alarms);
        sigaddset(&alarms, SIGALRM);
        pthread_sigmask(SIG_BLOCK, &alarms, nullptr);
    }
    else if (way == "file-size")
    {
        const rlimit limit{100, 100};
        return setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    else if (way == "terminal") // does not become the controlling one
        return open("/dev/tty", O_RDWR) < 0;
    else if (way == "reader-gone")
    {
        close(STDIN_FILENO);
        return access(path.c_str(), F_OK) == 0;
    }
    return true;
}

} // namespace

// Stand-ins for what the library calls: unwinding that never ends or meets another crash, and no thread to end it.

extern "C" int backtrace(void** addresses, int size)
{
    isUnwinding = isUnwinding || sink < 0;
    while (isUnwinding && isUnwoundForEver())
        pause();
    if (isUnwinding && way == "two")
    {
        while (!isOtherCrashing)
            usleep(1000);
        usleep(300000);
    }
    static const auto original = reinterpret_cast<int (*)(void**, int)>(dlsym(RTLD_NEXT, "backtrace"));
    return original(addresses, size);
}

extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...)
{
    if (way == "endless-without-thread")
        return -1;
    static const auto original =
        reinterpret_cast<int (*)(int (*)(void*), void*, int, void*, ...)>(dlsym(RTLD_NEXT, "__clone"));
    return original(function, stack, flags, argument);
}

int main(int argc, char** argv)
{
    way = argc > 2 ? argv[2] : "";
    if (way == "reader-gone") // the reader is there at installation
        dup2(open(argv[1], O_RDONLY | O_NONBLOCK), STDIN_FILENO);
    if (argc < 3 || Kiv::Diag::installCrashReport(argv[1]) != 0 || !prepare(argv[1]))
        return 2;
    sink = -1; // from now on stacks are unwound by a crash
    if (way == "stack")
        overflow_the_stack(0);
    else if (way == "malloc")
        crash_in_malloc();
    else if (way == "log")
        crashInTheLog();
    else if (way == "worker")
        crashOnWorker(crash_here);
    else if (way == "worker-stack")
        crashOnWorker([] { overflow_the_stack(1); });
    else if (way == "two")
        crashBesideAnother();
    else if (way == "abort")
        std::abort();
    else if (way == "throw")
        throw std::runtime_error("nobody catches this");
    else if (way == "raise")
        raise(SIGSEGV);
    else
        crash_here();
    return 0;
}
