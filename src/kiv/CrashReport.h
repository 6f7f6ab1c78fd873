/// A crash report for machines in the field: written to a file also when the heap is broken or a lock is held.
#ifndef KIV_CRASHREPORT_H
#define KIV_CRASHREPORT_H

#include <cstddef>
#include <string>

#include <kiv/kiv_export.h>

/// After installCrashReport() a crash (SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS) appends a report to a file and
/// then takes the signal's default action, so that the exit status and a core dump are those of the crash.
///
/// The report is plain text: signal, time, process, thread, program counter, the last lines that state machines logged,
/// the loaded modules with their build-ids, and the addresses of the stack. `scripts/crash-names FILE` turns the
/// addresses into names, on any machine that has the same binaries with their symbols.
///
/// The handler calls nothing but async-signal-safe functions on a stack of its own and a file that was opened at
/// installation; the stack is unwound last. It takes the named signals over from installDiagnosticSignalHandlers() if
/// it is called after that, and the other way round. Use that one on the desk, where names at once are worth more than
/// certainty.
///
/// The file stays small: installCrashReport() drops the oldest reports, and a crash like the last one soon after it, as
/// in a program that is started again and again, leaves no report of its own but is counted in the last one's line
/// "repeated". CrashReportLimits says how much and how soon. A FIFO or terminal gets every report.
///
/// Limits: a report that is not complete after five seconds ends with "given up"; the signal's action comes all the
/// same. The file may be a FIFO, or a terminal, which does not become the controlling one: what nobody reads within a
/// second is lost, and so is what a limit on the size of files does not admit. SIGPIPE and SIGXFSZ are ignored
/// meanwhile. Process 1 of a system or container, which default actions do not end, ends with status 128 plus the
/// signal's number and leaves a core dump only of an instruction that failed.
///
/// Threads: call installCrashReport() once at the start of the program. One thread reports; others that crash meanwhile
/// wait for the end. Errors: results, as below.
namespace Kiv
{
namespace Diag
{

/// How much a file of crash reports may hold.
struct CrashReportLimits
{
    unsigned reports = 10;             ///< so many stay at installation; the next crash may add one
    std::size_t bytes = 262144;        ///< never more, at least 64 KiB: of a report, long lists of mappings are cut
    unsigned repeatedWithin = 60 * 60; ///< seconds from the last crash in which the same one is only counted; 0: never
};

/// Opens `path` for appending, creating it if need be, and installs the handlers. 0, or the negated error code of the
/// open, and then nothing is installed; a FIFO needs a reader at this time. Modules that are loaded afterwards stand in
/// the report without build-id. A second call changes the file. What is more than `limits` admit goes, the oldest
/// reports first; the file is replaced for that, as CFileEdit does it. A file that does not begin with a report is left
/// as it is.
KIV_API int installCrashReport(const std::string& path, const CrashReportLimits& limits);
/// With the limits as they stand above.
KIV_API int installCrashReport(const std::string& path);

/// Gives the calling thread the stack that a report of its stack overflow needs. The library's own threads and the
/// caller of installCrashReport() have one; other threads call this at their start. False if the system refuses.
KIV_API bool prepareThreadForCrashReport();

} // namespace Diag
} // namespace Kiv

#endif
