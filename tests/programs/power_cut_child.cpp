// What the power is cut in the middle of: power_cut_child ACT, in the folder where it happens. Ends with 0 when the act
// is done and on the medium.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include <sys/resource.h>

#include <kiv/CrashReport.h>
#include <kiv/FileEdit.h>
#include <kiv/FileStorage.h>
#include <kiv/HourMeter.h>
#include <kiv/IniFile.h>
#include <kiv/OperatingHours.h>
#include <kiv/Settings.h>

namespace
{

bool updateIniFile()
{
    Kiv::CIniFile ini("settings.ini");
    if (ini.load() != 0)
        return false;
    ini.writeInteger("Heater", "Setpoint", 55);
    return ini.updateFile() == 0;
}

bool saveSettings()
{
    int setpoint = 0;
    Kiv::CSettings settings;
    settings.section("Heater", "The heater.");
    settings.add("Setpoint", setpoint, "It heats below this.");
    if (settings.read("settings.ini") != 0)
        return false;
    setpoint = 55;
    return settings.save() == 0;
}

bool editFile()
{
    Kiv::CFileEdit edit("settings.txt");
    return edit.begin() == 0 && edit.replace(std::string(3000, 'n')) == 0;
}

bool saveHours()
{
    Kiv::COperatingHours hours("hours");
    if (hours.open() != 0)
        return false;
    hours.add(std::chrono::seconds(1));
    return hours.save() == 0;
}

bool writeStorage(long size)
{
    const std::string bytes(static_cast<std::size_t>(size), 'n');
    Kiv::CFileStorage storage(4096);
    return storage.open("memory") == 0 && storage.write(bytes.data(), size, 0) == 0 && storage.flush() == 0;
}

bool saveMeter()
{
    const auto storage = std::make_shared<Kiv::CFileStorage>(8);
    if (storage->open("memory") != 0)
        return false;
    Kiv::CHourMeter meter(-1);
    meter.setMemory(storage, 4);
    meter.reset();
    return meter.save() == 0;
}

bool crash()
{
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    return Kiv::Diag::installCrashReport("report") == 0 && std::raise(SIGSEGV) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::map<std::string, std::function<bool()>> acts = {
        {"ini", updateIniFile},
        {"settings", saveSettings},
        {"edit", editFile},
        {"hours", saveHours},
        {"storage", [] { return writeStorage(4); }},
        {"wide-storage", [] { return writeStorage(1024); }},
        {"meter", saveMeter},
        {"crash", crash},
    };
    const auto act = acts.find(argc == 2 ? argv[1] : "");
    return act != acts.end() && act->second() ? 0 : 1;
}
