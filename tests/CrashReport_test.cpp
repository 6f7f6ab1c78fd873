#include <kiv/CrashReport.h>

#include <csignal>
#include <ctime>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <kiv/env/unix/diag/LogRing.h>
#include <kiv/env/unix/diag/ReportWriter.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

// The sanitizers bring an allocator of their own, which notices a broken heap in its own way.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool allocatorIsReplaced = true;
#else
constexpr bool allocatorIsReplaced = false;
#endif

/// A report's file, gone with the test.
struct CReportFile
{
    CReportFile() { close(mkstemp(path.data())); }
    ~CReportFile() { unlink(path.c_str()); }

    std::string text() const
    {
        std::ostringstream all;
        all << std::ifstream(path).rdbuf();
        return all.str();
    }

    std::string path = testing::TempDir() + "/kiv_crash_XXXXXX";
};

int crash(const CReportFile& file, const char* way)
{
    CChildProcess child({"timeout", "-s", "KILL", "30", CRASH_REPORT_CHILD, file.path, way});
    return child.wait();
}

std::unique_ptr<CChildProcess> start(const std::string& path, const std::string& way)
{
    return std::make_unique<CChildProcess>(
        std::vector<std::string>{"setsid", "--wait", "timeout", "-s", "KILL", "60", CRASH_REPORT_CHILD, path, way});
}

std::size_t count(const std::string& text, const std::string& part)
{
    std::size_t found = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size())
        ++found;
    return found;
}

/// A terminal that somebody stopped by Ctrl-S.
struct CStoppedTerminal
{
    CStoppedTerminal() : controller(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(controller);
        unlockpt(controller);
        path = ptsname(controller);
        terminal = open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        tcflow(terminal, TCOOFF);
    }
    ~CStoppedTerminal()
    {
        close(terminal);
        close(controller);
    }
    int controller;
    int terminal;
    std::string path;
};

} // namespace

TEST(CrashReport, IsCompleteWhateverBrokeAndTheSignalTakesItsDefaultAction)
{
    const struct
    {
        const char* way;
        int signal;
        const char* name;
        const char* function;
    } rows[] = {
        {"plain", SIGSEGV, "SIGSEGV", "crash_here"},       {"stack", SIGSEGV, "SIGSEGV", "overflow_the_stack"},
        {"malloc", SIGABRT, "SIGABRT", "crash_in_malloc"}, {"log", SIGSEGV, "SIGSEGV", "crash_here"},
        {"worker", SIGSEGV, "SIGSEGV", "crash_here"},      {"worker-stack", SIGSEGV, "SIGSEGV", "overflow_the_stack"},
    };
    for (const auto& row : rows)
    {
        if (allocatorIsReplaced && row.way == std::string("malloc"))
            continue;
        const CReportFile file;
        EXPECT_EQ(crash(file, row.way), 128 + row.signal) << row.way;
        const std::string report = file.text();
        EXPECT_THAT(report, StartsWith("=== crash report ===\nsignal: " + std::to_string(row.signal) + " " + row.name));
        EXPECT_THAT(report, HasSubstr("=== end ===\n")) << row.way;
        EXPECT_THAT(report, ContainsRegex("\ntime: 20[0-9]{2}-[01][0-9]-[0-3][0-9]T[0-9:]{8}Z\n"));
        EXPECT_THAT(report, ContainsRegex(" build-id [0-9a-f]{16,} [^\n]*crash_report_child\n"));
        EXPECT_THAT(report, ContainsRegex("stack:\n(  0x[^\n]*\n)*  0x[0-9a-f]+ [^\n]*crash_report_child "
                                          "\\+0x[0-9a-f]+\n"))
            << row.way;
        CChildProcess names({CRASH_NAMES, file.path});
        EXPECT_EQ(names.wait(), 0) << names.err();
        EXPECT_THAT(names.out(), HasSubstr(row.function)) << row.way;
        EXPECT_EQ(names.err(), "");
    }
}

TEST(CrashReport, TheSameCrashAgainIsCountedAndAnotherOneIsNot)
{
    const CReportFile file;
    crash(file, "plain");
    const std::string first = file.text();
    EXPECT_THAT(first, ContainsRegex("\nrepeated: 00000 times until 20[^\n]*Z\n"));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(crash(file, "plain"), 128 + SIGSEGV);
    const std::string third = file.text();
    EXPECT_EQ(third.size(), first.size());
    EXPECT_THAT(third, ContainsRegex("\nrepeated: 00003 times until 20[^\n]*Z\n"));
    crash(file, "abort");
    EXPECT_THAT(file.text(), StartsWith(third));
    EXPECT_EQ(count(file.text(), "=== crash report ===\n"), 2U);
    crash(file, "plain");
    EXPECT_EQ(count(file.text(), "=== crash report ===\n"), 3U) << "the last one was another";
    // One that ended long ago is no repetition.
    std::string old = third;
    old.replace(old.find(" times until 20") + 13, 4, "2001");
    std::ofstream(file.path) << old;
    crash(file, "plain");
    EXPECT_THAT(file.text(), StartsWith(old + "=== crash report ===\n"));
}

TEST(CrashReport, KeepsTheNewestReportsAndNoMoreThanAFlashHolds)
{
    const auto reports = [](int count, std::size_t size) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += "=== crash report ===\nnumber " + std::to_string(i) + "\n  " + std::string(size, 'x') +
                    "\n=== end ===\n";
        return text;
    };
    const CReportFile file;
    std::ofstream(file.path) << reports(30, 100);
    crash(file, "plain");
    EXPECT_EQ(count(file.text(), "=== crash report ===\n"), 11U);
    EXPECT_THAT(file.text(), StartsWith("=== crash report ===\nnumber 20\n"));
    EXPECT_THAT(file.text(), HasSubstr("number 29\n"));
    std::ofstream(file.path) << reports(9, 50000);
    crash(file, "plain");
    EXPECT_THAT(file.text(), StartsWith("=== crash report ===\nnumber 5\n"));
    EXPECT_LE(file.text().size(), 256U * 1024);
    const std::string foreign = "a file of somebody else\n" + reports(30, 50000);
    std::ofstream(file.path) << foreign;
    crash(file, "plain");
    EXPECT_THAT(file.text(), StartsWith(foreign));
}

TEST(CrashReport, ShowsWhatTheMachineLoggedLast)
{
    const CReportFile file;
    crash(file, "worker");
    EXPECT_THAT(file.text(), HasSubstr("\nstate machine log:\n  Dying::onEntry\n"));
}

TEST(CrashReport, KeepsTheLastLinesOfALongLog)
{
    Kiv::Diag::CLogRing log;
    const std::string tail(200, 'x');
    for (int i = 0; i < 100; ++i)
        log.add((std::to_string(i) + tail).c_str());
    log.add("end");
    std::vector<std::string> lines;
    log.forEach([&lines](const char* line) { lines.emplace_back(line); });
    ASSERT_EQ(lines.size(), 32U);
    for (std::size_t i = 0; i < 31; ++i)
        EXPECT_EQ(lines[i], (std::to_string(69 + i) + tail).substr(0, 127));
    EXPECT_EQ(lines.back(), "end");
}

TEST(CrashReport, WritesTimesAsTheCalendarHasThem)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    for (std::time_t time = 0; time < 5000000000; time += 86400 * 13 + 12345) // up to 2128
    {
        Kiv::Diag::CReportWriter(ends[1]).utc(time);
        char text[40] = "";
        ASSERT_GT(read(ends[0], text, sizeof text), 0);
        char expected[40];
        const std::tm* const calendar = std::gmtime(&time);
        std::strftime(expected, sizeof expected, "%Y-%m-%dT%H:%M:%SZ", calendar);
        ASSERT_STREQ(text, expected);
    }
    close(ends[0]);
    close(ends[1]);
}

TEST(CrashReport, FileThatCannotBeOpenedIsAnError)
{
    EXPECT_EQ(Kiv::Diag::installCrashReport("/nonexistent/folder/report"), -2);
    const TemporaryDirectory folder;
    const std::string fifo = folder.path() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_LT(Kiv::Diag::installCrashReport(fifo), 0) << "nobody reads it";
}

TEST(CrashReport, TheCrashsOwnSignalEndsTheProcessWhereverTheReportGoes)
{
    const TemporaryDirectory folder;
    const std::string fifo = folder.path() / "fifo";
    const std::string fullFifo = folder.path() / "full";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(fullFifo.c_str(), 0600), 0);
    const int full = open(fullFifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (write(full, "x", 1) > 0)
    {}
    const CStoppedTerminal terminal;
    const struct
    {
        std::string path;
        const char* way;
    } rows[] = {{fullFifo, "plain"},
                {terminal.path, "terminal"},
                {fifo, "reader-gone"},
                {folder.path() / "limited", "file-size"}};
    std::vector<std::unique_ptr<CChildProcess>> children;
    for (const auto& row : rows)
        children.push_back(start(row.path, row.way));
    for (std::size_t i = 0; i < children.size(); ++i)
        EXPECT_EQ(children[i]->wait(), 128 + SIGSEGV) << rows[i].path << " " << rows[i].way;
    close(full);
}

TEST(CrashReport, UnwindingThatDoesNotEndIsGivenUp)
{
    const CReportFile files[3];
    const char* const ways[] = {"endless", "endless-blocked", "endless-without-thread"};
    std::vector<std::unique_ptr<CChildProcess>> children;
    for (std::size_t i = 0; i < 3; ++i)
        children.push_back(
            std::make_unique<CChildProcess>(std::vector<std::string>{CRASH_REPORT_CHILD, files[i].path, ways[i]}));
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(children[i]->wait(), 128 + SIGSEGV) << ways[i];
        EXPECT_TRUE(children[i]->endedBySignal()) << "leaves a core dump: " << ways[i];
        EXPECT_THAT(files[i].text(), HasSubstr("\nmaps:\n")) << ways[i];
        EXPECT_THAT(files[i].text(), testing::EndsWith("\nstack:\n  given up\n=== end ===\n")) << ways[i];
    }
}

TEST(CrashReport, ASlowReaderGetsAllOfIt)
{
    const TemporaryDirectory folder;
    const std::string fifo = folder.path() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    fcntl(reader, F_SETPIPE_SZ, 4096); // less than a report
    fcntl(reader, F_SETFL, 0);
    const auto child = start(fifo, "plain");
    std::string report;
    char chunk[256];
    while (read(reader, chunk, 0) == 0 && report.find("=== end ===\n") == report.npos && report.size() < 1000000)
    {
        const ssize_t got = read(reader, chunk, sizeof chunk);
        report.append(chunk, static_cast<std::size_t>(got > 0 ? got : 0));
        usleep(got > 0 ? 40000 : 1000); // longer than a second for all of it
    }
    close(reader);
    EXPECT_EQ(child->wait(), 128 + SIGSEGV);
    EXPECT_THAT(report, StartsWith("=== crash report ===\n"));
}

TEST(CrashReport, TwoCrashingThreadsLeaveOneReport)
{
    const CReportFile file;
    EXPECT_EQ(crash(file, "two"), 128 + SIGSEGV);
    EXPECT_EQ(count(file.text(), "=== crash report ===\n"), 1U) << file.text();
    EXPECT_THAT(file.text(), testing::EndsWith("=== end ===\n"));
}

TEST(CrashReport, Process1EndsToo)
{
    const std::vector<std::string> asProcess1{"unshare", "-Urpf", "--kill-child"};
    const auto in = [&asProcess1](std::vector<std::string> command) {
        command.insert(command.begin(), asProcess1.begin(), asProcess1.end());
        return command;
    };
    if (CChildProcess(in({"true"})).wait() != 0)
        GTEST_SKIP() << "the system permits no process namespaces";
    const struct
    {
        const char* way;
        int signal;
    } rows[] = {{"abort", SIGABRT}, {"throw", SIGABRT}, {"raise", SIGSEGV}, {"plain", SIGSEGV}};
    for (const auto& row : rows)
    {
        const CReportFile file;
        std::vector<std::string> command = in({CRASH_REPORT_CHILD, file.path, row.way});
        command.insert(command.begin(), {"timeout", "-s", "KILL", "30"});
        EXPECT_EQ(CChildProcess(command).wait(), 128 + row.signal) << row.way;
        EXPECT_EQ(count(file.text(), "=== crash report ===\n"), 1U) << row.way;
        EXPECT_THAT(file.text(), testing::EndsWith("=== end ===\n")) << row.way;
    }
}
