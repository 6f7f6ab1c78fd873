// Operating hours that survive restarts.

// [hour_meter]
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <kiv/ErrorToString.h>
#include <kiv/FileStorage.h>
#include <kiv/HourMeter.h>

class COperatingHours
{
public:
    explicit COperatingHours(const std::string& path)
    {
        std::ofstream(path, std::ios::app).close(); // a storage never creates its file
        if (const ErrCode error = memory->open(path))
            std::printf("%s: %s\n", path.c_str(), ErrorToString(error));
        else if (std::filesystem::file_size(path) < recordSize)
            memory->erase(); // a new file: from 0
        meter.setMemory(memory, 0);
        meter.initialize();
    }

    /// Call it once a minute or so, always on the same thread: the time since the last call counts.
    unsigned seconds() { return meter.reading(); }

    /// At a change of shift and before the program ends; waits until the medium has it.
    ErrCode save() { return meter.save(); }

private:
    static constexpr int recordSize = 4;

    std::shared_ptr<Kiv::CFileStorage> memory = std::make_shared<Kiv::CFileStorage>(recordSize);
    Kiv::CHourMeter meter{-1}; // seconds() writes the record, too
};

int main()
{
    for (int start = 1; start <= 2; ++start) // the second one stands for the program's next start
    {
        COperatingHours hours("hours.bin");
        const unsigned before = hours.seconds();
        while (hours.seconds() == before)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::printf("start %d: %s, %s\n", start, before == 0 ? "new" : "goes on", ErrorToString(hours.save()));
    }
}
// [hour_meter]
