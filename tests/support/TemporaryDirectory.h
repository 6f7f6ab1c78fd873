/// A directory of its own for one test.
#ifndef KIV_TESTS_TEMPORARYDIRECTORY_H
#define KIV_TESTS_TEMPORARYDIRECTORY_H

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/// Exists, empty at first, while the object lives.
class TemporaryDirectory
{
public:
    TemporaryDirectory()
    {
        std::string name = std::filesystem::temp_directory_path() / "kiv_test_XXXXXX";
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

private:
    std::filesystem::path directory;
};

#endif
