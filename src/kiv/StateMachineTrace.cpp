#include <kiv/StateMachineTrace.h>

#include <cerrno>
#include <cstdio>

#include <unistd.h>

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>
#include <kiv/errno_translation.h>

#include "kiv/machine/TraceRing.h"
#include "kiv/machine/TraceText.h"
#include "kiv/machine/TransitionText.h"
#include "kiv/time/TimeSource.h"

namespace Kiv
{

namespace
{

std::int64_t monotonicTime() { return Time::now(ClockMonotonic).count(); }

/// The calling thread's number in the kernel, which costs a system call only once.
int threadNumber()
{
    thread_local const int number = gettid();
    return number;
}

/// With what the name does not say: a time-out and a guard.
std::string nameOf(const CTransition& transition)
{
    std::string name = transition.name();
    if (const auto span = transition.timeout())
        name += (name.empty() ? "after " : ", after ") + durationText(*span);
    return withGuard(name, transition);
}

int write(const std::string& path, const std::string& content)
{
    std::FILE* const file = std::fopen(path.c_str(), "we");
    if (!file)
        return -static_cast<int>(errnoToErrCode(errno));
    const bool written =
        std::fwrite(content.data(), 1, content.size(), file) == content.size() && std::fflush(file) == 0;
    const int writeError = errno;
    const bool closed = std::fclose(file) == 0;
    if (written && closed)
        return 0;
    return -static_cast<int>(errnoToErrCode(written ? errno : writeError));
}

} // namespace

class CStateMachineTracePrivate : public sigslot::has_slots<>
{
public:
    CStateMachineTracePrivate(CStateMachine& machine, std::size_t capacity) : ring(capacity)
    {
        addGroup(&machine, 0);
        for (unsigned event = 0; event < 256; ++event)
            eventNames.push_back(machine.eventName(static_cast<unsigned char>(event)));
        machine.sigEventHandled.connect(this, &CStateMachineTracePrivate::onHandled);
        machine.sigEventDropped.connect(this, &CStateMachineTracePrivate::onEventDropped);
        machine.sigTransitionDropped.connect(this, &CStateMachineTracePrivate::onTransitionDropped);
    }

    ~CStateMachineTracePrivate() override { disconnect_all(); }

    std::vector<TraceRecord> told(const std::vector<RawTraceRecord>& records) const
    {
        std::vector<TraceRecord> result;
        result.reserve(records.size());
        for (const RawTraceRecord& raw : records)
            result.push_back({raw.time_ns, raw.threadId, raw.type, raw.eventNo,
                              raw.subject ? describe(subjects.at(raw.subject)) : std::string()});
        return result;
    }

    CTraceRing ring;
    TraceSubjects subjects;
    TraceEventNames eventNames;
    std::atomic<bool> recording{false};

private:
    void addGroup(CState* group, int track)
    {
        for (CAbstractState* child : group->children())
        {
            const bool isRegion = group->childMode() == CState::ChildModeParallel;
            const int childTrack = isRegion ? ++lastTrack : track;
            subjects[child] = {child->name(), child->path(), "", childTrack};
            child->sigEntered.connect(this, &CStateMachineTracePrivate::onEntered);
            child->sigExited.connect(this, &CStateMachineTracePrivate::onExited);
            if (child->stateType() == StateTypeState)
                addState(static_cast<CState*>(child), childTrack);
        }
    }

    void addState(CState* state, int track)
    {
        for (CTransition* transition : state->transitions())
        {
            const CAbstractState* const target = transition->target();
            subjects[transition] = {nameOf(*transition), state->path(), target ? target->path() : "nowhere"};
            transition->sigTriggered.connect(this, &CStateMachineTracePrivate::onFired);
        }
        addGroup(state, track);
    }

    void record(eTraceRecordType type, const void* subject, unsigned char eventNo = 0)
    {
        if (recording.load(std::memory_order_relaxed))
            ring.add({monotonicTime(), subject, threadNumber(), type, eventNo});
    }

    void onEntered(CAbstractState* state) { record(TraceStateEntered, state); }
    void onExited(CAbstractState* state) { record(TraceStateLeft, state); }
    void onFired(CTransition* transition) { record(TraceTransitionFired, transition); }
    void onHandled(unsigned char eventNo) { record(TraceEventHandled, nullptr, eventNo); }
    void onEventDropped(unsigned char eventNo) { record(TraceEventDropped, nullptr, eventNo); }

    void onTransitionDropped(CTransition* transition)
    {
        // It may have been added later than the trace.
        if (subjects.count(transition) != 0)
            record(TraceTransitionDropped, transition);
    }

    int lastTrack = 0;
};

CStateMachineTrace::CStateMachineTrace(CStateMachine& machine, std::size_t capacity)
    : d(std::make_unique<CStateMachineTracePrivate>(machine, capacity))
{}

CStateMachineTrace::~CStateMachineTrace() = default;

void CStateMachineTrace::start() { d->recording = true; }

void CStateMachineTrace::stop() { d->recording = false; }

bool CStateMachineTrace::isRecording() const { return d->recording; }

void CStateMachineTrace::clear() { d->ring.clear(); }

std::size_t CStateMachineTrace::capacity() const { return d->ring.capacity(); }

std::uint64_t CStateMachineTrace::lostRecords() const { return d->ring.lost(); }

std::vector<TraceRecord> CStateMachineTrace::records() const { return d->told(d->ring.records()); }

std::vector<TraceRecord> CStateMachineTrace::recordsSince(std::uint64_t& position, std::uint64_t& lost) const
{
    const std::uint64_t begin = position;
    std::vector<TraceRecord> result = d->told(d->ring.recordsFrom(position));
    lost = position - begin - result.size();
    return result;
}

std::string CStateMachineTrace::toText() const { return traceText(d->ring.records(), d->subjects, d->eventNames); }

std::string CStateMachineTrace::toChromeJson() const
{
    return traceChromeJson(d->ring.records(), d->subjects, d->eventNames, d->ring.lost());
}

int CStateMachineTrace::writeText(const std::string& path) const { return write(path, toText()); }

int CStateMachineTrace::writeChromeJson(const std::string& path) const { return write(path, toChromeJson()); }

} // namespace Kiv
