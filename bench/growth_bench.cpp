// How the cost of work grows with its size: three sizes for each, of which scripts/bench fits the exponent. One
// iteration is the whole work of that size, unless the name says "one".
#include <kiv/kiv.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <kiv/StateMachineValidation.h>

namespace
{

std::size_t sizeOf(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

// ---- text

/// One code point in twenty takes two bytes.
utf8_string mixedText(std::size_t bytes)
{
    std::string text;
    while (text.size() < bytes)
        text += "nineteen letters... \u00E9";
    return utf8_string(text);
}

void insertIntoText(benchmark::State& state)
{
    utf8_string text = mixedText(sizeOf(state));
    text.raw_reserve(text.size() + 100);
    const std::size_t middle = text.length() / 2;
    for (auto _ : state)
    {
        text.insert(middle, U'x');
        text.erase(middle, 1);
    }
}

void findInText(benchmark::State& state)
{
    utf8_string text = mixedText(sizeOf(state));
    text.append("needle");
    for (auto _ : state)
        benchmark::DoNotOptimize(text.find("needle"));
}

void copyText(benchmark::State& state)
{
    const utf8_string text = mixedText(sizeOf(state));
    for (auto _ : state)
    {
        utf8_string copy(text);
        benchmark::DoNotOptimize(copy);
    }
}

// ---- INI files

std::string section(std::size_t i) { return "Section" + std::to_string(i); }

/// A file of so many sections with ten keys each, removed at the end.
class CIniText
{
public:
    explicit CIniText(std::size_t sections)
    {
        std::ofstream file(path);
        for (std::size_t i = 0; i < sections; ++i)
        {
            file << '[' << section(i) << "]\n";
            for (int key = 0; key < 10; ++key)
                file << "key" << key << "=the value of it\n";
        }
    }
    CIniText(const CIniText&) = delete;
    CIniText& operator=(const CIniText&) = delete;
    ~CIniText() { std::filesystem::remove(path); }

    const std::string path =
        (std::filesystem::temp_directory_path() / ("growth-" + std::to_string(::getpid()) + ".ini")).string();
};

void loadIni(benchmark::State& state)
{
    const CIniText text(sizeOf(state));
    for (auto _ : state)
    {
        Kiv::CIniFile ini(text.path);
        benchmark::DoNotOptimize(ini.load());
    }
}

void lookUpIni(benchmark::State& state)
{
    const CIniText text(sizeOf(state));
    Kiv::CIniFile ini(text.path);
    ini.load();
    std::uint32_t random = 1;
    for (auto _ : state)
    {
        random = random * 1664525U + 1013904223U;
        benchmark::DoNotOptimize(ini.findKey(section((random >> 8) % sizeOf(state)), "key7"));
    }
}

// ---- signals

struct CReceiver : sigslot::has_slots<>
{
    void onSignal(int* count) { ++*count; }
};

void emitToMany(benchmark::State& state)
{
    std::vector<CReceiver> receivers(sizeOf(state));
    sigslot::signal1<int*> signal;
    for (CReceiver& receiver : receivers)
        signal.connect(&receiver, &CReceiver::onSignal);
    int count = 0;
    for (auto _ : state)
        signal(&count);
    if (count != static_cast<int>(state.iterations() * state.range(0)))
        state.SkipWithError("not every receiver was called");
}

void destroyReceivers(benchmark::State& state)
{
    for (auto _ : state)
    {
        state.PauseTiming();
        auto receivers = std::make_unique<std::vector<CReceiver>>(sizeOf(state));
        sigslot::signal1<int*> signal;
        for (CReceiver& receiver : *receivers)
            signal.connect(&receiver, &CReceiver::onSignal);
        state.ResumeTiming();
        receivers.reset();
    }
}

// ---- state machines

void buildStates(benchmark::State& state)
{
    for (auto _ : state)
    {
        Kiv::CStateMachine machine;
        for (std::size_t i = 0; i < sizeOf(state); ++i)
            new Kiv::CState(section(i), &machine);
        benchmark::DoNotOptimize(machine);
    }
}

void validateChain(benchmark::State& state)
{
    Kiv::CStateMachine machine;
    Kiv::CState* parent = &machine;
    for (std::size_t i = 0; i < sizeOf(state); ++i)
        parent = new Kiv::CState(section(i), parent);
    for (auto _ : state)
        benchmark::DoNotOptimize(Kiv::validate(machine));
}

// ---- values

void findEnumerator(benchmark::State& state)
{
    Kiv::CEnumStringMap map;
    for (std::size_t i = 0; i < sizeOf(state); ++i)
        map.insert(static_cast<int>(i), section(i));
    std::uint32_t random = 1;
    for (auto _ : state)
    {
        random = random * 1664525U + 1013904223U;
        benchmark::DoNotOptimize(map.toEnum(section((random >> 8) % sizeOf(state))));
    }
}

void substitute(benchmark::State& state)
{
    ::setenv("KIV_GROWTH", "value", 1);
    std::string text;
    for (std::size_t i = 0; i < sizeOf(state); ++i)
        text += "a ${KIV_GROWTH} ";
    for (auto _ : state)
        benchmark::DoNotOptimize(Kiv::Env::substituteEnvironmentVars(text));
}

void crc16(benchmark::State& state)
{
    const std::vector<unsigned char> bytes(sizeOf(state), 0x5A);
    for (auto _ : state)
        benchmark::DoNotOptimize(Kiv::simpleCRC16(bytes.data(), static_cast<int>(bytes.size()), 0x11021));
}

void base32(benchmark::State& state)
{
    const std::string bytes(sizeOf(state), 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(Base32::Decode(Base32::Encode(bytes, true)));
}

void sizes(const char* what, void (*run)(benchmark::State&), std::int64_t most)
{
    benchmark::RegisterBenchmark((std::string(what) + "/kiv").c_str(), run)
        ->ArgName("n")
        ->Arg(most / 100)
        ->Arg(most / 10)
        ->Arg(most);
}

const bool areRegistered = [] {
    sizes("text: insert and erase one in the middle", insertIntoText, 1'000'000);
    sizes("text: find behind n bytes", findInText, 1'000'000);
    sizes("text: copy", copyText, 1'000'000);
    sizes("INI: load n sections", loadIni, 10'000);
    sizes("INI: look up one key in n sections", lookUpIni, 10'000);
    sizes("signal: emit to n receivers", emitToMany, 10'000);
    sizes("signal: destroy n receivers", destroyReceivers, 10'000);
    sizes("states: build and destroy n under one parent", buildStates, 10'000);
    sizes("states: validate a chain n deep", validateChain, 2'000);
    sizes("enumeration: look up one of n names", findEnumerator, 10'000);
    sizes("environment: substitute n names", substitute, 10'000);
    sizes("CRC-16 of n bytes", crc16, 100'000);
    sizes("Base32 there and back", base32, 1'000'000);
    return true;
}();

} // namespace
