#include <kiv/CrashReport.h>

#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "ChildProcess.h"

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
        EXPECT_TRUE(std::regex_search(report, std::regex("\ntime: 20[0-9]{2}-[01][0-9]-[0-3][0-9]T[0-9:]{8}Z\n")));
        EXPECT_TRUE(std::regex_search(report, std::regex(" build-id [0-9a-f]{16,} [^\n]*crash_report_child\n")));
        EXPECT_TRUE(std::regex_search(report, std::regex("stack:\n(  0x.*\n)*  0x[0-9a-f]+ [^\n]*crash_report_child "
                                                         "\\+0x[0-9a-f]+\n")))
            << row.way << "\n"
            << report;
        CChildProcess names({CRASH_NAMES, file.path});
        EXPECT_EQ(names.wait(), 0) << names.err();
        EXPECT_THAT(names.out(), HasSubstr(row.function)) << row.way;
        EXPECT_EQ(names.err(), "");
    }
}

TEST(CrashReport, ShowsWhatTheMachineLoggedLast)
{
    const CReportFile file;
    crash(file, "worker");
    EXPECT_THAT(file.text(), HasSubstr("\nstate machine log:\n  Dying::onEntry\n"));
}

TEST(CrashReport, IsAppendedToTheFormerOnes)
{
    const CReportFile file;
    crash(file, "plain");
    const std::size_t first = file.text().size();
    crash(file, "plain");
    EXPECT_THAT(file.text().substr(first), StartsWith("=== crash report ===\n"));
}

TEST(CrashReport, FileThatCannotBeOpenedIsAnError)
{
    EXPECT_EQ(Kiv::Diag::installCrashReport("/nonexistent/folder/report"), -2);
}
