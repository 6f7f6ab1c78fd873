// The JSON follows the document "Trace Event Format" of the Chromium project. States are nestable asynchronous events
// ("b" and "e"), as they begin and end on different threads and those of parallel regions overlap; everything else is
// an instant event ("i") of its thread.

#include "kiv/machine/TraceText.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <set>
#include <unordered_set>

#include <unistd.h>

#include "kiv/text/JsonText.h"

namespace Kiv
{

namespace
{

const char* verbOf(eTraceRecordType type)
{
    switch (type)
    {
    case TraceStateEntered:
        return "entered";
    case TraceStateLeft:
        return "left";
    case TraceTransitionFired:
        return "fired";
    case TraceEventHandled:
        return "event";
    case TraceEventDropped:
        return "dropped event";
    default:
        return "dropped";
    }
}

bool isOfState(eTraceRecordType type) { return type == TraceStateEntered || type == TraceStateLeft; }
bool isOfEvent(eTraceRecordType type) { return type == TraceEventHandled || type == TraceEventDropped; }
bool isDrop(eTraceRecordType type) { return type == TraceEventDropped || type == TraceTransitionDropped; }

/// "open (6)", or the number alone.
std::string nameOf(unsigned char eventNo, const TraceEventNames& names)
{
    const std::string number = std::to_string(eventNo);
    return names[eventNo].empty() ? number : names[eventNo] + " (" + number + ")";
}

class CChromeWriter
{
public:
    CChromeWriter(const std::vector<RawTraceRecord>& traceRecords, const TraceSubjects& traceSubjects,
                  const TraceEventNames& eventNames)
        : records(traceRecords), subjects(traceSubjects), names(eventNames), process(std::to_string(getpid()))
    {}

    std::string written(std::uint64_t lostRecords)
    {
        writeNames();
        writeLostEntries();
        for (const RawTraceRecord& record : records)
            if (record.type == TraceStateEntered)
                writeEntered(record);
            else if (record.type == TraceStateLeft)
                writeLeft(record);
            else
                writeMark(record);
        return "{\"displayTimeUnit\":\"ns\",\"otherData\":{\"clock\":\"CLOCK_MONOTONIC\",\"lostRecords\":\"" +
               std::to_string(lostRecords) + "\"},\"traceEvents\":[" + events + "\n]}\n";
    }

private:
    void add(const std::string& event) { events += (events.empty() ? "\n{" : ",\n{") + event + "}"; }

    std::string threadOf(int threadId) const { return "\"pid\":" + process + ",\"tid\":" + std::to_string(threadId); }

    /// Microseconds, with the nanoseconds behind the point.
    static std::string timeOf(std::int64_t time_ns)
    {
        char text[40];
        std::snprintf(text, sizeof text, "\"ts\":%" PRId64 ".%03d", time_ns / 1000, static_cast<int>(time_ns % 1000));
        return text;
    }

    void writeName(const char* what, int threadId, const std::string& name)
    {
        add("\"ph\":\"M\",\"name\":\"" + std::string(what) + "\"," + threadOf(threadId) +
            ",\"args\":{\"name\":" + jsonString(name) + "}");
    }

    void writeNames()
    {
        writeName("process_name", getpid(), program_invocation_short_name);
        std::set<int> threads;
        std::set<int> processing;
        for (const RawTraceRecord& record : records)
        {
            threads.insert(record.threadId);
            if (record.type == TraceEventHandled)
                processing.insert(record.threadId);
        }
        for (const int thread : threads)
            writeName("thread_name", thread, processing.count(thread) != 0 ? "processing thread" : "other thread");
    }

    /// Begins what is left later on without having been entered; the outermost was left last.
    void writeLostEntries()
    {
        std::unordered_set<const void*> seen;
        std::vector<const RawTraceRecord*> lost;
        for (const RawTraceRecord& record : records)
            if (isOfState(record.type) && seen.insert(record.subject).second && record.type == TraceStateLeft)
                lost.push_back(&record);
        for (auto record = lost.rbegin(); record != lost.rend(); ++record)
        {
            writeState(**record, "b", records.front().time_ns);
            open.insert((*record)->subject);
        }
    }

    /// A state may be entered anew without having been left, and left without being active: bars begin and end once.
    void writeEntered(const RawTraceRecord& record)
    {
        if (!open.insert(record.subject).second)
            writeState(record, "e", record.time_ns);
        writeState(record, "b", record.time_ns);
    }

    void writeLeft(const RawTraceRecord& record)
    {
        if (open.erase(record.subject) != 0)
            writeState(record, "e", record.time_ns);
    }

    void writeState(const RawTraceRecord& record, const char* phase, std::int64_t time_ns)
    {
        const TraceSubject& state = subjects.at(record.subject);
        add("\"ph\":\"" + std::string(phase) + "\",\"cat\":\"state\",\"id\":\"" + std::to_string(state.track) +
            "\",\"name\":" + jsonString(state.name) + "," + threadOf(record.threadId) + "," + timeOf(time_ns) +
            ",\"args\":{\"path\":" + jsonString(state.path) + "}");
    }

    void writeMark(const RawTraceRecord& record)
    {
        std::string name = "event " + nameOf(record.eventNo, names);
        std::string arguments = "\"event\":" + std::to_string(record.eventNo);
        if (!isOfEvent(record.type))
        {
            const TraceSubject& transition = subjects.at(record.subject);
            name = transition.name.empty() ? describe(transition) : transition.name;
            arguments = "\"from\":" + jsonString(transition.path) + ",\"to\":" + jsonString(transition.target);
        }
        const char* const category = isDrop(record.type) ? "dropped" : isOfEvent(record.type) ? "event" : "transition";
        add("\"ph\":\"i\",\"s\":\"t\",\"cat\":\"" + std::string(category) +
            "\",\"name\":" + jsonString((isDrop(record.type) ? "dropped " : "") + name) + "," +
            threadOf(record.threadId) + "," + timeOf(record.time_ns) + ",\"args\":{" + arguments + "}");
    }

    const std::vector<RawTraceRecord>& records;
    const TraceSubjects& subjects;
    const TraceEventNames& names;
    const std::string process;
    std::unordered_set<const void*> open; // states whose bar has begun
    std::string events;
};

} // namespace

std::string describe(const TraceSubject& subject)
{
    if (subject.target.empty())
        return subject.path;
    return (subject.name.empty() ? "" : subject.name + ": ") + subject.path + " -> " + subject.target;
}

std::string traceText(const std::vector<RawTraceRecord>& records, const TraceSubjects& subjects,
                      const TraceEventNames& names)
{
    std::string text;
    for (const RawTraceRecord& record : records)
    {
        char begin[64];
        std::snprintf(begin, sizeof begin, "%" PRId64 ".%09d [%d] %s ", record.time_ns / 1000000000,
                      static_cast<int>(record.time_ns % 1000000000), record.threadId, verbOf(record.type));
        const std::string what =
            isOfEvent(record.type) ? nameOf(record.eventNo, names) : describe(subjects.at(record.subject));
        text += begin + what + "\n";
    }
    return text;
}

std::string traceChromeJson(const std::vector<RawTraceRecord>& records, const TraceSubjects& subjects,
                            const TraceEventNames& names, std::uint64_t lostRecords)
{
    return CChromeWriter(records, subjects, names).written(lostRecords);
}

} // namespace Kiv
