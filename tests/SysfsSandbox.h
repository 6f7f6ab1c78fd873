/// A /sys/class of plain files that only the test's own process sees.
#ifndef KIV_TESTS_SYSFSSANDBOX_H
#define KIV_TESTS_SYSFSSANDBOX_H

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

/// Mounts an empty file system over /sys/class in a mount namespace of the process's own, so that nothing stays behind.
/// The files take every byte and refuse nothing: what a kernel would answer is not shown here.
class CSysfsSandbox : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!mounted() && !mountPrivately())
            GTEST_SKIP() << "neither root nor user namespaces are to be had here";
    }

    /// Makes an attribute, its folders included. The path is relative to /sys/class.
    static void make(const std::string& path, const std::string& content = "")
    {
        const std::string full = root + path;
        for (std::size_t slash = full.find('/', root.size()); slash != std::string::npos;
             slash = full.find('/', slash + 1))
            mkdir(full.substr(0, slash).c_str(), 0755);
        std::ofstream(full, std::ios::binary) << content;
    }

    /// What was written to an attribute since it was made.
    static std::string content(const std::string& path)
    {
        std::ostringstream all;
        all << std::ifstream(root + path, std::ios::binary).rdbuf();
        return all.str();
    }

    /// Where it stands.
    static inline const std::string root = "/sys/class/";

private:
    static bool& mounted()
    {
        static bool done = false;
        return done;
    }

    static bool mountPrivately()
    {
        const bool isRoot = geteuid() == 0;
        if (unshare(isRoot ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0)
            return false;
        mounted() = mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                    mount("sandbox", "/sys/class", "tmpfs", 0, nullptr) == 0;
        return mounted();
    }
};

#endif
