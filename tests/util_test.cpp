#include <kiv/util.h>
#include <kiv/whereami.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "programs/module_child.h"
#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace
{

/// What the child prints about a program at `path`.
std::string pathsOf(const fs::path& path)
{
    return path.string() + "\n" + path.parent_path().string() + "\n" + path.filename().string() + "\n" + path.string() +
           "\n" + path.parent_path().string() + "\n";
}

} // namespace

TEST(ApplicationPath, IsTheTargetOfALinkAndMayHoldBlanks)
{
    const TemporaryDirectory directory;
    const fs::path program = directory.path() / "a folder" / "the program";
    fs::create_directory(program.parent_path());
    fs::copy(APPLICATION_CHILD, program);
    fs::create_symlink(program, directory.path() / "link");
    CChildProcess child({directory.path() / "link", "paths"});
    EXPECT_EQ(child.wait(), 0) << child.err();
    EXPECT_EQ(child.out(), pathsOf(program));
}

TEST(ApplicationPath, IsEmptyWhenTheProgramWasDeleted)
{
    const TemporaryDirectory directory;
    const fs::path program = directory.path() / "program";
    fs::copy(APPLICATION_CHILD, program);
    CChildProcess child({program, "paths-after-deletion"});
    EXPECT_EQ(child.wait(), 0) << child.err();
    EXPECT_EQ(child.out(), "\n\n\n\n\n");
}

TEST(WhereAmI, CopiesOnlyWhatFits)
{
    const std::string path = fs::read_symlink("/proc/self/exe");
    const auto length = static_cast<int>(path.size());
    const struct
    {
        const char* name;
        int capacity;
        bool isCopied;
    } rows[] = {
        {"exactly", length, true}, {"one short", length - 1, false}, {"none", 0, false}, {"negative", -1, false}};
    for (const auto& row : rows)
    {
        std::string buffer(path.size() + 1, '#');
        int dirLength = -7;
        EXPECT_EQ(wai_getExecutablePath(buffer.data(), row.capacity, &dirLength), length) << row.name;
        EXPECT_EQ(buffer, row.isCopied ? path + "#" : std::string(path.size() + 1, '#')) << row.name;
        EXPECT_EQ(dirLength, row.isCopied ? static_cast<int>(path.rfind('/')) : -7) << row.name;
        EXPECT_EQ(wai_getExecutablePath(buffer.data(), row.capacity, nullptr), length) << row.name;
    }
    int dirLength = -7;
    EXPECT_EQ(wai_getExecutablePath(nullptr, length, &dirLength), length);
    EXPECT_EQ(dirLength, -7);
}

TEST(WhereAmI, ModuleIsTheFileThatHoldsTheCallingCode)
{
    std::string buffer(4096, '#');
    int dirLength = 0;
    const int ownLength = wai_getModulePath(buffer.data(), 4096, &dirLength);
    if (fs::path(MODULE_CHILD).string().find(' ') != std::string::npos)
        GTEST_SKIP() << "a path with a blank is cut there";
    ASSERT_GT(ownLength, 0);
    EXPECT_EQ(buffer.substr(0, static_cast<std::size_t>(ownLength)), fs::read_symlink("/proc/self/exe"));

    const int moduleLength = moduleOfTheModule(buffer.data(), 4096, &dirLength);
    ASSERT_GT(moduleLength, 0);
    const std::string module = buffer.substr(0, static_cast<std::size_t>(moduleLength));
    EXPECT_EQ(module, fs::canonical(MODULE_CHILD));
    EXPECT_EQ(static_cast<std::size_t>(dirLength), module.rfind('/'));
}
