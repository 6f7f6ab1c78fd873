// Ends in the way that its argument names, with the diagnostic signal handlers installed.

#include <kiv/diag.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <kiv/AlarmTimer.h>
#include <kiv/TinySimpleFSM.h>

// What the handler does on purpose and ThreadSanitizer reports: it formats and allocates, and it lets exit() destroy
// log4cplus while other threads still log. The reports stay readable, but the status is the handler's.
extern "C" const char* __tsan_default_options() { return "report_signal_unsafe=0:atexit_sleep_ms=0:exitcode=1"; }

extern "C" __attribute__((noinline)) void fail_in_c(int sig)
{
    raise(sig);
    std::abort();
}

namespace
{

std::string way;
bool isReporting = false;

[[noreturn]] void waitForEver()
{
    for (;;)
        pause();
}

} // namespace

// Stand-ins for what the library calls. One waits as the demangler does when the signal interrupted the allocator; the
// other refuses the thread that would end this.

extern "C" char* __cxa_demangle(const char* name, char* text, std::size_t* size, int* status)
{
    if (isReporting && way == "demangling-hangs")
        waitForEver();
    static const auto original =
        reinterpret_cast<char* (*)(const char*, char*, std::size_t*, int*)>(dlsym(RTLD_NEXT, "__cxa_demangle"));
    return original(name, text, size, status);
}

extern "C" int __clone(int (*function)(void*), void* stack, int flags, void* argument, ...)
{
    if (way == "exit-hangs-signals-blocked-without-thread")
        return -1;
    static const auto original =
        reinterpret_cast<int (*)(int (*)(void*), void*, int, void*, ...)>(dlsym(RTLD_NEXT, "__clone"));
    return original(function, stack, flags, argument);
}

namespace
{

/// A machine that posts to itself for ever, on its worker thread.
struct CBusyMachine
{
    CBusyMachine() : machine(Kiv::CStateMachine::ProcessingAsync), state(new Kiv::CState("S", &machine))
    {
        machine.setInitialState(state);
        state->addEventTransitionTo(state, 1);
        state->sigEntered.connect(&poster, &CPoster::onEntered);
        machine.start();
        machine.postEvent(1);
    }

    struct CPoster : sigslot::has_slots<>
    {
        void onEntered(Kiv::CAbstractState* entered)
        {
            if (entered->machine())
                entered->machine()->postEvent(1);
        }
    } poster;
    Kiv::CStateMachine machine;
    Kiv::CState* state;
};

[[noreturn]] void crashUnderLoad()
{
    Kiv::Diag::init();
    static CBusyMachine* const busy = new CBusyMachine;
    static_cast<void>(busy);
    static Kiv::CAlarmTimer* const timers[] = {new Kiv::CAlarmTimer(1), new Kiv::CAlarmTimer(1)};
    for (Kiv::CAlarmTimer* timer : timers)
        timer->start();
    usleep(20000);
    raise(SIGSEGV);
    std::abort();
}

/// Signals with the allocator's or the stream's lock held, sooner or later.
[[noreturn]] void allocateAndPrint()
{
    const auto body = [] {
        for (unsigned round = 0;; ++round)
        {
            const std::string text(round % 5000, 'x');
            std::printf("%.10s\n", text.c_str());
        }
    };
    std::thread(body).detach();
    std::thread([] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr); // one of the others gets the signal
        usleep(20000 + 1000U * static_cast<unsigned>(getpid() % 20));
        kill(getpid(), SIGTERM);
    }).detach();
    for (;;)
        body();
}

/// Several threads fail at once while exit() never returns.
[[noreturn]] void failOnManyThreads()
{
    std::vector<std::thread> threads;
    for (const int sig : {SIGINT, SIGILL, SIGFPE, SIGSEGV, SIGTERM, SIGABRT})
        threads.emplace_back([sig] { raise(sig); });
    waitForEver();
}

/// Another thread holds the lock of standard output, as one does that is stuck in a write.
void blockStandardOutput()
{
    static std::atomic<bool> isHeld{false};
    std::thread([] {
        flockfile(stdout);
        isHeld = true;
        waitForEver();
    }).detach();
    while (!isHeld)
        usleep(1000);
}

/// From the background of a terminal that stops who writes there ("stty tostop").
int reportFromTheBackground()
{
    const int controller = posix_openpt(O_RDWR | O_NOCTTY);
    if (setsid() < 0 || grantpt(controller) != 0 || unlockpt(controller) != 0)
        return 2;
    const int terminal = open(ptsname(controller), O_RDWR);
    termios mode{};
    tcgetattr(terminal, &mode);
    mode.c_lflag |= TOSTOP;
    tcsetattr(terminal, TCSANOW, &mode);
    const pid_t background = fork();
    if (background == 0)
    {
        setpgid(0, 0);
        dup2(terminal, STDOUT_FILENO);
        Kiv::Diag::OnSignal(SIGTERM);
    }
    int status = 0;
    waitpid(background, &status, WUNTRACED);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 3;
}

void prepare()
{
    if (way.rfind("exit-hangs", 0) == 0)
        std::atexit(waitForEver);
    else
        std::atexit([] { static_cast<void>(!write(STDERR_FILENO, "goodbye\n", 8)); });
    if (way.rfind("exit-hangs-signals-blocked", 0) == 0)
    {
        std::atexit([] { kill(getpid(), SIGINT); }); // which nobody takes
        sigset_t all;
        sigfillset(&all);
        sigdelset(&all, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        std::signal(SIGALRM, SIG_IGN);
    }
    if (way == "file-size")
    {
        const rlimit limit{100, 100};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (way == "stuck-writer")
        blockStandardOutput();
}

} // namespace

int main(int argc, char** argv)
{
    way = argc > 1 ? argv[1] : "";
    const int sig = argc > 2 ? std::atoi(argv[2]) : std::atoi(way.c_str());
    Kiv::Diag::installDiagnosticSignalHandlers();
    prepare();
    isReporting = true;
    if (way == "load")
        crashUnderLoad();
    if (way == "call")
    {
        errno = ENOENT;
        Kiv::Diag::OnSignal(10);
    }
    if (way == "exit-handler-fails")
    {
        std::atexit([] { raise(SIGSEGV); });
        raise(SIGSEGV);
    }
    if (way == "allocate")
        allocateAndPrint();
    if (way == "exit-hangs-many-threads")
        failOnManyThreads();
    if (way == "background")
        _exit(reportFromTheBackground());
    if (way == "pending")
        std::printf("printed before, ");
    fail_in_c(sig);
}
