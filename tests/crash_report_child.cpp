// Installs a crash report into the file of its first argument and crashes in the way that its second one names.

#include <kiv/CrashReport.h>
#include <kiv/Thread.h>
#include <kiv/TinySimpleFSM.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace
{

volatile int sink = 0;

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

} // namespace

int main(int argc, char** argv)
{
    const std::string way = argc > 2 ? argv[2] : "";
    if (argc < 3 || Kiv::Diag::installCrashReport(argv[1]) != 0)
        return 2;
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
    else
        crash_here();
    return 0;
}
