// Runs a fuzz target over the files of a folder, once each.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace
{

/// Of exactly the file's size, so that a read beyond it is seen.
std::vector<std::uint8_t> bytesOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]), 2;
    const std::filesystem::directory_iterator folder(argv[1]);
    std::vector<std::filesystem::path> paths(begin(folder), end(folder));
    std::sort(paths.begin(), paths.end());
    for (const std::filesystem::path& path : paths)
    {
        std::printf("%s\n", path.c_str());
        std::fflush(stdout);
        const std::vector<std::uint8_t> bytes = bytesOf(path);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    return paths.empty() ? 1 : 0;
}
