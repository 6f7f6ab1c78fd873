// Saves an hour meter's record again and again: hour_meter_child PATH OFFSET. All four bytes of a record are equal.
#include <cstdlib>

#include <kiv/FileStorage.h>

#include "kiv/files/HourMeterPrivate.h"

int main(int, char** argv)
{
    const auto storage = std::make_shared<Kiv::CFileStorage>(16);
    if (storage->open(argv[1]) != 0)
        return 1;
    Kiv::CHourMeterPrivate meter(nullptr, -1);
    meter.storage = storage;
    meter.offset = std::atoi(argv[2]);
    for (std::uint32_t i = 1;; ++i)
    {
        meter.reading = i % 256 * 0x01010101U;
        meter.save();
        if (i % 3 == 0)
            storage->flush();
    }
}
