#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kiv/OperatingHours.h>
#include <kiv/Settings.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace
{

namespace fs = std::filesystem;

const fs::path program = PUMP_STATION;
const fs::path exampleFiles = program.parent_path();
const std::string fullSpeed = "1000000";

std::string contentOf(const fs::path& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/// Every `from` in a text replaced; there must be one.
std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    std::size_t at = text.find(from);
    EXPECT_NE(at, text.npos) << from;
    for (; at != text.npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

/// What does not depend on earlier runs: all before the operating hours.
std::string withoutHours(const std::string& out) { return out.substr(0, out.find("\nall runs ")); }

struct Outcome
{
    int status;
    std::string out;
    std::string err;
};

Outcome runProgram(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), program);
    CChildProcess child(arguments);
    const int status = child.wait();
    return {status, child.out(), child.err()};
}

/// The example's files in a directory of the test's own, with the three hours of the thunderstorm as recording.
class PumpStation : public testing::Test
{
protected:
    PumpStation()
    {
        const std::string day = contentOf(exampleFiles / "inflow.csv");
        const std::size_t from = day.find("16:30,");
        recording = "time,inflow\n" + day.substr(from, day.find("19:35,") - from);
        config = contentOf(exampleFiles / "pump_station.ini");
        config = replaced(config, "${APP_PATH}", directory.path());
        config = replaced(config, "AlarmInterval=200 ms", "AlarmInterval=10 ms");
        write("inflow.csv", recording);
        write("pump_station.ini", config);
        write("logging.properties",
              replaced(contentOf(exampleFiles / "logging.properties"), "${APP_PATH}", directory.path()));
    }

    std::string path(const std::string& name) const { return directory.path() / name; }

    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    Outcome run(const std::string& speed) const
    {
        return runProgram({"--config", path("pump_station.ini"), "--speed", speed});
    }

    TemporaryDirectory directory;
    std::string config;
    std::string recording;
};

std::string withCarriageReturns(const std::string& text) { return replaced(text, "\n", "\r\n"); }

} // namespace

TEST_F(PumpStation, WholeDayGivesTheExpectedTable)
{
    const Outcome day = runProgram({"--quiet", "--speed", fullSpeed});
    EXPECT_EQ(day.status, 0);
    EXPECT_EQ(withoutHours(day.out), contentOf(PUMP_STATION_TABLE));
    EXPECT_EQ(day.err, "");
}

TEST_F(PumpStation, BoardGivesTheSameOutputAsDirectWires)
{
    if (std::string(KIV_BOARD).empty())
        GTEST_SKIP() << "kiv-board is not built";
    const auto onBoard = [&](const std::string& preparation, const std::string& world = "--board") {
        CChildProcess child({KIV_BOARD, "run", "--config", exampleFiles / "board.ini", "--", "sh", "-c",
                             preparation + "exec \"$@\"", "sh", program, "--config", path("pump_station.ini"), world,
                             "--speed", fullSpeed});
        const int status = child.wait();
        return Outcome{status, child.out(), child.err()};
    };
    const Outcome day = onBoard("");
    if (day.status == 125)
        GTEST_SKIP() << day.err;
    EXPECT_EQ(withoutHours(day.out), withoutHours(run(fullSpeed).out));
    EXPECT_EQ(day.err, "");
    EXPECT_EQ(day.status, 0);

    const Outcome broken = onBoard("echo 'read /sys/class/sim/adc/level 1000 EIO' > /sys/class/sim/faults;");
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.err, "pump_station: the wiring failed: I/O error\n");
    EXPECT_THAT(broken.out, HasSubstr(", interrupted at 17:53"));

    write("pump_station.ini", replaced(config, "/sys/class/sim/adc/level", path("level")));
    const Outcome looped = onBoard("", "--loopback");
    EXPECT_EQ(withoutHours(looped.out), withoutHours(day.out));
    EXPECT_EQ(looped.err, "");
}

TEST_F(PumpStation, BoardThatIsNotThereIsNamed)
{
    write("pump_station.ini", replaced(config, "GpioChip=9030000.pl061", "GpioChip=nowhere"));
    const Outcome refused = runProgram({"--config", path("pump_station.ini"), "--board"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, StartsWith("pump_station: GPIO chip nowhere: "));
}

TEST_F(PumpStation, OutputDoesNotDependOnTheSpeed)
{
    const Outcome fast = run(fullSpeed);
    const Outcome slow = run("7200");
    EXPECT_EQ(fast.status, 0);
    EXPECT_EQ(slow.status, 0);
    EXPECT_EQ(withoutHours(fast.out), withoutHours(slow.out));
    EXPECT_EQ(fast.err + slow.err, "");
    EXPECT_THAT(fast.out, StartsWith("16:31  inflow  10.0 l/s  level 0.77 m  pumps - -  Automatic.Idle  Normal\n"));
}

TEST_F(PumpStation, OperatingHoursGrowFromRunToRun)
{
    EXPECT_THAT(run(fullSpeed).out, HasSubstr("hours run           1.7     2.0\n"));
    EXPECT_THAT(run(fullSpeed).out, HasSubstr("hours run           3.3     4.0\n"));
    Kiv::COperatingHours station(path("pump_station.counters"));
    ASSERT_EQ(station.open(), 0);
    station.add(std::chrono::hours(2));
    ASSERT_EQ(station.save(), 0);
    EXPECT_THAT(run(fullSpeed).out, testing::ContainsRegex("in service        12[0-9]\\.[0-9] minutes"));
    write("pump_station.counters", "not ours");
    EXPECT_EQ(run(fullSpeed).err, "pump_station: " + path("pump_station.counters") + ": Bad message\n");
    fs::remove(path("pump_station.counters"));
    fs::create_directory(path("pump_station.counters"));
    EXPECT_EQ(run(fullSpeed).err, "pump_station: " + path("pump_station.counters") + ": Is a directory\n");
}

TEST_F(PumpStation, CrashLeavesAReport)
{
    setenv("TSAN_OPTIONS", "report_signal_unsafe=0", 1); // the report does what handlers should not, on purpose
    const Outcome crash = runProgram({"--config", path("pump_station.ini"), "--crash"});
    EXPECT_EQ(crash.status, 1);
    for (const std::string& report : {crash.out, crash.err})
    {
        EXPECT_THAT(report, HasSubstr("SIGNAL 6 - "));
        EXPECT_THAT(report, HasSubstr("PumpStation::failOnPurpose()"));
    }
}

TEST_F(PumpStation, StatusLinesFollowFaultAndOverflow)
{
    const std::string lines = run(fullSpeed).out;
    EXPECT_THAT(lines, HasSubstr("pumps - -  Blocked  Normal\n19:12  inflow  52.8 l/s"));
    EXPECT_THAT(lines, HasSubstr("Automatic.TwoPumps  Overflow\n"));
    EXPECT_THAT(contentOf(path("pump_station.log")),
                HasSubstr("Station ---[StationFinished::onTransition()]---> Ended"));
}

TEST_F(PumpStation, FilesWithCarriageReturnsReadTheSame)
{
    const std::string out = withoutHours(run(fullSpeed).out);
    write("inflow.csv", withCarriageReturns(recording));
    write("pump_station.ini", withCarriageReturns(config));
    EXPECT_EQ(withoutHours(run(fullSpeed).out), out);
}

TEST_F(PumpStation, StopSignalEndsTheRunWithTheTableSoFar)
{
    for (const int signal : {SIGINT, SIGTERM})
    {
        const std::string out = path("out" + std::to_string(signal)); // its own: a line in it is this program's
        CChildProcess child(
            {"sh", "-c", "exec \"$@\" > \"$0\"", out, program, "--config", path("pump_station.ini"), "--speed", "600"});
        ASSERT_TRUE(waitUntil([&] { return contentOf(out).find('\n') != std::string::npos; }));
        child.kill(signal);
        EXPECT_EQ(child.wait(), 128 + signal);
        EXPECT_EQ(child.err(), "");
        EXPECT_THAT(contentOf(out), HasSubstr("recording        16:30 to 19:30, interrupted at 1"));
        EXPECT_THAT(contentOf(out), HasSubstr("events dropped        0\n"));
    }
}

TEST_F(PumpStation, BadConfigIsRefusedWithFileLineAndReason)
{
    const struct
    {
        const char* from;
        const char* to;
        const char* complaint;
    } rows[] = {
        {nullptr, "", ":1: [Basin] Area is missing"},
        {"Area=24.0", "Area=wide", ":6: [Basin] Area = wide: is no number"},
        {"Area=24.0", "Area=-1", ":6: [Basin] Area = -1: is out of range; allowed: a number from 0.1 to 1000 m2"},
        {"Area=24.0", "Aera=24.0", ":4: [Basin] Area is missing"},
        {"Area=24.0", "Area=24.0\nDepth=4", ":7: [Basin] Depth = 4: there is no such key"},
        {"[Basin]", "[Basin", ":4: [Basin: is a section without ]"},
        {"Stop=0.50", "Stop=0.10", ":15: [Levels] Stop = 0.10: does not lie above the one before"},
        {"OverflowLevel=4.00", "OverflowLevel=3", ":8: [Basin] OverflowLevel = 3: does not lie above that of"},
        {"At=03:30", "At=3.30", ":35: [Flushing] At = 3.30: is no time of day"},
        {"07:12=07:31", "07:12=07:12", ":40: [Faults] 07:12 = 07:12: ends before it has begun"},
        {"StepSeconds=5", "StepSeconds=7", ":45: [Run] StepSeconds = 7: makes no whole number of steps"},
        {"StepSeconds=5", "StepSeconds=0.5", ":45: [Run] StepSeconds = 0.5: is no whole number"},
        {"AlarmInterval=10 ms", "AlarmInterval=10", ":48: [Run] AlarmInterval = 10: has no unit"},
        {"Inflow=", "Inflow=${HOME/", ":51: [Files] Inflow = ${HOME/"},
    };
    for (const auto& row : rows)
    {
        write("pump_station.ini", row.from ? replaced(config, row.from, row.to) : row.to);
        const Outcome refused = run(fullSpeed);
        EXPECT_EQ(refused.status, 2) << row.complaint;
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err, StartsWith("pump_station: " + path("pump_station.ini") + row.complaint));
    }
}

TEST_F(PumpStation, SchemaFindsTheSameFaultsAsTheProgram)
{
    const Outcome printed = runProgram({"--schema"});
    EXPECT_EQ(printed.status, 0);
    write("schema", printed.out);
    Kiv::CSettings checker;
    ASSERT_EQ(checker.readSchema(path("schema")), 0U) << checker.faultText();
    EXPECT_EQ(checker.read(path("pump_station.ini")), 0U) << checker.faultText();
    write("pump_station.ini", replaced(config, "Area=24.0", "Aera=24,0"));
    EXPECT_NE(checker.read(path("pump_station.ini")), 0U);
    EXPECT_EQ("pump_station: " + checker.faultText(), run(fullSpeed).err);
}

TEST_F(PumpStation, BadRecordingIsRefusedWithFileLineAndReason)
{
    const struct
    {
        std::string text;
        const char* complaint;
    } rows[] = {
        {"", ":1: the file is empty"},
        {std::string("time,inflow\n\0\1", 14), ":2: this is no text: it holds a byte 0"},
        {std::string(2000, 'x'), ":1: the line has more than 1000 bytes"},
        {"00:00,1\n00:05,1\n", ":1: the first line that counts must name the columns: time,inflow"},
        {"# dry\ntime,inflow\n\n00:00,1\n", ":4: the recording ends before its second row"},
        {"time,inflow\n00:00,1\n00:05,1,2\n", ":3: a row has two columns, time and inflow"},
        {"time,inflow\n00:00\n", ":2: a row has two columns, time and inflow"},
        {"time,inflow\n0:00,1\n", ":2: '0:00' is no time of day such as 07:30"},
        {"time,inflow\n00:60,1\n", ":2: '00:60' is no time of day such as 07:30"},
        {"time,inflow\n00:00,1.5x\n", ":2: '1.5x' is no number"},
        {"time,inflow\n00:00,-1\n", ":2: an inflow lies between 0 and 10000 l/s"},
        {"time,inflow\n00:05,1\n00:05,1\n", ":3: the time does not lie after the one before, 00:05"},
    };
    for (const auto& row : rows)
    {
        write("inflow.csv", row.text);
        const Outcome refused = run(fullSpeed);
        EXPECT_EQ(refused.status, 2) << row.complaint;
        EXPECT_EQ(refused.out, "");
        EXPECT_EQ(refused.err, "pump_station: " + path("inflow.csv") + row.complaint + "\n");
    }
}

TEST_F(PumpStation, FilesThatCannotBeReadAreNamed)
{
    const std::string missing = path("missing") + ": cannot be read: No such entity\n";
    const std::string ini = path("pump_station.ini");
    EXPECT_EQ(runProgram({"--config", path("missing")}).err, "pump_station: " + missing);
    EXPECT_EQ(runProgram({"--config", ini, "--inflow", path("missing")}).err, "pump_station: " + missing);
    EXPECT_THAT(runProgram({"--config", directory.path()}).err, HasSubstr(": cannot be read: "));
    fs::remove(path("logging.properties"));
    const Outcome refused = run(fullSpeed);
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("logging.properties: cannot be read: "));
}

TEST_F(PumpStation, BadOptionIsRefusedWithAHint)
{
    const std::vector<std::vector<std::string>> rows = {
        {"--sped", "5"},
        {"-x"},
        {"day"},
        {"--speed"},
        {"--speed", "0"},
        {"--speed", "1.5"},
        {"--speed=fast"},
        {"--speed", "1000001"},
        {"--speed", "1e3"},
        {"--diagram", "svg"},
    };
    for (const auto& row : rows)
    {
        const Outcome refused = runProgram(row);
        EXPECT_EQ(refused.status, 2) << row[0];
        EXPECT_THAT(refused.err, testing::MatchesRegex("pump_station: [^\n]*; --help lists the options\n"));
    }
    const Outcome help = runProgram({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("130 after Ctrl-C"));
}

TEST_F(PumpStation, DiagramIsPrintedInsteadOfARun)
{
    const struct
    {
        const char* format;
        const char* begin;
    } rows[] = {{"mermaid", "stateDiagram-v2\n"}, {"dot", "digraph"}, {"plantuml", "@startuml\n"}};
    for (const auto& row : rows)
    {
        const Outcome printed = runProgram({"--diagram", row.format, "--config", path("missing")});
        EXPECT_EQ(printed.status, 0);
        EXPECT_THAT(printed.out, StartsWith(row.begin));
        EXPECT_THAT(printed.out, HasSubstr("FirstPumpTest"));
        EXPECT_EQ(printed.err, "");
    }
}

TEST_F(PumpStation, TraceIsWrittenAtTheEnd)
{
    const auto traced = [&](const std::string& file) {
        return runProgram({"--config", path("pump_station.ini"), "--speed", fullSpeed, "--quiet", "--trace", file});
    };
    EXPECT_EQ(traced(path("trace.txt")).status, 0);
    EXPECT_THAT(contentOf(path("trace.txt")), HasSubstr("] entered Station.Control.Automatic.TwoPumps\n"));
    EXPECT_EQ(traced(path("trace.json")).status, 0);
    EXPECT_THAT(contentOf(path("trace.json")), StartsWith("{\"displayTimeUnit\""));
    const Outcome refused = traced(path("missing/trace.json"));
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "pump_station: " + path("missing/trace.json") + ": No such entity\n");
}

TEST_F(PumpStation, OutputThatCannotBeWrittenFailsTheRun)
{
    CChildProcess child({"sh", "-c", "exec \"$@\" > /dev/full", "sh", program, "--config", path("pump_station.ini"),
                         "--speed", fullSpeed});
    EXPECT_EQ(child.wait(), 1);
    EXPECT_EQ(child.err(), "pump_station: cannot write the output\n");
}
