// Everything below "inside the handler" runs in a signal handler: async-signal-safe calls and static storage only.
// backtrace() belongs to them here: its first call, which loads a library, is made at installation, and the unwinder
// finds its tables without a lock (glibc 2.35 and later; with an older one the time limit is what ends a deadlock).
#include <kiv/CrashReport.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <kiv/errno_translation.h>

#include "kiv/env/unix/diag/CrashHooks.h"
#include "kiv/env/unix/diag/EndLimit.h"
#include "kiv/env/unix/diag/LoadedModules.h"
#include "kiv/env/unix/diag/LogRing.h"
#include "kiv/env/unix/diag/ReportFile.h"
#include "kiv/env/unix/diag/ReportWriter.h"

namespace Kiv
{
namespace Diag
{

namespace
{

struct Crash
{
    int number;
    const char* name;
};

constexpr Crash crashes[] = {{SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"},   {SIGILL, "SIGILL"},
                             {SIGFPE, "SIGFPE"},   {SIGABRT, "SIGABRT"}, {SIGSYS, "SIGSYS"}};

constexpr int maxFrames = 64;
constexpr std::size_t stackSize = std::size_t{64} * 1024;

std::atomic<int> reportFile{-1};
std::atomic<bool> reporting{false};
CReportFile kept;

/// What of a report is kept for the stack and the last lines when there are too many modules and mappings.
constexpr std::size_t stackRoom = 24576;

CEndLimit limit;
/// What the limit's thread needs: the file, 0 or the signal, and whether the last line is written.
int limitFile = -1;
int reportedSignal = 0;
bool isComplete = false;

// ---- at installation

/// The signal stack of one thread, for as long as the thread lives.
class CSignalStack
{
public:
    CSignalStack()
    {
        memory = mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        stack_t stack{};
        stack.ss_sp = memory;
        stack.ss_size = stackSize;
        usable = memory != MAP_FAILED && sigaltstack(&stack, &previous) == 0;
    }

    ~CSignalStack()
    {
        if (usable)
            sigaltstack(&previous, nullptr);
        if (memory != MAP_FAILED)
            munmap(memory, stackSize);
    }

    CSignalStack(const CSignalStack&) = delete;
    CSignalStack& operator=(const CSignalStack&) = delete;

    bool isUsable() const { return usable; }

private:
    void* memory = nullptr;
    stack_t previous{};
    bool usable = false;
};

// ---- inside the handler

const char* nameOf(int sig)
{
    const auto* crash =
        std::find_if(std::begin(crashes), std::end(crashes), [sig](const Crash& row) { return row.number == sig; });
    return crash == std::end(crashes) ? "?" : crash->name;
}

std::uintptr_t programCounter(const ucontext_t& context)
{
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return context.uc_mcontext.pc;
#else
    return 0;
#endif
}

void writeAddress(CReportWriter& out, std::uintptr_t address)
{
    out.text("  ").hex(address);
    if (const LoadedModule* module = CLoadedModules::find(address))
        out.text(" ").text(module->path).text(" +").hex(address - module->base);
    out.text("\n");
}

/// Tells one crash from another: the signal, and where in which modules its stack leads.
class CFingerprint
{
public:
    void add(std::uintptr_t address)
    {
        const LoadedModule* module = CLoadedModules::find(address);
        addNumber(module ? address - module->base : 0);
        for (const char* at = module ? module->path : ""; *at != '\0'; ++at)
            addNumber(static_cast<unsigned char>(*at));
    }
    void addNumber(std::uint64_t number) { value = (value ^ number) * 0x100000001b3; } // as in FNV-1a
    std::uint64_t number() const { return value; }

private:
    std::uint64_t value = 0xcbf29ce484222325;
};

void writeHead(CReportWriter& out, int sig, const siginfo_t& info, const ucontext_t& context, std::int64_t now)
{
    out.text(reportBegin).text("signal: ").decimal(static_cast<unsigned>(sig)).text(" ").text(nameOf(sig));
    out.text("\naddress: ").hex(reinterpret_cast<std::uintptr_t>(info.si_addr));
    out.text("\ntime: ").utc(now);
    out.text("\n").text(repeatedBegin).text("00000 times until ").utc(now);
    out.text("\nprocess: ").decimal(static_cast<std::uint64_t>(getpid()));
    out.text("\nthread: ").decimal(static_cast<std::uint64_t>(syscall(SYS_gettid)));
    out.text("\nprogram counter:\n");
    writeAddress(out, programCounter(context));
}

void writeLog(CReportWriter& out)
{
    out.text("state machine log:\n");
    stateMachineLog().forEach([&out](const char* line) { out.text("  ").text(line).text("\n"); });
}

void writeModules(CReportWriter& out)
{
    out.text("modules:\n");
    for (const LoadedModule& module : CLoadedModules::all())
    {
        if (out.size() + stackRoom > kept.room())
            break;
        out.text("  ").hex(module.begin).text("-").hex(module.end).text(" build-id ");
        out.bytes(module.buildId, module.buildIdSize).text(" ").text(module.path).text("\n");
    }
    out.text("maps:\n");
    const int maps = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    char chunk[512];
    for (ssize_t got = 0; maps >= 0 && (got = read(maps, chunk, sizeof chunk)) > 0;)
    {
        if (out.size() + stackRoom > kept.room())
        {
            out.text("\n... and more\n");
            break;
        }
        out.text(chunk, static_cast<std::size_t>(got));
    }
    if (maps >= 0)
        close(maps);
}

void writeFrames(CReportWriter& out, CFingerprint& fingerprint)
{
    out.text("stack:\n");
    out.flush();
    void* addresses[maxFrames];
    const int frames = backtrace(addresses, maxFrames);
    for (int frame = 0; frame < frames; ++frame)
    {
        const auto address = reinterpret_cast<std::uintptr_t>(addresses[frame]);
        writeAddress(out, address);
        fingerprint.add(address);
    }
}

/// True for an instruction that fails again when the handler returns to it.
bool isFailedInstruction(int sig, const siginfo_t& info)
{
    return info.si_code > 0 && (sig == SIGSEGV || sig == SIGBUS || sig == SIGILL || sig == SIGFPE);
}

/// The signal's default action, once the handler has returned and the signal is no longer blocked. All six get it: who
/// survives the first one may not end up here again.
void takeDefaultAction(int sig, const siginfo_t& info)
{
    for (const Crash& crash : crashes)
        std::signal(crash.number, SIG_DFL);
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), sig);
    // Process 1 of a system or container survives every default action but that of an instruction that failed.
    if (getpid() == 1 && !isFailedInstruction(sig, info))
        _exit(128 + sig);
}

/// Ends the process by the reported signal's default action, with a core dump, or with the status that a shell shows.
KIV_BARE void endAtLimit()
{
    static const char lastWords[] = "  given up\n=== end ===\n";
    static const unsigned long defaultAction[16] = {};
    if (!__atomic_load_n(&isComplete, __ATOMIC_ACQUIRE))
        syscall(SYS_write, limitFile, lastWords, sizeof lastWords - 1);
    const int sig = __atomic_load_n(&reportedSignal, __ATOMIC_ACQUIRE);
    const std::uint64_t set = std::uint64_t{1} << (sig - 1);
    syscall(SYS_rt_sigaction, sig, defaultAction, nullptr, sizeof set);
    syscall(SYS_rt_sigprocmask, SIG_UNBLOCK, &set, nullptr, sizeof set);
    syscall(SYS_tgkill, syscall(SYS_getpid), syscall(SYS_gettid), sig);
    syscall(SYS_exit_group, 128 + sig);
}

void onCrash(int sig, siginfo_t* info, void* context)
{
    while (reporting.exchange(true)) // another thread reports and ends the process
        pause();
    limitFile = reportFile;
    __atomic_store_n(&reportedSignal, sig, __ATOMIC_RELEASE);
    limit.start(endAtLimit);
    // Writing to a pipe that nobody reads or beyond a limit on the size of files shall not end the process first.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    CFingerprint fingerprint;
    fingerprint.addNumber(static_cast<unsigned>(sig));
    kept.begin(reportFile);
    {
        CReportWriter out(reportFile);
        writeHead(out, sig, *info, *static_cast<const ucontext_t*>(context), now.tv_sec);
        writeLog(out);
        writeModules(out);
        writeFrames(out, fingerprint);
        out.text(fingerprintBegin).hexDigits(fingerprint.number()).text("\n=== end ===\n");
    }
    kept.end(reportFile, fingerprint.number(), now.tv_sec);
    __atomic_store_n(&isComplete, true, __ATOMIC_RELEASE);
    takeDefaultAction(sig, *info);
}

void handleCrashes()
{
    struct sigaction action
    {};
    action.sa_sigaction = onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const Crash& crash : crashes)
        sigaddset(&action.sa_mask, crash.number);
    sigaddset(&action.sa_mask, SIGTTOU); // writing from the background of a terminal does not stop the process
    for (const Crash& crash : crashes)
        sigaction(crash.number, &action, nullptr);
}

} // namespace

CLogRing& stateMachineLog()
{
    static CLogRing ring;
    return ring;
}

int installCrashReport(const std::string& path) { return installCrashReport(path, CrashReportLimits()); }

int installCrashReport(const std::string& path, const CrashReportLimits& limits)
{
    kept.prepare(path, limits);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
    if (file < 0)
        return -static_cast<int>(errnoToErrCode(errno));
    const int previous = reportFile.exchange(file);
    if (previous >= 0)
        close(previous);
    CLoadedModules::takeDown();
    void* address = nullptr;
    backtrace(&address, 1);
    stateMachineLog();
    prepareThreadForCrashReport();
    handleCrashes();
    return 0;
}

bool prepareThreadForCrashReport()
{
    thread_local const CSignalStack stack;
    return stack.isUsable();
}

void prepareLibraryThread()
{
    if (reportFile.load(std::memory_order_relaxed) >= 0)
        prepareThreadForCrashReport();
}

} // namespace Diag
} // namespace Kiv
