// A counter and operating hours in a file that stands in for a non-volatile memory.

// [storage]
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

#include <kiv/ErrorToString.h>
#include <kiv/FileStorage.h>
#include <kiv/HourMeter.h>

int main()
{
    const char* const path = "memory.bin";
    std::ofstream(path, std::ios::app).close(); // a storage never creates its file

    const auto memory = std::make_shared<Kiv::CFileStorage>(64);
    if (const ErrCode error = memory->open(path))
        return std::printf("%s: %s\n", path, ErrorToString(error)), 1;
    memory->erase(); // a new memory is all zeros

    Kiv::CHourMeter hours(3600); // writes its record at most once an hour by itself
    hours.setMemory(memory, 0);  // bytes 0 to 3
    hours.initialize();
    std::printf("%u s\n", hours.reading());

    std::uint32_t starts = 0;
    char record[sizeof starts];
    memory->read(record, sizeof record, 4); // bytes 4 to 7 are ours
    std::memcpy(&starts, record, sizeof starts);
    ++starts;
    std::memcpy(record, &starts, sizeof record);
    memory->write(record, sizeof record, 4);
    std::printf("start %u\n", starts);

    if (const ErrCode error = hours.save()) // counts, writes and waits until the medium has it
        std::printf("not saved: %s\n", ErrorToString(error));
}
// [storage]
