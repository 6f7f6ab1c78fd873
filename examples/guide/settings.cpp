// The settings of a heater: described, read, changed and written back.

// [settings]
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include <kiv/Settings.h>

using namespace std::chrono_literals;

enum eMode : int
{
    ModeDay,
    ModeNight
};

/// The values of a new controller are the defaults.
struct Heater
{
    double setPoint = 21.5;
    int limit = 60;
    bool isOn = true;
    eMode mode = ModeDay;
    std::chrono::milliseconds pause = 5min;
    std::string name;
};

void describe(Kiv::CSettings& settings, Heater& heater)
{
    settings.section("Heater", "The heater of the tank.");
    settings.add("SetPoint", heater.setPoint, "It heats below this.").range(5, 60).unit("degC");
    settings.add("Limit", heater.limit, "It is switched off above this.").range(10, 95).unit("degC");
    settings.add("On", heater.isOn, "Off: it does not heat at all.");
    settings.addChoice("Mode", heater.mode, {{"day", ModeDay}, {"night", ModeNight}}, "What the clock starts with.");
    settings.add("Pause", heater.pause, "At least so long it stays off.").range(1s, 1h);
    settings.add("Name", heater.name, "What the display shows.").required();
    settings.addCheck([&heater](Kiv::CSettings& checked) {
        if (heater.limit <= heater.setPoint)
            checked.fail(&heater.limit, "does not lie above SetPoint");
    });
}
// [settings]

// [read]
/// False when the heater keeps the values that it had.
bool reload(Kiv::CSettings& settings, const std::string& path)
{
    if (settings.read(path) != 0)
        return std::cout << settings.faultText(), false;
    for (const Kiv::SettingsChange& change : settings.changes())
        std::cout << change.key << ": " << change.before << " -> " << change.after << '\n';
    return true;
}
// [read]

int main()
{
    const std::string path = "heater.ini";
    Heater heater;
    Kiv::CSettings settings("What the heater does.");
    describe(settings, heater);

    std::ofstream(path) << "[Heater]\nSetPoint=21,5\nLimt=70\nPause=5\n";
    reload(settings, path);
    std::ofstream(path) << "; in the cellar\n[Heater]\nName = tank\nOn = no\nPause = 90 s\n";
    reload(settings, path);

    // [save]
    heater.setPoint = 19;
    heater.pause = 2min;
    if (settings.changedOnDisk()) // somebody has edited the file: what they wrote counts, or is refused
        reload(settings, path);
    if (settings.save() != 0)
        std::cout << settings.faultText();
    // [save]
    std::cout << std::ifstream(path).rdbuf();
    settings.create("new.ini");
    std::cout << std::ifstream("new.ini").rdbuf();
    std::cout << settings.tableText();
    std::ofstream("heater.schema") << settings.schemaText();
}
