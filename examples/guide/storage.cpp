// A counter and operating hours in a file that stands in for a non-volatile memory.

// [storage]
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <kiv/ErrorToString.h>
#include <kiv/FileStorage.h>

/// The memory as the last run left it, at first all zeros; null where it cannot be used.
std::shared_ptr<Kiv::CFileStorage> openMemory(const std::string& path)
{
    constexpr int size = 64;
    std::ofstream(path, std::ios::app).close(); // a storage never creates its file
    auto memory = std::make_shared<Kiv::CFileStorage>(size);
    if (const ErrCode error = memory->open(path))
        return std::printf("%s: %s\n", path.c_str(), ErrorToString(error)), nullptr;
    if (std::filesystem::file_size(path) < size) // a new one: a read past its end would silence the storage
        memory->erase();
    return memory;
}

/// What the program does at each start.
bool start()
{
    const auto memory = openMemory("memory.bin");
    if (!memory)
        return false;

    std::uint32_t starts = 0;
    char record[sizeof starts];
    memory->read(record, sizeof record, 4); // bytes 4 to 7
    std::memcpy(&starts, record, sizeof starts);
    ++starts;
    std::memcpy(record, &starts, sizeof record);
    memory->write(record, sizeof record, 4);
    std::printf("start %u\n", starts);

    if (const ErrCode error = memory->flush()) // waits until the medium has it
        std::printf("not saved: %s\n", ErrorToString(error));
    return memory->isGood();
}

int main() { return start() && start() ? 0 : 1; } // the second one stands for the next start of the program
// [storage]
