/// The set-up of logging, the shared diagnostic logger, and error messages on the standard streams.
#ifndef KIV_DIAG_H
#define KIV_DIAG_H

#include <string>

#include <log4cplus/logger.h>

#include <kiv/kiv_export.h>

/// An application calls init() once at its start, before other threads log; the library logs through diagLogger() and
/// the applications may do so too, with the macros of <log4cplus/loggingmacros.h>.
///
/// Where a log stands, because its pipe is full or its console stopped, everything waits that logs, except stop() and
/// destructors of timers and threads: their records are written when the log goes on, further ones are lost until
/// then, and so is one for which there is no thread or no memory.
///
/// exit() and the return from main() wait at most a second for records of the library that are in progress and one for
/// the locks of appenders, then log4cplus goes; static timers and threads are logged to their end before, later records
/// are dropped. If the log stands, the process ends without log4cplus's own end and what that may hold back: half a
/// second is left for standard streams, and the status is that of exit(). What the program logs on threads of its own
/// is its affair: it ends them first.
///
/// Threads: init(), initDefaultConfig() and initConfigFromFile() belong to the start of the program; all else is safe
/// from any thread.
/// Errors: only a configuration file can fail, by exception. Errors of the standard streams are ignored.
namespace Kiv
{
namespace Diag
{

/// With a path, initOrDefault() is the safe sibling: a file that is missing leaves no log at all here.
///
/// Sets the environment variables of <kiv/EnvVars.h>, then configures logging: from the log4cplus property file
/// `configPath`, or by default when the path is empty. Exceptions of initConfigFromFile() pass through.
KIV_API void init(const std::string& configPath = "");

/// As init(), but with the default configuration when the file is missing, cannot be read or makes log4cplus throw a
/// std::exception, and with a warning about that on "DiagLogger". True when the file is in force.
KIV_API bool initOrDefault(const std::string& configPath);

/// Ends what init() began. Does nothing at present: texts written so far are not held back.
KIV_API void finish();

/// Lets the logger "DiagLogger" write everything to standard output. Does nothing when a logger of that name exists
/// already: neither a configuration from a file nor an earlier call is ever overwritten.
///
/// No other logger gets an appender: what alarm timers log on "AlarmTimerLogger" is dropped in silence; what a program
/// logs elsewhere is dropped, and log4cplus complains once on standard error. A property file with a root appender, or
/// log4cplus::NullAppender for what is not wanted, keeps it quiet.
KIV_API void initDefaultConfig();

/// Resets log4cplus's default hierarchy and configures it from a property file; may be repeated.
///
/// "DiagLogger" is the shared logger afterwards, as the file configures it or plain if the file does not name it. A
/// missing or unreadable file is no failure: log4cplus then configures nothing, and "DiagLogger" has no appender.
/// When log4cplus throws, the default configuration is installed, an error is logged on the root logger, and the same
/// exception reaches the caller.
KIV_API void initConfigFromFile(const std::string& configPath);

/// The shared logger itself: log4cplus's root logger before init(), "DiagLogger" from then on. The reference stays good
/// until the process ends.
KIV_API log4cplus::Logger& diagLogger();

/// Prints "Error 0000000d - Permission denied" and a line break to standard output, flushes it and returns `err`;
/// prints nothing for 0. `err` is an error code, plain or negated; it is shown as eight hexadecimal digits of what was
/// given.
KIV_API int stdOutPrintfError(int err);

/// The same on standard error.
KIV_API int stdErrPrintfError(int err);

/// printf to standard error, then flush. A null format prints nothing.
KIV_API void stdErrPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// From now on SIGINT, SIGILL, SIGFPE, SIGSEGV, SIGTERM and SIGABRT end the process with a report; see OnSignal().
/// Earlier handlers of these signals are not kept, other signals are not touched.
///
/// The handler demangles names and runs exit handlers, both of which allocate: complete is the report of a process
/// whose memory is sound and whose interrupted thread does not hold the allocator's lock. <kiv/CrashReport.h> has the
/// way that also completes when the heap is broken or a lock is held. The end comes within five seconds in any case.
KIV_API void installDiagnosticSignalHandlers();

/// The handler itself: prints "SIGNAL <number> - <what it means> in thread <kernel thread id>" and the calling thread's
/// stack to standard output, then, with the text of the current errno, to standard error, and ends the process with
/// exit(1), so that exit handlers and static destructors run. Never returns; may be called directly, with any number.
///
/// A function of an executable has a name in the report only if it is linked with -rdynamic (CMake: ENABLE_EXPORTS).
/// When several threads fail at once each gets its report; the first one ends the process. A failure while exit
/// handlers run is reported too and ends the process at once, with status 1. So does a second SIGINT or SIGTERM that
/// meets the thread which runs them.
///
/// Limits: five seconds after the first call the process ends with status 1, whatever its threads hold or wait for.
/// Exit handlers and static destructors that have not run by then are lost, and so is text that the stream has not
/// written; a report that is stuck is completed with mangled names. Time during which the process is stopped does not
/// count. A pipe, socket or terminal that takes nothing for a second gets no more of the report. Nobody has to read
/// either stream: SIGPIPE and SIGXFSZ get a handler that does nothing, and the status stays 1. Where the system refuses
/// a thread for the limit, SIGALRM and alarm(2) are taken for it.
[[noreturn]] KIV_API void OnSignal(int sig);

} // namespace Diag
} // namespace Kiv

#endif
