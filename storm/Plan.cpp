#include "Plan.h"

#include <algorithm>
#include <array>
#include <csignal>

#include "Dice.h"

namespace Storm
{

namespace
{

constexpr std::array<const char*, KindCount> kindNames{"life",   "nested",  "return", "exit", "leave",
                                                       "fail",   "crash",   "signal", "pipe", "threads",
                                                       "memory", "stopped", "init"};

constexpr std::array<const char*, 8> causeNames{"return", "exit",  "quick_exit", "_exit",
                                                "abort",  "throw", "fault",      "signal"};
constexpr std::array<const char*, 4> placeNames{"main", "hook", "handler", "body"};
constexpr std::array<const char*, 3> ownerNames{"main", "nobody", "static"};
constexpr std::array<const char*, 5> reportNames{"none", "signal", "crash", "crash-over-signal", "signal-over-crash"};
constexpr std::array<const char*, 5> loggingNames{"nobody", "default", "file", "full-fifo", "full-output"};

eReports anyReports(CDice& dice)
{
    return dice.oneOf({ReportsNone, ReportsSignal, ReportsCrash, ReportsCrashOverSignal, ReportsSignalOverCrash});
}

/// Whatever ends processes.
void rollCause(Plan& plan, CDice& dice)
{
    plan.cause = dice.oneOf({CauseReturn, CauseReturn, CauseExit, CauseQuickExit, CauseLeave, CauseAbort, CauseThrow,
                             CauseFault, CauseSignal});
    plan.place = dice.oneOf({PlaceMain, PlaceHook, PlaceHandler, PlaceBody});
}

void rollPipe(Plan& plan, CDice& dice)
{
    plan.logging = dice.oneOf({LoggingFullFifo, LoggingFullOutput});
    plan.cause = dice.oneOf({CauseLeave, CauseQuickExit, CauseSignal, CauseFault, CauseReturn, CauseExit});
    plan.signal = dice.oneOf({SIGTERM, SIGINT});
    plan.place =
        PlaceMain; // other threads may wait for their log records to be taken, and come to no end by themselves
    plan.reportStuck = dice.onceIn(2);
    if (plan.cause == CauseSignal)
        plan.reports = ReportsSignal;
    // The C library itself waits when it flushes standard output at a normal exit.
    if (plan.cause == CauseReturn || plan.cause == CauseExit)
        plan.logging = LoggingFullFifo;
}

void rollSignal(Plan& plan, CDice& dice)
{
    plan.cause = CauseSignal;
    plan.signal = dice.oneOf({SIGTERM, SIGTERM, SIGTERM, SIGINT});
    plan.reports = dice.oneOf({ReportsSignal, ReportsSignal, ReportsSignal, ReportsCrash, ReportsCrashOverSignal});
    plan.allocators = dice.below(4);
    plan.goesOn = dice.onceIn(2);
    plan.twice = dice.onceIn(4);
    plan.meanwhile = dice.onceIn(4);
    if (plan.meanwhile)
        plan.cause = dice.oneOf({CauseReturn, CauseExit});
}

void rollInit(Plan& plan, CDice& dice)
{
    rollCause(plan, dice);
    if (plan.cause == CauseSignal)
    {
        plan.signal = dice.oneOf({SIGTERM, SIGABRT, SIGSEGV});
        plan.reports = ReportsCrashOverSignal; // the kernel passes nothing else on to process 1
    }
}

void rollOfKind(Plan& plan, CDice& dice)
{
    switch (plan.kind)
    {
    case KindReturn:
        plan.cause = dice.oneOf({CauseReturn, CauseExit});
        plan.place = PlaceMain;
        plan.logging = dice.oneOf({LoggingFile, LoggingFile, LoggingFile, LoggingDefault});
        break;
    case KindExit:
        plan.cause = CauseExit;
        plan.place = dice.oneOf({PlaceHook, PlaceHandler, PlaceBody});
        break;
    case KindLeave:
        plan.cause = dice.oneOf({CauseQuickExit, CauseLeave});
        break;
    case KindFail:
        plan.cause = dice.oneOf({CauseAbort, CauseThrow});
        break;
    case KindCrash:
        plan.cause = dice.oneOf({CauseFault, CauseFault, CauseSignal});
        plan.signal = dice.oneOf({SIGSEGV, SIGABRT});
        break;
    case KindSignal:
        rollSignal(plan, dice);
        break;
    case KindPipe:
        rollPipe(plan, dice);
        break;
    case KindStopped:
        rollCause(plan, dice);
        plan.pulses = true;
        break;
    case KindInit:
        rollInit(plan, dice);
        break;
    default:
        plan.cause = CauseReturn;
    }
}

} // namespace

Plan makePlan(eKind kind, std::uint64_t seed)
{
    CDice dice(seed * KindCount + static_cast<unsigned>(kind));
    Plan plan;
    plan.kind = kind;
    plan.seed = seed;
    plan.owner = dice.oneOf({OwnerMain, OwnerNobody, OwnerStatic, OwnerStatic});
    plan.place = dice.oneOf({PlaceMain, PlaceHook, PlaceHandler, PlaceBody});
    plan.reports = anyReports(dice);
    plan.logging = dice.oneOf({LoggingNobody, LoggingDefault, LoggingFile});
    plan.status = dice.oneOf({0, 3, 42});
    plan.signal = dice.oneOf({SIGTERM, SIGINT, SIGSEGV, SIGABRT});
    plan.things = 1 + dice.below(4);
    plan.steps = dice.below(12);
    plan.allocators = dice.onceIn(2) ? dice.below(3) : 0;
    plan.goesOn = dice.onceIn(3);
    plan.nested = kind == KindNested || dice.onceIn(6);
    plan.slow = kind == KindNested || dice.onceIn(kind == KindLife ? 3 : 10);
    plan.lastWords = kind == KindLife && dice.onceIn(4);
    rollOfKind(plan, dice);
    if (plan.cause == CauseReturn || plan.cause == CauseSignal || plan.meanwhile)
        plan.place = PlaceMain;
    return plan;
}

std::string describe(const Plan& plan)
{
    std::string text =
        std::string(nameOf(plan.kind)) + " " + std::to_string(plan.seed) + ": " +
        causeNames[static_cast<unsigned>(plan.cause)] + " in " + placeNames[static_cast<unsigned>(plan.place)] +
        " of " + ownerNames[static_cast<unsigned>(plan.owner)] + ", status " + std::to_string(plan.status) +
        ", signal " + std::to_string(plan.signal) + ", reports " + reportNames[static_cast<unsigned>(plan.reports)] +
        ", logging " + loggingNames[static_cast<unsigned>(plan.logging)] + ", things " + std::to_string(plan.things) +
        ", steps " + std::to_string(plan.steps) + ", allocators " + std::to_string(plan.allocators);
    const auto add = [&text](bool is, const char* what) { text += is ? what : ""; };
    add(plan.twice, ", twice");
    add(plan.meanwhile, ", meanwhile");
    add(plan.goesOn, ", goes on");
    add(plan.slow, ", slow");
    add(plan.nested, ", nested");
    add(plan.pulses, ", pulses");
    add(plan.lastWords, ", last words");
    add(plan.reportStuck, ", report stuck");
    return text;
}

int signalOf(const Plan& plan)
{
    switch (plan.cause)
    {
    case CauseAbort:
    case CauseThrow:
        return SIGABRT;
    case CauseFault:
        return SIGSEGV;
    case CauseSignal:
        return plan.signal;
    default:
        return 0;
    }
}

bool meetsCrashReport(const Plan& plan, int signal)
{
    const bool installed = plan.reports == ReportsCrash || plan.reports == ReportsCrashOverSignal;
    return installed && signal != SIGTERM && signal != SIGINT;
}

bool meetsSignalReports(const Plan& plan, int signal)
{
    const bool installed = plan.reports != ReportsNone && plan.reports != ReportsCrash;
    return installed && !meetsCrashReport(plan, signal);
}

std::vector<int> rightEnds(const Plan& plan)
{
    std::vector<int> ends;
    if (!plan.fails())
        ends.push_back(plan.status);
    if (const int signal = plan.meanwhile ? plan.signal : signalOf(plan))
    {
        const bool isInit = plan.kind == KindInit; // a status is all that leaves its name space
        ends.push_back(meetsSignalReports(plan, signal) ? 1 : (isInit ? 128 : signalEnd) + signal);
        // abort() of a process 1 without handlers: the signal has no effect there, the C library's last way has
        if (isInit && signal == SIGABRT && !meetsSignalReports(plan, signal) && !meetsCrashReport(plan, signal))
            ends.push_back(128 + SIGSEGV);
    }
    return ends;
}

const char* nameOf(eKind kind) { return kindNames[static_cast<unsigned>(kind)]; }

std::optional<eKind> kindOf(const std::string& name)
{
    const auto* const found = std::find(kindNames.begin(), kindNames.end(), name);
    if (found == kindNames.end())
        return std::nullopt;
    return static_cast<eKind>(found - kindNames.begin());
}

} // namespace Storm
