// A configuration that is read anew while the program runs, and taken over only when it is whole.

// [config_reload]
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include <kiv/ErrorToString.h>
#include <kiv/IniFile.h>

struct Limits
{
    long low = 10;
    long high = 90;
};

/// Changes `limits` only if the whole file is good.
bool reload(const std::string& path, Limits& limits)
{
    Kiv::CIniFile ini(path); // a new object each time: load() adds to what is there
    try
    {
        if (const ErrCode error = ini.load())
            return std::printf("kept: %s\n", ErrorToString(error)), false;
    }
    catch (const std::out_of_range&) // a line begins with '[' and has no ']'
    {
        return std::puts("kept: a section without its bracket"), false;
    }
    Limits fresh;
    fresh.low = ini.readInteger("Limits", "Low", fresh.low);
    fresh.high = ini.readInteger("Limits", "High", fresh.high);
    if (fresh.low >= fresh.high)
        return std::puts("kept: low is not below high"), false;
    limits = fresh;
    return true;
}

int main()
{
    Limits limits;
    const std::string path = "limits.ini";
    for (const char* text : {"[Limits]\nLow=20\n", "[Limits]\nLow=95\n", "[Limits\n"})
    {
        std::ofstream(path) << text;
        reload(path, limits);
        std::printf("%ld to %ld\n", limits.low, limits.high);
    }
    reload("missing.ini", limits);
}
// [config_reload]
