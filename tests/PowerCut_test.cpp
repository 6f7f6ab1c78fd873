// What is found after the power was cut, at every operation in turn, on a file system that forgets what was not
// flushed.
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <kiv/OperatingHours.h>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace
{

namespace fs = std::filesystem;
using testing::AnyOf;
using testing::StartsWith;

const std::vector<std::string> fates = {"all-kept",  "all-lost", "bytes-lost",     "names-lost",
                                        "torn-even", "torn-odd", "torn-names-lost"};
const std::string nothing = "(no file)";

std::string contentOf(const fs::path& path)
{
    if (!fs::exists(path))
        return nothing;
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

class PowerCut : public testing::Test
{
protected:
    void SetUp() override
    {
        CChildProcess probe({POWER_CUT, directory.path(), "0", "/bin/true"});
        if (probe.wait() == 125)
            GTEST_SKIP() << probe.err();
    }

    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream(directory.path() / name, std::ios::binary) << text;
    }

    /// Does the act with the power cut at an operation, or never; the number of operations.
    long run(const std::string& act, long operation, int expectedStatus = 0) const
    {
        CChildProcess child({POWER_CUT, directory.path(), std::to_string(operation), POWER_CUT_CHILD, act});
        EXPECT_EQ(child.wait(), expectedStatus) << child.err();
        return std::stol("0" + child.out());
    }

    /// What is found in a file after each operation and with each fate, and with each when the act was done.
    void cutEverywhere(const std::string& act, const std::string& file,
                       const std::function<void(const fs::path&)>& duringIt,
                       const std::function<void(const fs::path&)>& afterIt) const
    {
        const long operations = run(act, 0);
        ASSERT_GT(operations, 0);
        look(file, afterIt);
        for (long operation = 1; operation <= operations; ++operation)
        {
            SCOPED_TRACE("operation " + std::to_string(operation) + " of " + std::to_string(operations));
            ASSERT_EQ(run(act, operation), operation);
            look(file, duringIt);
        }
    }

    void look(const std::string& file, const std::function<void(const fs::path&)>& check) const
    {
        for (const std::string& fate : fates)
        {
            SCOPED_TRACE(fate);
            check(directory.path() / ("after-" + fate) / file);
        }
    }

    /// For an act that changes a file from one content to another, and nothing between.
    void findsOldOrNew(const std::string& act, const std::string& file, const std::string& before,
                       const std::string& after) const
    {
        write(file, before);
        cutEverywhere(
            act, file, [&](const fs::path& path) { EXPECT_THAT(contentOf(path), AnyOf(before, after)); },
            [&](const fs::path& path) { EXPECT_EQ(contentOf(path), after); });
    }

    TemporaryDirectory directory;
};

} // namespace

TEST_F(PowerCut, IniFileIsTheOldOneOrTheNewOne)
{
    const std::string before = "[Heater]\nSetpoint=21\n" + std::string(700, ';') + "\nSpeed=80\n";
    write("settings.ini", before);
    run("ini", 0);
    const std::string after = contentOf(directory.path() / "after-all-kept" / "settings.ini");
    EXPECT_THAT(after, testing::HasSubstr("Setpoint=55\n"));
    findsOldOrNew("ini", "settings.ini", before, after);
}

TEST_F(PowerCut, SettingsAreTheOldOnesOrTheNewOnes)
{
    findsOldOrNew("settings", "settings.ini", "; in the cellar\n[Heater]\nSetpoint=21\n",
                  "; in the cellar\n[Heater]\nSetpoint=55\n");
}

TEST_F(PowerCut, FileOfAProgramIsTheOldOneOrTheNewOne)
{
    findsOldOrNew("edit", "settings.txt", std::string(2000, 'o'), std::string(3000, 'n'));
}

TEST_F(PowerCut, NewFileOfAProgramIsThereAsAWholeOrNotAtAll)
{
    cutEverywhere(
        "edit", "settings.txt",
        [](const fs::path& path) { EXPECT_THAT(contentOf(path), AnyOf(nothing, std::string(3000, 'n'))); },
        [](const fs::path& path) { EXPECT_EQ(contentOf(path), std::string(3000, 'n')); });
}

TEST_F(PowerCut, HoursAreThoseOfTheLastSaveOrOfTheOneBefore)
{
    std::set<long> found;
    const auto hoursIn = [](const fs::path& path) {
        Kiv::OperatingHours hours;
        const int error = Kiv::COperatingHours::read(path, 0, hours);
        EXPECT_THAT(error, AnyOf(0, -2, -0x207)) << "no file or no record yet, and never a damaged one";
        return static_cast<long>(hours.total.count());
    };
    for (long saves = 0; saves < 3; ++saves) // the first ever, and one into each place
    {
        const long before = 1000 * saves;
        cutEverywhere(
            "hours", "hours", [&](const fs::path& path) { EXPECT_THAT(hoursIn(path), AnyOf(before, before + 1000)); },
            [&](const fs::path& path) { EXPECT_EQ(hoursIn(path), before + 1000); });
        run("hours", 0);
        fs::copy_file(directory.path() / "after-all-kept" / "hours", directory.path() / "hours",
                      fs::copy_options::overwrite_existing);
    }
}

TEST_F(PowerCut, StorageIsOldOrNewWithinASector)
{
    const std::string rest(1020, 'o');
    findsOldOrNew("storage", "memory", "oooo" + rest, "nnnn" + rest);
    findsOldOrNew("meter", "memory", "oooooooo", std::string("oooo\0\0\0\0", 8));
}

TEST_F(PowerCut, StorageIsAMixOfSectorsBeyondOne)
{
    write("memory", std::string(1024, 'o'));
    std::set<std::string> found;
    cutEverywhere(
        "wide-storage", "memory", [&](const fs::path& path) { found.insert(contentOf(path)); },
        [](const fs::path& path) { EXPECT_EQ(contentOf(path), std::string(1024, 'n')); });
    const std::string old(512, 'o');
    const std::string fresh(512, 'n');
    EXPECT_THAT(found, testing::UnorderedElementsAre(old + old, fresh + fresh, old + fresh, fresh + old));
}

TEST_F(PowerCut, CrashReportLeavesTheReportsBeforeAsTheyWere)
{
    const std::string before = std::string(600, 'o') + "\n";
    write("report", before);
    const long operations = run("crash", 0);
    for (long operation = 0; operation <= operations; ++operation)
    {
        run("crash", operation);
        look("report", [&](const fs::path& path) { EXPECT_THAT(contentOf(path), StartsWith(before)); });
    }
}
