// A configuration that is read anew while the program runs, and taken over only when it is whole.

// [config_reload]
#include <fstream>
#include <iostream>
#include <string>

#include <kiv/ErrorToString.h>
#include <kiv/Settings.h>

struct Limits
{
    int low = 10;
    int high = 90;
};

void describe(Kiv::CSettings& settings, Limits& limits)
{
    settings.section("Limits");
    settings.add("Low", limits.low, "The alarm comes below this.").range(0, 100);
    settings.add("High", limits.high, "The alarm comes above this.").range(0, 100);
    settings.addCheck([&limits](Kiv::CSettings& checked) {
        if (limits.low >= limits.high)
            checked.fail(&limits.low, "is not below High");
    });
}

/// Changes the limits only if the whole file is good.
void reload(Kiv::CSettings& settings, const std::string& path)
{
    const ErrCode error = settings.read(path);
    if (error != 0)
        std::cout << "kept: " << (settings.faults().empty() ? ErrorToString(error) : settings.faultText()) << '\n';
    for (const Kiv::SettingsChange& change : settings.changes())
        std::cout << change.key << " is " << change.after << ", was " << change.before << '\n';
}

int main()
{
    Limits limits;
    Kiv::CSettings settings;
    describe(settings, limits);
    const std::string path = "limits.ini";
    for (const char* text : {"[Limits]\nLow=20\n", "[Limits]\nLow=95\n", "[Limits\n", "[Limits]\nlow=2O\n"})
    {
        std::ofstream(path) << text;
        reload(settings, path);
    }
    reload(settings, "missing.ini");
}
// [config_reload]
