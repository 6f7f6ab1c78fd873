/// Records what a running state machine does, for a time line or a log.
#ifndef KIV_STATEMACHINETRACE_H
#define KIV_STATEMACHINETRACE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CStateMachine;
class CStateMachineTracePrivate;

/// What a record of a trace tells.
enum eTraceRecordType : unsigned char
{
    TraceStateEntered = 0,
    TraceStateLeft = 1,
    TraceTransitionFired = 2,
    TraceEventHandled = 3,     ///< it was about to fire its transitions
    TraceEventDropped = 4,     ///< the machine's queue was full
    TraceTransitionDropped = 5 ///< the same for a queued transition
};

/// One record of a trace.
struct TraceRecord
{
    std::int64_t time_ns;  ///< of CLOCK_MONOTONIC
    int threadId;          ///< the kernel's, of the thread on which it happened
    eTraceRecordType type; ///< what happened
    unsigned char eventNo; ///< for events
    std::string subject;   ///< the state's path, or "NAME: SOURCE -> TARGET" for transitions, those without a name
                           ///< "SOURCE -> TARGET"; empty for events
};

/// Keeps the last records of a machine in a ring: states entered and left, transitions fired, events handled and
/// dropped.
///
/// It listens to the machine's signals and changes nothing of what the machine does. All memory is allocated by the
/// constructor; a record takes no lock of its own and a few tens of nanoseconds, most of which reading the clock takes.
/// Switched off it costs the machine the empty call of a signal's receiver. History states, which are never left, are
/// not recorded. What the machine handles directly on two threads at once keeps its order by time.
///
/// Make it when the machine is built; states and transitions that are added later are not recorded. It starts switched
/// off. Machine and trace may be destroyed in any order: the trace keeps names of its own.
///
/// Threads: construction, like building the machine, before its start(). Everything else from any thread while the
/// machine runs. Destruction waits for receivers that are just at work.
/// Errors: construction throws std::bad_alloc, or std::length_error for a capacity that no machine has. What cannot be
/// kept is counted by lostRecords().
class KIV_API CStateMachineTrace
{
public:
    /// Room for at least `capacity` records of 32 bytes; it is rounded up to a power of two.
    explicit CStateMachineTrace(CStateMachine& machine, std::size_t capacity = 16384);
    ~CStateMachineTrace();
    CStateMachineTrace(const CStateMachineTrace&) = delete;
    CStateMachineTrace& operator=(const CStateMachineTrace&) = delete;

    /// Records from now on, behind what was recorded before.
    void start();

    /// Records nothing from now on; what was recorded stays.
    void stop();
    bool isRecording() const;

    /// Forgets what was recorded.
    void clear();

    /// For how many records there is room.
    std::size_t capacity() const;

    /// Records since the construction or clear() that are no longer there, because later ones took their place.
    std::uint64_t lostRecords() const;

    /// What is in the ring, ordered by time. Records that are made meanwhile may be in it or not.
    std::vector<TraceRecord> records() const;

    /// What was recorded since an earlier call, in the order of recording, for a reader that follows the machine.
    /// `position` is 0 at first and moves on; `lost` is how many were made meanwhile that are no longer there, or not
    /// yet complete.
    std::vector<TraceRecord> recordsSince(std::uint64_t& position, std::uint64_t& lost) const;

    /// The records as text, one line each: seconds of the monotonic clock, the thread in brackets, and what happened.
    std::string toText() const;

    /// The records as Chrome Trace Event JSON, which Perfetto and chrome://tracing show as a time line: states as bars,
    /// a track for each region of parallel groups, and transitions and events as marks on the thread's line. A state
    /// that was left but whose entry is lost begins with the first record; bytes that are not UTF-8 appear as U+FFFD.
    std::string toChromeJson() const;

    /// Write the same to a file, replacing it. 0, or a negated code if it cannot be created or written.
    int writeText(const std::string& path) const;
    int writeChromeJson(const std::string& path) const;

private:
    std::unique_ptr<CStateMachineTracePrivate> d;
};

} // namespace Kiv

#endif
