// Reading, changing and writing a configuration.

// [ini_files]
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include <kiv/ErrorToString.h>
#include <kiv/IniFile.h>

int main()
{
    const char* const path = "heater.ini";
    std::ofstream(path) << "; the workshop's heater\n[Heater]\nSetPoint=21.5\n; minutes\nDelay=0x10\n";

    Kiv::CIniFile ini(path);
    if (const ErrCode error = ini.load())
    {
        std::printf("%s: %s\n", path, ErrorToString(error));
        return EXIT_FAILURE;
    }
    std::printf("set point %.1f, delay %ld, limit %ld\n", ini.readFloat("Heater", "SetPoint", 20),
                ini.readInteger("Heater", "Delay", 5), ini.readInteger("Heater", "Limit", 60)); // 60 is the default

    ini.writeFloat("Heater", "SetPoint", 19);
    ini.writeInteger("Heater", "Limit", 45); // a new key goes to the end of its section
    if (const ErrCode error = ini.updateFile())
        std::printf("%s: %s\n", path, ErrorToString(error));
    std::cout << std::ifstream(path).rdbuf();
}
// [ini_files]
