#include <kiv/EnvVars.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ChildProcess.h"

using Kiv::Env::substituteEnvironmentVars;

TEST(EnvVars, ReferencesAreReplacedByTheirValues)
{
    setenv("KIV_TEST_PLACE", "/h", 1);
    setenv("KIV_TEST_EMPTY", "", 1);
    setenv("KIV_TEST_SELF", "${KIV_TEST_SELF}", 1);
    setenv("KIV_TEST_DOLLAR", "$", 1);
    setenv("${INNER", "never asked for", 1);
    unsetenv("KIV_TEST_UNSET");
    const struct
    {
        const char* name;
        const char* text;
        const char* result;
    } rows[] = {
        {"no reference", "plain $ { } text", "plain $ { } text"},
        {"empty text", "", ""},
        {"in the middle", "x${KIV_TEST_PLACE}y", "x/hy"},
        {"side by side", "${KIV_TEST_PLACE}${KIV_TEST_PLACE}", "/h/h"},
        {"unset stays", "a${KIV_TEST_UNSET}b", "a${KIV_TEST_UNSET}b"},
        {"empty stays", "a${KIV_TEST_EMPTY}b${KIV_TEST_PLACE}", "a${KIV_TEST_EMPTY}b/h"},
        {"empty name stays", "${}${KIV_TEST_PLACE}", "${}/h"},
        {"names are literal", "${ KIV_TEST_PLACE }", "${ KIV_TEST_PLACE }"},
        {"values are not scanned", "${KIV_TEST_SELF}${KIV_TEST_SELF}", "${KIV_TEST_SELF}${KIV_TEST_SELF}"},
        {"no reference across a value's end", "${KIV_TEST_DOLLAR}{KIV_TEST_PLACE}", "${KIV_TEST_PLACE}"},
        {"the first } closes", "${A${KIV_TEST_PLACE}}", "${A${KIV_TEST_PLACE}}"},
        {"unterminated empties all", "x${KIV_TEST_PLACE}y${KIV_TEST_PLACE", ""},
        {"a lone end is text", "}${KIV_TEST_PLACE}}", "}/h}"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(substituteEnvironmentVars(row.text), row.result) << row.name;
}

TEST(EnvVars, ThreadsPublishTheDirectoryOfTheProgram)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] { Kiv::Env::initEnvironmentVars(); });
    for (std::thread& thread : threads)
        thread.join();
    const std::string directory = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    EXPECT_EQ(substituteEnvironmentVars("${APP_PATH}"), directory);
    setenv("APP_PATH", "/set/by/hand", 1);
    Kiv::Env::initEnvironmentVars();
    EXPECT_STREQ(getenv("APP_PATH"), "/set/by/hand");
    setenv("APP_PATH", directory.c_str(), 1);
}

TEST(EnvVars, InheritedValuesAreReplaced)
{
    CChildProcess child({"env", "APP_PATH=/elsewhere", "DATA_LOCATION=/elsewhere", "COMMON_APPDATA=/elsewhere",
                         "XDG_DATA_HOME=/data", APPLICATION_CHILD, "environment"});
    EXPECT_EQ(child.wait(), 0) << child.err();
    const std::string directory = std::filesystem::canonical(APPLICATION_CHILD).parent_path();
    EXPECT_EQ(child.out(), "APP_PATH=" + directory +
                               "\nDATA_LOCATION=/data/Waterworks/Pump\nCOMMON_APPDATA=/data/Waterworks/Pump\n");
}
