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
#include <link.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <kiv/errno_translation.h>

#include "LogRing.h"
#include "ReportWriter.h"

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
constexpr unsigned unwindLimitSeconds = 2;
constexpr std::size_t stackSize = std::size_t{64} * 1024;

/// One loaded file; the table is filled at installation and only read afterwards.
struct Module
{
    std::uintptr_t base;
    std::uintptr_t begin;
    std::uintptr_t end;
    unsigned char buildId[20];
    std::size_t buildIdSize;
    char path[256];
};

constexpr std::size_t maxModules = 128;
Module modules[maxModules];
std::size_t moduleCount = 0;
std::atomic<int> reportFile{-1};
std::atomic<bool> reporting{false};
std::atomic<int> reportedSignal{0};

// ---- at installation

void findBuildId(Module& module, const char* note, std::size_t size)
{
    while (size >= sizeof(ElfW(Nhdr)))
    {
        ElfW(Nhdr) header;
        std::memcpy(&header, note, sizeof header);
        const std::size_t nameSize = (header.n_namesz + 3U) & ~3U;
        const std::size_t idSize = (header.n_descsz + 3U) & ~3U;
        if (sizeof header + nameSize + idSize > size)
            return;
        if (header.n_type == NT_GNU_BUILD_ID && header.n_descsz <= sizeof module.buildId)
        {
            module.buildIdSize = header.n_descsz;
            std::memcpy(module.buildId, note + sizeof header + nameSize, header.n_descsz);
            return;
        }
        note += sizeof header + nameSize + idSize;
        size -= sizeof header + nameSize + idSize;
    }
}

int addModule(dl_phdr_info* info, std::size_t, void*)
{
    if (moduleCount == maxModules)
        return 1;
    Module& module = modules[moduleCount];
    module = {};
    module.base = info->dlpi_addr;
    module.begin = UINTPTR_MAX;
    for (int i = 0; i < info->dlpi_phnum; ++i)
    {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        const std::uintptr_t address = info->dlpi_addr + segment.p_vaddr;
        if (segment.p_type == PT_LOAD)
        {
            module.begin = std::min(module.begin, address);
            module.end = std::max(module.end, address + segment.p_memsz);
        }
        else if (segment.p_type == PT_NOTE)
        {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader gives addresses as numbers
            findBuildId(module, reinterpret_cast<const char*>(address), segment.p_memsz);
        }
    }
    const bool isProgram = moduleCount == 0;
    if (isProgram)
        static_cast<void>(!readlink("/proc/self/exe", module.path, sizeof module.path - 1));
    else
        std::memcpy(module.path, info->dlpi_name, strnlen(info->dlpi_name, sizeof module.path - 1));
    ++moduleCount;
    return 0;
}

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
    for (std::size_t i = 0; i < moduleCount; ++i)
    {
        if (address >= modules[i].begin && address < modules[i].end)
        {
            out.text(" ").text(modules[i].path).text(" +").hex(address - modules[i].base);
            break;
        }
    }
    out.text("\n");
}

void writeHead(CReportWriter& out, int sig, const siginfo_t& info, const ucontext_t& context)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    out.text("=== crash report ===\nsignal: ").decimal(static_cast<unsigned>(sig)).text(" ").text(nameOf(sig));
    out.text("\naddress: ").hex(reinterpret_cast<std::uintptr_t>(info.si_addr));
    out.text("\ntime: ").utc(now.tv_sec);
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
    for (std::size_t i = 0; i < moduleCount; ++i)
    {
        const Module& module = modules[i];
        out.text("  ").hex(module.begin).text("-").hex(module.end).text(" build-id ");
        out.bytes(module.buildId, module.buildIdSize).text(" ").text(module.path).text("\n");
    }
    out.text("maps:\n");
    out.flush();
    const int maps = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    char chunk[512];
    for (ssize_t got = 0; maps >= 0 && (got = read(maps, chunk, sizeof chunk)) > 0;)
        static_cast<void>(!write(reportFile, chunk, static_cast<std::size_t>(got)));
    close(maps);
}

void writeFrames(CReportWriter& out)
{
    out.text("stack:\n");
    out.flush();
    void* addresses[maxFrames];
    const int frames = backtrace(addresses, maxFrames);
    for (int frame = 0; frame < frames; ++frame)
        writeAddress(out, reinterpret_cast<std::uintptr_t>(addresses[frame]));
}

/// The signal's default action, once the handler has returned and the signal is no longer blocked.
void takeDefaultAction(int sig)
{
    std::signal(sig, SIG_DFL);
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), sig);
}

void onUnwindLimit(int)
{
    CReportWriter(reportFile).text("  given up\n=== end ===\n");
    std::signal(reportedSignal, SIG_DFL);
    kill(getpid(), reportedSignal);
    // Should every thread have it blocked: as a shell shows the signal.
    _exit(128 + reportedSignal);
}

void limitUnwinding()
{
    struct sigaction action
    {};
    action.sa_handler = onUnwindLimit;
    action.sa_flags = SA_ONSTACK;
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarms;
    sigemptyset(&alarms);
    sigaddset(&alarms, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarms, nullptr);
    alarm(unwindLimitSeconds);
}

void onCrash(int sig, siginfo_t* info, void* context)
{
    while (reporting.exchange(true)) // another thread reports and ends the process
        pause();
    reportedSignal = sig;
    {
        CReportWriter out(reportFile);
        writeHead(out, sig, *info, *static_cast<const ucontext_t*>(context));
        writeLog(out);
        writeModules(out);
        limitUnwinding();
        writeFrames(out);
        out.text("=== end ===\n");
    }
    alarm(0);
    takeDefaultAction(sig);
}

void handleCrashes()
{
    struct sigaction action
    {};
    action.sa_sigaction = onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const Crash& crash : crashes)
        sigaddset(&action.sa_mask, crash.number);
    for (const Crash& crash : crashes)
        sigaction(crash.number, &action, nullptr);
}

} // namespace

CLogRing& stateMachineLog()
{
    static CLogRing ring;
    return ring;
}

int installCrashReport(const std::string& path)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file < 0)
        return -static_cast<int>(errnoToErrCode(errno));
    const int previous = reportFile.exchange(file);
    if (previous >= 0)
        close(previous);
    moduleCount = 0;
    dl_iterate_phdr(addModule, nullptr);
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
