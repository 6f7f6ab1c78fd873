/// How this process has a file open.
#ifndef KIV_TESTS_OPENDESCRIPTORS_H
#define KIV_TESTS_OPENDESCRIPTORS_H

#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>

/// For each open descriptor of a file, true when programs that this process starts would inherit it.
inline std::vector<bool> inheritanceOf(const std::string& path)
{
    std::vector<bool> inherited;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry, gone) == path)
            inherited.push_back((fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC) == 0);
    }
    return inherited;
}

#endif
