// Four-byte records in a storage file: reads, writes, and saves that wait for the medium.
#include <kiv/FileStorage.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "allocations.h"

namespace
{

constexpr long storageSize = 65536;
constexpr long stride = 68; // so that the records differ, and none of them lies on a border
using Record = std::array<char, 4>;

/// A file of zeros in the working directory, so on the medium that is to be measured.
class CStorageFile
{
public:
    CStorageFile()
    {
        const int descriptor = ::mkstemp(path.data());
        if (descriptor < 0)
            std::abort();
        ::close(descriptor);
        std::ofstream(path, std::ios::binary) << std::string(storageSize, '\0');
    }
    CStorageFile(const CStorageFile&) = delete;
    CStorageFile& operator=(const CStorageFile&) = delete;
    ~CStorageFile() { ::unlink(path.c_str()); }

    std::string path = "storage-XXXXXX";
};

class CKivFile
{
public:
    explicit CKivFile(const std::string& path) { isWhole = storage.open(path) == 0; }

    void read(Record& record, long offset) { isWhole &= storage.read(record.data(), 4, offset) == 0; }
    void write(const Record& record, long offset) { isWhole &= storage.write(record.data(), 4, offset) == 0; }
    void save() { isWhole &= storage.flush() == 0; }

    Kiv::CFileStorage storage{storageSize};
    bool isWhole = false;
};

class CStdioFile
{
public:
    explicit CStdioFile(const std::string& path) : file(std::fopen(path.c_str(), "r+b")) { isWhole = file != nullptr; }
    CStdioFile(const CStdioFile&) = delete;
    CStdioFile& operator=(const CStdioFile&) = delete;
    ~CStdioFile() { std::fclose(file); }

    void read(Record& record, long offset)
    {
        isWhole &= std::fseek(file, offset, SEEK_SET) == 0 && std::fread(record.data(), 4, 1, file) == 1;
    }
    void write(const Record& record, long offset)
    {
        isWhole &= std::fseek(file, offset, SEEK_SET) == 0 && std::fwrite(record.data(), 4, 1, file) == 1;
    }
    void save() { isWhole &= std::fflush(file) == 0 && ::fsync(::fileno(file)) == 0; }

    std::FILE* file;
    bool isWhole = false;
};

class CSystemFile
{
public:
    explicit CSystemFile(const std::string& path) : descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC))
    {
        isWhole = descriptor >= 0;
    }
    CSystemFile(const CSystemFile&) = delete;
    CSystemFile& operator=(const CSystemFile&) = delete;
    ~CSystemFile() { ::close(descriptor); }

    void read(Record& record, long offset) { isWhole &= ::pread(descriptor, record.data(), 4, offset) == 4; }
    void write(const Record& record, long offset) { isWhole &= ::pwrite(descriptor, record.data(), 4, offset) == 4; }
    void save() { isWhole &= ::fsync(descriptor) == 0; }

    int descriptor;
    bool isWhole = false;
};

/// Goes from record to record through the file, with one operation on each.
template<class File, class Operation>
void onRecords(benchmark::State& state, const Operation& operation)
{
    const CStorageFile onMedium;
    File file(onMedium.path);
    Record record{};
    long offset = 0;
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        ++record[0];
        operation(file, record, offset);
        benchmark::DoNotOptimize(record);
        offset = (offset + stride) % (storageSize - stride);
    }
    if (!file.isWhole)
        state.SkipWithError("an access failed");
}

template<class File>
void readRecord(benchmark::State& state)
{
    onRecords<File>(state, [](File& file, Record& record, long offset) { file.read(record, offset); });
}

template<class File>
void writeRecord(benchmark::State& state)
{
    onRecords<File>(state, [](File& file, const Record& record, long offset) { file.write(record, offset); });
}

template<class File>
void saveRecord(benchmark::State& state)
{
    onRecords<File>(state, [](File& file, const Record& record, long offset) {
        file.write(record, offset);
        file.save();
    });
}

BENCHMARK(readRecord<CKivFile>)->Name("read 4 bytes of 64 KiB/kiv");
BENCHMARK(readRecord<CStdioFile>)->Name("read 4 bytes of 64 KiB/fseek+fread");
BENCHMARK(readRecord<CSystemFile>)->Name("read 4 bytes of 64 KiB/pread");
BENCHMARK(writeRecord<CKivFile>)->Name("write 4 bytes/kiv");
BENCHMARK(writeRecord<CStdioFile>)->Name("write 4 bytes/fseek+fwrite");
BENCHMARK(writeRecord<CSystemFile>)->Name("write 4 bytes/pwrite");
BENCHMARK(saveRecord<CKivFile>)->Name("write 4 bytes and wait for the medium/kiv")->UseRealTime();
BENCHMARK(saveRecord<CStdioFile>)->Name("write 4 bytes and wait for the medium/fwrite+fsync")->UseRealTime();
BENCHMARK(saveRecord<CSystemFile>)->Name("write 4 bytes and wait for the medium/pwrite+fsync")->UseRealTime();

} // namespace
