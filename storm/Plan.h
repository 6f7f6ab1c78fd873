/// What one child of the storm does and how it has to end, made up from a kind and a seed.
#ifndef KIV_TESTS_STORM_PLAN_H
#define KIV_TESTS_STORM_PLAN_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Storm
{

enum eKind : int
{
    KindLife,    ///< starts, stops and destroys machines, timers and threads
    KindNested,  ///< the same from handlers, hooks and bodies that are terminated meanwhile
    KindReturn,  ///< returns from main, or exits there, while everything runs and logs
    KindExit,    ///< exits from a hook, a handler or a body
    KindLeave,   ///< quick_exit and _exit
    KindFail,    ///< abort and uncaught exceptions
    KindCrash,   ///< invalid accesses, and what kill -SEGV does
    KindSignal,  ///< is asked to end from outside
    KindPipe,    ///< logs, prints and reports where nobody reads
    KindThreads, ///< the system refuses threads
    KindMemory,  ///< the heap refuses memory
    KindStopped, ///< is stopped and continued meanwhile
    KindInit,    ///< is process 1
    KindCount
};

enum eReports : int
{
    ReportsNone,
    ReportsSignal,
    ReportsCrash,
    ReportsCrashOverSignal,
    ReportsSignalOverCrash
};

enum eLogging : int
{
    LoggingNobody,
    LoggingDefault,
    LoggingFile,
    LoggingFullFifo,
    LoggingFullOutput
};

enum eOwner : int
{
    OwnerMain,
    OwnerNobody,
    OwnerStatic
};

enum eCause : int
{
    CauseReturn,
    CauseExit,
    CauseQuickExit,
    CauseLeave,
    CauseAbort,
    CauseThrow,
    CauseFault,
    CauseSignal
};

enum ePlace : int
{
    PlaceMain,
    PlaceHook,
    PlaceHandler,
    PlaceBody
};

struct Plan
{
    eKind kind = KindLife;
    std::uint64_t seed = 0;
    eCause cause = CauseReturn;
    ePlace place = PlaceMain;
    eOwner owner = OwnerMain; ///< of what ends the process; the others have owners of their own
    eReports reports = ReportsNone;
    eLogging logging = LoggingNobody;
    int status = 0;           ///< of return and exit
    int signal = 0;           ///< that comes from outside
    bool twice = false;       ///< one more request to end, from outside
    bool meanwhile = false;   ///< the signal comes while the process exits by itself
    bool goesOn = false;      ///< the main thread works on until the end
    bool slow = false;        ///< some hooks, handlers and bodies take longer than a stop waits
    bool nested = false;      ///< some start and stop things of their own
    bool pulses = false;      ///< stopped and continued from outside
    bool lastWords = false;   ///< states ask for their machine while they are destroyed
    bool reportStuck = false; ///< the crash report goes to a full FIFO
    unsigned things = 0;
    unsigned steps = 0;
    unsigned allocators = 0;

    bool fails() const { return cause >= CauseAbort; }
};

Plan makePlan(eKind kind, std::uint64_t seed);

/// One line for people.
std::string describe(const Plan& plan);

/// The number of the signal that the process fails by, 0 if it ends by itself.
int signalOf(const Plan& plan);

/// The signal reports, not the crash report or the default action, are what the signal meets.
bool meetsSignalReports(const Plan& plan, int signal);

/// The crash report is what it meets.
bool meetsCrashReport(const Plan& plan, int signal);

/// All right ends: exit statuses, or 1000 plus the number of a signal that ended the process.
std::vector<int> rightEnds(const Plan& plan);

const char* nameOf(eKind kind);
std::optional<eKind> kindOf(const std::string& name);

constexpr int signalEnd = 1000;

/// The exit status of a child that could not do what its plan says on this machine.
constexpr int skippedStatus = 77;

} // namespace Storm

#endif
