#include "PumpHours.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include <kiv/ErrorToString.h>
#include <kiv/FileStorage.h>

#include "TextFile.h"

namespace PumpStation
{

namespace
{

using Record = std::uint32_t;

// The records, four bytes each: the meter's, and one for each pump.
constexpr int meterOffset = 0;
constexpr long recordSize = sizeof(Record);
constexpr long memorySize = (1 + pumpCount) * recordSize;

constexpr int onlyWhenTold = 1000000000; // the meter's own saving, in seconds

long pumpOffset(std::size_t pump) { return recordSize * static_cast<long>(1 + pump); }

/// Lengthens the file by zeros to what the records take.
void provideFile(const std::string& path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "abe"), &std::fclose);
    if (!file || std::fseek(file.get(), 0, SEEK_END) != 0)
        throw CInputError(path, "cannot be written");
    for (long size = std::ftell(file.get()); size < memorySize; ++size)
        std::fputc('\0', file.get());
}

} // namespace

CPumpHours::CPumpHours(const std::string& path)
    : storage(std::make_shared<Kiv::CFileStorage>(static_cast<int>(memorySize))), meter(onlyWhenTold)
{
    provideFile(path);
    if (const ErrCode error = storage->open(path))
        throw CInputError(path, ErrorToString(error));
    meter.setMemory(storage, meterOffset);
    meter.initialize();
    for (std::size_t pump = 0; pump < pumpCount; ++pump)
    {
        char bytes[recordSize] = {};
        storage->read(bytes, recordSize, pumpOffset(pump));
        std::memcpy(&pumps.at(pump), bytes, recordSize);
    }
    if (!storage->isGood())
        throw CInputError(path, "cannot be read");
}

ErrCode CPumpHours::save()
{
    for (std::size_t pump = 0; pump < pumpCount; ++pump)
    {
        char bytes[recordSize];
        std::memcpy(bytes, &pumps.at(pump), recordSize);
        storage->write(bytes, recordSize, pumpOffset(pump));
    }
    lastSaved = std::chrono::steady_clock::now();
    return meter.save();
}

void CPumpHours::saveHourly()
{
    if (std::chrono::steady_clock::now() - lastSaved >= std::chrono::hours(1))
        save();
}

} // namespace PumpStation
