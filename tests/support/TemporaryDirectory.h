/// A directory of its own for one test.
#ifndef KIV_TESTS_TEMPORARYDIRECTORY_H
#define KIV_TESTS_TEMPORARYDIRECTORY_H

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

/// Exists, empty at first, while the object lives.
class TemporaryDirectory
{
public:
    TemporaryDirectory() : TemporaryDirectory(std::filesystem::temp_directory_path()) {}

    explicit TemporaryDirectory(const std::filesystem::path& parent)
    {
        std::string name = parent / "kiv_test_XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), name);
        directory = std::filesystem::canonical(name);
    }

    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return directory; }

    /// Where files that are brought to the medium thousands of times cost no time, if there is such a place.
    static std::filesystem::path inMemory()
    {
        return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path();
    }

private:
    std::filesystem::path directory;
};

#endif
