/// A crash report for machines in the field: written to a file also when the heap is broken or a lock is held.
#ifndef KIV_CRASHREPORT_H
#define KIV_CRASHREPORT_H

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

/// Opens `path` for appending, creating it if need be, and installs the handlers. 0, or the negated error code of the
/// open, and then nothing is installed; a FIFO needs a reader at this time. Modules that are loaded afterwards stand in
/// the report without build-id. A second call changes the file.
KIV_API int installCrashReport(const std::string& path);

/// Gives the calling thread the stack that a report of its stack overflow needs. The library's own threads and the
/// caller of installCrashReport() have one; other threads call this at their start. False if the system refuses.
KIV_API bool prepareThreadForCrashReport();

} // namespace Diag
} // namespace Kiv

#endif
