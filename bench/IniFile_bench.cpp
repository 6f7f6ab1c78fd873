// A configuration of 1,000 sections with 20 keys each and a comment before every section and key: loaded, read at
// random, written, beside the peers that keep comments too.

#include <kiv/IniFile.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#define SI_NO_CONVERSION // bytes as they are, as the others take them
#include <SimpleIni.h>
#include <glib.h>
#include <malloc.h>
#include <unistd.h>

#include "allocations.h"

namespace
{

constexpr int sectionTotal = 1000;
constexpr int keysPerSection = 20;
constexpr int readTotal = 10000;

std::string sectionName(int section) { return "Section" + std::to_string(section); }

std::string keyName(int key) { return "Key" + std::to_string(key); }

std::string configurationText()
{
    std::string text = "# made for the benchmark\n";
    for (int section = 0; section < sectionTotal; ++section)
    {
        text += "# part " + std::to_string(section) + "\n[" + sectionName(section) + "]\n";
        for (int key = 0; key < keysPerSection; ++key)
            text += "# what key " + std::to_string(key) + " is for\n" + keyName(key) + "=value number " +
                    std::to_string(section * keysPerSection + key) + "\n";
        text += '\n';
    }
    return text;
}

/// A directory of this process with the configuration in it; removed at the end.
class CScratch
{
public:
    explicit CScratch(const std::string& parent)
    {
        directory = parent + "/kiv-ini-bench-" + std::to_string(getpid());
        std::filesystem::create_directory(directory);
        const std::string text = configurationText();
        size = static_cast<std::int64_t>(text.size());
        std::ofstream(input()) << text;
    }
    ~CScratch() { std::filesystem::remove_all(directory); }
    CScratch(const CScratch&) = delete;
    CScratch& operator=(const CScratch&) = delete;

    std::string input() const { return directory + "/input.ini"; }
    std::string output(const std::string& who) const { return directory + "/" + who + ".ini"; }
    std::int64_t bytes() const { return size; }

private:
    std::string directory;
    std::int64_t size = 0;
};

/// In memory where that is possible.
const CScratch& scratch()
{
    static const CScratch only(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
    return only;
}

/// On the disk that the benchmark is started on.
const CScratch& disk()
{
    static const CScratch only(std::filesystem::current_path());
    return only;
}

struct SPlace
{
    std::string section;
    std::string key;
};

const std::vector<SPlace>& places()
{
    static const std::vector<SPlace> all = [] {
        std::mt19937 random(4711);
        std::vector<SPlace> made;
        for (int i = 0; i < readTotal; ++i)
        {
            const int section = static_cast<int>(random() % sectionTotal);
            made.push_back({sectionName(section), keyName(static_cast<int>(random() % keysPerSection))});
        }
        return made;
    }();
    return all;
}

struct SKeyFile
{
    SKeyFile() : file(g_key_file_new()) {}
    ~SKeyFile() { g_key_file_free(file); }
    SKeyFile(const SKeyFile&) = delete;
    SKeyFile& operator=(const SKeyFile&) = delete;

    bool load()
    {
        return g_key_file_load_from_file(file, scratch().input().c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
    }

    GKeyFile* file;
};

/// SimpleIni with what the others do too: case-sensitive names, unaligned "key=value".
struct SSimpleIni : CSimpleIniCaseA
{
    SSimpleIni() { SetSpaces(false); }
    bool load() { return LoadFile(scratch().input().c_str()) >= 0; }
};

void countBytes(benchmark::State& state) { state.SetBytesProcessed(state.iterations() * scratch().bytes()); }

void countReads(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * readTotal); }

std::size_t heapInUse()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// What a loaded file takes, in sizes of the file.
void countHeap(benchmark::State& state, std::size_t before)
{
    state.counters["heap_of_file"] = static_cast<double>(heapInUse() - before) / static_cast<double>(scratch().bytes());
}

void check(benchmark::State& state, bool done)
{
    if (!done)
        state.SkipWithError("the file was not read or written");
}

// ---- load

void loadKiv(benchmark::State& state)
{
    const auto load = [&] {
        Kiv::CIniFile ini(scratch().input());
        check(state, ini.load() == 0);
    };
    countAllocationsOf(state, load);
    for (auto _ : state)
        load();
    countBytes(state);
    const std::size_t before = heapInUse();
    Kiv::CIniFile ini(scratch().input());
    check(state, ini.load() == 0);
    countHeap(state, before);
}

void loadKeyFile(benchmark::State& state)
{
    scratch();
    for (auto _ : state)
    {
        SKeyFile ini;
        check(state, ini.load());
    }
    countBytes(state);
    const std::size_t before = heapInUse();
    SKeyFile ini;
    check(state, ini.load());
    countHeap(state, before);
}

void loadSimpleIni(benchmark::State& state)
{
    const auto load = [&] {
        SSimpleIni ini;
        check(state, ini.load());
    };
    countAllocationsOf(state, load);
    for (auto _ : state)
        load();
    countBytes(state);
    const std::size_t before = heapInUse();
    SSimpleIni ini;
    check(state, ini.load());
    countHeap(state, before);
}

// ---- 10,000 reads

void readKiv(benchmark::State& state)
{
    Kiv::CIniFile ini(scratch().input());
    check(state, ini.load() == 0);
    const std::string missing;
    std::string value;
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        for (const SPlace& place : places())
        {
            ini.readString(place.section, place.key, missing, value);
            benchmark::DoNotOptimize(value.data());
        }
    }
    countReads(state);
}

void readKeyFile(benchmark::State& state)
{
    SKeyFile ini;
    check(state, ini.load());
    for (auto _ : state)
    {
        for (const SPlace& place : places())
        {
            char* value = g_key_file_get_string(ini.file, place.section.c_str(), place.key.c_str(), nullptr);
            benchmark::DoNotOptimize(value);
            g_free(value);
        }
    }
    countReads(state);
}

void readSimpleIni(benchmark::State& state)
{
    SSimpleIni ini;
    check(state, ini.load());
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        for (const SPlace& place : places())
            benchmark::DoNotOptimize(ini.GetValue(place.section.c_str(), place.key.c_str(), ""));
    }
    countReads(state);
}

// ---- the first 10,000 reads after a load, whatever is made ready for them included

template<class Ini, class Read>
void readAtFirst(benchmark::State& state, const Read& read)
{
    for (auto _ : state)
    {
        state.PauseTiming();
        auto ini = std::make_unique<Ini>();
        check(state, ini->load());
        state.ResumeTiming();
        for (const SPlace& place : places())
            read(*ini, place);
        state.PauseTiming();
        ini.reset();
        state.ResumeTiming();
    }
    countReads(state);
}

struct SKivFile : Kiv::CIniFile
{
    SKivFile() : CIniFile(scratch().input()) {}
    bool load() { return CIniFile::load() == 0; }
};

void readAtFirstKiv(benchmark::State& state)
{
    const std::string missing;
    std::string value;
    readAtFirst<SKivFile>(state, [&](const SKivFile& ini, const SPlace& place) {
        ini.readString(place.section, place.key, missing, value);
        benchmark::DoNotOptimize(value.data());
    });
}

void readAtFirstKeyFile(benchmark::State& state)
{
    readAtFirst<SKeyFile>(state, [](const SKeyFile& ini, const SPlace& place) {
        char* value = g_key_file_get_string(ini.file, place.section.c_str(), place.key.c_str(), nullptr);
        benchmark::DoNotOptimize(value);
        g_free(value);
    });
}

// ---- what takes longer for more

void eraseSections(benchmark::State& state)
{
    std::vector<std::string> names(static_cast<std::size_t>(state.range(0)));
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] = sectionName(static_cast<int>(i));
    for (auto _ : state)
    {
        state.PauseTiming();
        Kiv::CIniFile ini("");
        for (const std::string& name : names)
            ini.addSection(name, "");
        state.ResumeTiming();
        for (const std::string& name : names)
            ini.eraseSection(name);
        check(state, ini.sectionCount() == 0);
    }
}

// ---- update: kiv and GKeyFile replace the file as a whole and flush it, SimpleIni writes over it

void updateKiv(benchmark::State& state, const CScratch& (*place)())
{
    const std::string path = place().output("kiv");
    std::filesystem::copy_file(scratch().input(), path, std::filesystem::copy_options::overwrite_existing);
    Kiv::CIniFile ini(path);
    check(state, ini.load() == 0);
    const CAllocationCounter counter(state);
    for (auto _ : state)
        check(state, ini.updateFile() == 0);
    countBytes(state);
}

void updateKeyFile(benchmark::State& state, const CScratch& (*place)())
{
    const std::string path = place().output("keyfile");
    SKeyFile ini;
    check(state, ini.load());
    for (auto _ : state)
        check(state, g_key_file_save_to_file(ini.file, path.c_str(), nullptr));
    countBytes(state);
}

void updateSimpleIni(benchmark::State& state, const CScratch& (*place)())
{
    const std::string path = place().output("simpleini");
    SSimpleIni ini;
    check(state, ini.load());
    const auto update = [&] { check(state, ini.SaveFile(path.c_str(), false) >= 0); };
    countAllocationsOf(state, update);
    for (auto _ : state)
        update();
    countBytes(state);
}

} // namespace

BENCHMARK(loadKiv)->Name("INI load 1 MB/kiv");
BENCHMARK(loadKeyFile)->Name("INI load 1 MB/GLib GKeyFile");
BENCHMARK(loadSimpleIni)->Name("INI load 1 MB/SimpleIni");
BENCHMARK(readKiv)->Name("INI 10,000 random reads/kiv");
BENCHMARK(readKeyFile)->Name("INI 10,000 random reads/GLib GKeyFile");
BENCHMARK(readSimpleIni)->Name("INI 10,000 random reads/SimpleIni");
BENCHMARK(readAtFirstKiv)->Name("INI first 10,000 random reads/kiv");
BENCHMARK(readAtFirstKeyFile)->Name("INI first 10,000 random reads/GLib GKeyFile");
BENCHMARK(eraseSections)->Name("INI erase all sections/kiv")->ArgName("n")->Arg(1000)->Arg(10'000)->Arg(100'000);
BENCHMARK_CAPTURE(updateKiv, memory, scratch)->Name("INI update 1 MB on tmpfs/kiv");
BENCHMARK_CAPTURE(updateKeyFile, memory, scratch)->Name("INI update 1 MB on tmpfs/GLib GKeyFile");
BENCHMARK_CAPTURE(updateSimpleIni, memory, scratch)->Name("INI update 1 MB on tmpfs/SimpleIni");
BENCHMARK_CAPTURE(updateKiv, disk, disk)->Name("INI update 1 MB on a disk/kiv")->UseRealTime();
BENCHMARK_CAPTURE(updateKeyFile, disk, disk)->Name("INI update 1 MB on a disk/GLib GKeyFile")->UseRealTime();
BENCHMARK_CAPTURE(updateSimpleIni, disk, disk)->Name("INI update 1 MB on a disk/SimpleIni")->UseRealTime();
