// Foreign bytes as a settings file of a program, and as a schema with a file that is checked by it.
#include <kiv/Settings.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "MemoryFile.h"

namespace
{

enum eMode : int
{
    ModeA,
    ModeB
};

struct SValues
{
    double real = 1.5;
    float scaled = 2.5F;
    int integer = 5;
    std::uint16_t word = 7;
    int rounded = 1500;
    bool truth = true;
    std::string text = "text";
    eMode mode = ModeB;
    std::chrono::milliseconds pause{1500};
    std::chrono::seconds clock{3600};
    Kiv::CDateTime moment{2026, 3, 1, 17, 4, 5, 0};
    std::vector<Kiv::SettingsEntry> entries;
};

void describe(Kiv::CSettings& settings, SValues& values)
{
    settings.section("A");
    settings.add("r", values.real, "").range(-1000, 1000).unit("m");
    settings.add("f", values.scaled, "").scale(0.5);
    settings.add("i", values.integer, "");
    settings.add("w", values.word, "").range(1, 60000);
    settings.add("n", values.rounded, "").scale(1000).unit("m");
    settings.add("b", values.truth, "");
    settings.add("t", values.text, "");
    settings.addChoice("c", values.mode, {{"a", ModeA}, {"b", ModeB}}, "");
    settings.section("T");
    settings.add("d", values.pause, "").range(std::chrono::seconds(0), std::chrono::hours(48));
    settings.addTimeOfDay("c", values.clock, "");
    settings.add("m", values.moment, "");
    settings.addFree("F", values.entries, "");
}

/// Faults or values, never both; every fault can be shown as one line.
void requireWhole(const Kiv::CSettings& settings, ErrCode code)
{
    require((code == 0) == settings.faults().empty());
    for (const Kiv::SettingsFault& fault : settings.faults())
        require(fault.line > 0 && fault.text().find('\n') == std::string::npos);
}

/// What one description makes of a file, its schema makes, too; what is written is read again.
void readAsProgram(const std::string& bytes)
{
    const CMemoryFile file(bytes);
    SValues values;
    Kiv::CSettings settings;
    describe(settings, values);
    const CMemoryFile schema(settings.schemaText());
    Kiv::CSettings checker;
    require(checker.readSchema(schema.path()) == 0);

    const ErrCode code = settings.read(file.path());
    requireWhole(settings, code);
    require(checker.read(file.path()) == code && checker.faultText() == settings.faultText());
    if (code != 0)
        return;
    require(settings.save() == 0 && file.bytes() == bytes);
    values.integer = values.integer == 1 ? 2 : 1;
    values.truth = !values.truth;
    values.pause += std::chrono::milliseconds(values.pause.count() > 1000 ? -1 : 1);
    require(settings.save() == 0 && settings.read(file.path()) == 0 && settings.changes().empty());
}

void readAsSchema(const std::string& bytes)
{
    const CMemoryFile schema(bytes);
    Kiv::CSettings settings;
    const ErrCode code = settings.readSchema(schema.path());
    requireWhole(settings, code);
    settings.tableText();
    const CMemoryFile file(settings.iniText());
    requireWhole(settings, settings.read(file.path()));
    if (code != 0)
        return;
    const std::string text = settings.schemaText();
    const CMemoryFile copy(text);
    Kiv::CSettings again;
    require(again.readSchema(copy.path()) == 0 && again.schemaText() == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string text(bytes, bytes + size);
    readAsProgram(text);
    readAsSchema(text);
    return 0;
}
