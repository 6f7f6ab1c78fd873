#include <kiv/StateMachineTrace.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <map>
#include <new>
#include <optional>
#include <sstream>
#include <thread>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <kiv/TinySimpleFSM.h>

#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using Kiv::CState;
using Kiv::CStateMachine;
using Kiv::CStateMachineTrace;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

std::atomic<bool> countsAllocations{false};
std::atomic<int> allocations{0};

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (countsAllocations)
        ++allocations;
    return std::malloc(size);
}

[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (void* memory = operator new(size, std::nothrow))
        return memory;
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace
{

/// Event 1 goes from A to B and back in one region; the other stays in C.
struct CSubject
{
    explicit CSubject(CStateMachine::eProcessingType type = CStateMachine::ProcessingSync) : machine(type)
    {
        machine.setInitialState(work);
        work->setChildMode(CState::ChildModeParallel);
        left->setInitialState(a);
        right->setInitialState(c);
        b->addEventTransitionTo(a, 1, "back");
        a->addEventTransitionTo(b, 1, "on");
    }

    CStateMachine machine;
    CState* work = new CState("Work", &machine);
    CState* left = new CState("Left", work);
    CState* a = new CState("A", left);
    CState* b = new CState("B", left);
    CState* right = new CState("Right", work);
    CState* c = new CState("C", right);
};

std::string lineOf(const Kiv::TraceRecord& record)
{
    const char* const types[] = {"entered", "left", "fired", "event", "dropped event", "dropped"};
    return types[record.type] + std::string(" ") +
           (record.subject.empty() ? std::to_string(record.eventNo) : record.subject);
}

std::vector<std::string> linesOf(const CStateMachineTrace& trace)
{
    std::vector<std::string> lines;
    for (const Kiv::TraceRecord& record : trace.records())
        lines.push_back(lineOf(record));
    return lines;
}

std::string contentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/// The events of a trace in which every field that the format prescribes is there and has its type.
QJsonArray checkedEvents(const std::string& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(json), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString() << json;
    const QJsonObject trace = document.object();
    EXPECT_THAT(trace["displayTimeUnit"].toString().toStdString(), testing::AnyOf("ms", "ns"));
    EXPECT_TRUE(trace["otherData"].isObject());
    EXPECT_TRUE(trace["traceEvents"].isArray());
    const QJsonArray events = trace["traceEvents"].toArray();
    std::map<QString, QStringList> open; // bars of each track that have begun, innermost last
    for (const QJsonValue value : events)
    {
        const QJsonObject event = value.toObject();
        const QString phase = event["ph"].toString();
        EXPECT_TRUE(event["name"].isString() && event["args"].isObject());
        EXPECT_EQ(event["pid"].toInt(), getpid());
        EXPECT_GT(event["tid"].toInt(), 0);
        if (phase == "M")
        {
            EXPECT_THAT(event["name"].toString().toStdString(), testing::AnyOf("process_name", "thread_name"));
            EXPECT_TRUE(event["args"].toObject()["name"].isString());
            continue;
        }
        EXPECT_TRUE(event["ts"].isDouble() && event["ts"].toDouble() > 0);
        EXPECT_TRUE(event["cat"].isString());
        if (phase == "i")
        {
            EXPECT_EQ(event["s"].toString().toStdString(), "t");
            continue;
        }
        EXPECT_THAT(phase.toStdString(), testing::AnyOf("b", "e"));
        EXPECT_TRUE(event["id"].isString());
        QStringList& track = open[event["id"].toString()];
        if (phase == "b")
            track.append(event["name"].toString());
        else if (!track.isEmpty() && track.last() == event["name"].toString())
            track.removeLast();
        else
            ADD_FAILURE() << "an end that is not that of the innermost bar: " << event["name"].toString().toStdString();
    }
    return events;
}

std::size_t countOf(const QJsonArray& events, const char* phase, const char* name)
{
    std::size_t count = 0;
    for (const QJsonValue value : events)
        count += value.toObject()["ph"] == QLatin1String(phase) && value.toObject()["name"] == QString::fromUtf8(name);
    return count;
}

} // namespace

TEST(StateMachineTrace, RecordsWhatTheMachineDoesInOrder)
{
    CSubject subject;
    CStateMachineTrace trace(subject.machine);
    trace.start();
    subject.machine.start();
    EXPECT_THAT(linesOf(trace), ElementsAre("entered Work", "entered Work.Left", "entered Work.Left.A",
                                            "entered Work.Right", "entered Work.Right.C"));
    trace.clear();
    subject.machine.processEvent(1);
    subject.machine.processEvent(9);
    EXPECT_THAT(linesOf(trace), ElementsAre("event 1", "left Work.Left.A", "fired on: Work.Left.A -> Work.Left.B",
                                            "entered Work.Left.B", "event 9"));
    for (const Kiv::TraceRecord& record : trace.records())
    {
        EXPECT_EQ(record.threadId, gettid());
        EXPECT_GT(record.time_ns, 0);
    }
    EXPECT_EQ(trace.lostRecords(), 0U);
}

TEST(StateMachineTrace, TransitionsWithoutNameAreCalledByTheirStates)
{
    CSubject subject;
    subject.c->addEventTransitionTo(subject.c, 5);
    CStateMachineTrace trace(subject.machine);
    subject.machine.start();
    trace.start();
    subject.machine.processEvent(5);
    EXPECT_EQ(trace.records().at(2).subject, "Work.Right.C -> Work.Right.C");
    EXPECT_THAT(trace.toChromeJson(), HasSubstr("\"name\":\"Work.Right.C -> Work.Right.C\""));
}

TEST(StateMachineTrace, NamesEventsGuardsAndTimeouts)
{
    CSubject subject;
    subject.machine.setEventName(5, "\"again\"");
    subject.c->addEventTransitionTo(subject.c, 5, "redo")->setGuard("ready", [] { return true; });
    subject.c->addTimeoutTransitionTo(subject.c, std::chrono::seconds(0));
    CStateMachineTrace trace(subject.machine);
    subject.machine.start();
    trace.start();
    subject.machine.processEvent(5);
    EXPECT_THAT(trace.toText(), HasSubstr("] event \"again\" (5)\n"));
    EXPECT_THAT(trace.toChromeJson(), HasSubstr(R"x("name":"event \"again\" (5)")x"));
    EXPECT_EQ(trace.records().at(2).subject, "redo [ready]: Work.Right.C -> Work.Right.C");
    trace.clear();
    subject.machine.process();
    EXPECT_EQ(trace.records().at(1).subject, "after 0 ns: Work.Right.C -> Work.Right.C");
}

TEST(StateMachineTrace, SwitchesOnAndOff)
{
    CSubject subject;
    CStateMachineTrace trace(subject.machine);
    subject.machine.start();
    EXPECT_FALSE(trace.isRecording());
    EXPECT_THAT(linesOf(trace), IsEmpty());
    trace.start();
    subject.machine.processEvent(7);
    trace.stop();
    subject.machine.processEvent(8);
    trace.start();
    subject.machine.processEvent(9);
    EXPECT_TRUE(trace.isRecording());
    EXPECT_THAT(linesOf(trace), ElementsAre("event 7", "event 9"));
}

TEST(StateMachineTrace, DroppedEventsAndTransitionsAreRecorded)
{
    CSubject subject;
    CStateMachineTrace trace(subject.machine);
    trace.start();
    for (int i = 0; i < 65; ++i)
        subject.machine.postEvent(1);
    subject.a->transitions()[0]->trigger(Kiv::CTransition::TriggerQueued);
    subject.a->addTransitionTo(subject.b, "too late")->trigger(Kiv::CTransition::TriggerQueued);
    EXPECT_THAT(linesOf(trace), ElementsAre("dropped event 1", "dropped on: Work.Left.A -> Work.Left.B"));
    EXPECT_THAT(trace.toText(), HasSubstr("[" + std::to_string(gettid()) + "] dropped event 1\n"));
}

TEST(StateMachineTrace, KeepsTheLastRecordsAndCountsTheOthers)
{
    CSubject subject;
    CStateMachineTrace trace(subject.machine, 5);
    EXPECT_EQ(trace.capacity(), 8U);
    trace.start();
    for (int event = 100; event < 120; ++event)
        subject.machine.processEvent(static_cast<unsigned char>(event));
    EXPECT_EQ(trace.lostRecords(), 12U);
    EXPECT_THAT(linesOf(trace), ElementsAre("event 112", "event 113", "event 114", "event 115", "event 116",
                                            "event 117", "event 118", "event 119"));
    trace.clear();
    EXPECT_EQ(trace.lostRecords(), 0U);
    EXPECT_THAT(linesOf(trace), IsEmpty());
}

TEST(StateMachineTrace, RecordingNeedsNoMemory)
{
    CSubject subject;
    CStateMachineTrace trace(subject.machine, 64);
    subject.machine.start();
    countsAllocations = true;
    trace.start();
    for (int i = 0; i < 100; ++i)
        subject.machine.processEvent(1);
    trace.stop();
    countsAllocations = false;
    EXPECT_EQ(allocations, 0);
    EXPECT_GT(trace.lostRecords(), 64U) << "the ring went round";
}

TEST(StateMachineTrace, ChromeJsonHasTheFieldsOfTheFormat)
{
    CSubject subject;
    CStateMachineTrace trace(subject.machine);
    trace.start();
    subject.machine.start();
    subject.machine.processEvent(1);
    const Kiv::TraceRecord fired = trace.records()[7];
    subject.machine.stop();
    const QJsonArray events = checkedEvents(trace.toChromeJson());
    for (const char* state : {"Work", "Left", "A", "B", "Right", "C"})
    {
        EXPECT_EQ(countOf(events, "b", state), 1U) << state;
        EXPECT_EQ(countOf(events, "e", state), 1U) << state;
    }
    EXPECT_EQ(countOf(events, "i", "event 1"), 1U);
    for (const QJsonValue value : events)
        if (value.toObject()["name"] == QLatin1String("on"))
        {
            EXPECT_EQ(value.toObject()["args"].toObject()["from"].toString().toStdString(), "Work.Left.A");
            EXPECT_EQ(value.toObject()["args"].toObject()["to"].toString().toStdString(), "Work.Left.B");
            EXPECT_EQ(value.toObject()["tid"].toInt(), gettid());
            EXPECT_NEAR(value.toObject()["ts"].toDouble(), static_cast<double>(fired.time_ns) / 1000, 0.002);
        }
}

TEST(StateMachineTrace, BarsMatchAlthoughEntriesAreLostOrRepeated)
{
    CSubject subject;
    CStateMachineTrace trace(subject.machine);
    subject.machine.start();
    trace.start();
    subject.machine.processEvent(1);
    subject.b->addTransitionTo(subject.c)->trigger(); // from region to region: enters Right and C anew
    subject.machine.stop();                           // and leaves Left again, which it had left
    const QJsonArray events = checkedEvents(trace.toChromeJson());
    EXPECT_EQ(countOf(events, "b", "Work"), 1U);
    EXPECT_EQ(countOf(events, "b", "Left"), 1U);
    EXPECT_EQ(countOf(events, "e", "Left"), 1U);
    EXPECT_EQ(countOf(events, "b", "A"), 1U);
    EXPECT_EQ(countOf(events, "e", "C"), countOf(events, "b", "C"));
}

TEST(StateMachineTrace, NamesMayHoldAnything)
{
    CStateMachine machine;
    auto* odd = new CState("\"\\\n\x01 \xff\xc3\xa4\xed\xa0\x80", &machine);
    machine.setInitialState(odd);
    CStateMachineTrace trace(machine);
    trace.start();
    machine.start();
    EXPECT_EQ(countOf(checkedEvents(trace.toChromeJson()), "b",
                      "\"\\\n\x01 \xef\xbf\xbd\xc3\xa4\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"),
              1U);
}

TEST(StateMachineTrace, OutlivesItsMachine)
{
    std::optional<CSubject> subject(std::in_place);
    CStateMachineTrace trace(subject->machine);
    trace.start();
    subject->machine.start();
    subject.reset();
    EXPECT_THAT(linesOf(trace), testing::Contains("entered Work.Left.A"));
    EXPECT_EQ(countOf(checkedEvents(trace.toChromeJson()), "b", "A"), 1U);
}

TEST(StateMachineTrace, WritesFilesOrSaysWhyNot)
{
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "trace";
    CSubject subject;
    CStateMachineTrace trace(subject.machine);
    trace.start();
    subject.machine.start();
    EXPECT_EQ(trace.writeText(path), 0);
    EXPECT_EQ(contentOf(path), trace.toText());
    EXPECT_EQ(trace.writeChromeJson(path), 0);
    EXPECT_EQ(contentOf(path), trace.toChromeJson());
    EXPECT_EQ(trace.writeText(directory.path() / "no" / "where"), -2);
    EXPECT_LT(trace.writeText("/dev/full"), 0);
}

TEST(StateMachineTrace, ReadsWhileTheWorkerRecordsAndOthersDrop)
{
    CSubject subject(CStateMachine::ProcessingAsync);
    CStateMachineTrace trace(subject.machine, 256);
    trace.start();
    subject.machine.start();
    std::atomic<bool> ends{false};
    std::vector<std::thread> posters;
    for (int i = 0; i < 2; ++i)
        posters.emplace_back([&] {
            while (!ends)
                subject.machine.postEvent(1);
        });
    std::size_t seen = 0;
    EXPECT_TRUE(waitUntil([&] {
        std::int64_t last = 0;
        for (const Kiv::TraceRecord& record : trace.records())
        {
            EXPECT_GE(record.time_ns, last);
            const bool isEvent = record.type == Kiv::TraceEventHandled || record.type == Kiv::TraceEventDropped;
            EXPECT_EQ(isEvent, record.subject.empty());
            last = record.time_ns;
            ++seen;
        }
        return trace.lostRecords() > 20000;
    }));
    EXPECT_GT(seen, 100U);
    ends = true;
    for (std::thread& poster : posters)
        poster.join();
    subject.machine.stop();
    bool worked = false;
    for (const Kiv::TraceRecord& record : trace.records())
        worked = worked || record.threadId != gettid();
    EXPECT_TRUE(worked);
}
