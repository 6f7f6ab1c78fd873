// Instants and periods, names for enumerations, checksums, Base32.

// [values]
#include <cstdio>

#include <kiv/Base32.h>
#include <kiv/EnumHelpers.h>
#include <kiv/KivDateTime.h>
#include <kiv/crc.h>

enum eMode : int
{
    ModeOff,
    ModeManual,
    ModeAutomatic
};

int main()
{
    const Kiv::CDateTime begin(2024, 3, 4, 23, 59, 30, 0);
    const Kiv::CDateTime end = begin.addSecs(90);
    std::printf("%s, %d s later %s\n", begin.toString().c_str(), begin.getSecsTo(end), end.toString().c_str());
    std::puts(Kiv::CPeriodOfTime(1, 2, 3, 4, 5).toString().c_str());

    Kiv::CEnumStringMap modes;
    modes.insert(ModeOff, "off");
    modes.insert(ModeManual, "manual");
    modes.insert(ModeAutomatic, "automatic");
    bool isKnown = false;
    std::printf("%d %s\n", modes.toEnum("automatic", &isKnown), modes.toString(ModeManual, "?").c_str());
    modes.toEnum("Automatic", &isKnown); // names are compared byte by byte
    std::puts(isKnown ? "known" : "unknown");

    const unsigned char frame[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    std::printf("%02X %04X\n", Kiv::crc8(frame, sizeof frame), Kiv::simpleCRC16(frame, sizeof frame, 0x11021));
    const std::string text = Kiv::Base32::Encode("serial 17", true); // without padding, which Decode() refuses
    std::printf("%s %s\n", text.c_str(), Kiv::Base32::Decode(text).c_str());
}
// [values]
