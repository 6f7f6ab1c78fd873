// Foreign bytes as an INI file: loaded, read as every type, edited, written back and loaded again.
#include <kiv/IniFile.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "MemoryFile.h"

namespace
{

/// False when a section line has no end.
bool load(Kiv::CIniFile& ini)
{
    try
    {
        require(ini.load() == 0);
        return true;
    }
    catch (const std::out_of_range&)
    {
        return false;
    }
}

void readNumbers(const Kiv::CIniFile& ini, const std::string& section, const std::string& key)
{
    const long number = ini.readInteger(section, key, 0);
    require(ini.readBool(section, key, false) == (number != 0));
    require(number != 0 || ini.readInteger(section, key, 1) <= 1); // 0, or the default
    ini.readFloat(section, key, 0.5);
}

void readTimes(const Kiv::CIniFile& ini, const std::string& section, const std::string& key)
{
    std::tm none{};
    none.tm_sec = 17;
    std::tm day = ini.readDate(section, key, none);
    const std::tm moment = ini.readTime(section, key, day);
    require(day.tm_sec == 17 && moment.tm_sec == 17 && moment.tm_mon == day.tm_mon);
}

void readBytes(const Kiv::CIniFile& ini, const std::string& section, const std::string& key, const std::string& value)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, value.size() / 2})
    {
        std::vector<unsigned char> buffer(size);
        const int count = ini.readBinaryData(section, key, buffer.data(), static_cast<int>(size));
        require(count >= 0 && static_cast<std::size_t>(count) <= size);
    }
}

void readKey(const Kiv::CIniFile& ini, const std::string& section, const std::string& key)
{
    std::string value;
    ini.readString(section, key, "(none)", value);
    require(ini.existsKey(section, key) && value == ini.findKey(section, key)->value());
    readNumbers(ini, section, key);
    readTimes(ini, section, key);
    readBytes(ini, section, key, value);
}

void readAll(const Kiv::CIniFile& ini)
{
    for (unsigned short i = 0; i < ini.sectionCount(); ++i)
    {
        const std::string& section = ini.sectionName(i);
        require(ini.existsSection(section));
        for (int k = 0; k < ini.keyCountInSection(section); ++k)
            readKey(ini, section, ini.keyName(section, static_cast<unsigned short>(k)));
    }
}

std::string rewritten(Kiv::CIniFile& ini, const CMemoryFile& file)
{
    require(ini.updateFile() == 0);
    return file.bytes();
}

/// The file takes its one form. Only a comment at its end without a line break needs a second round.
void writeAndReadBack(Kiv::CIniFile& ini, const CMemoryFile& file)
{
    rewritten(ini, file);
    std::string written;
    for (int round = 0; round < 2; ++round)
    {
        Kiv::CIniFile again(file.path());
        require(load(again) && again.sectionCount() == ini.sectionCount());
        const std::string before = std::exchange(written, rewritten(again, file));
        require(round == 0 || written == before);
    }
}

/// Each key gets a value, and all sections go. Keys are not deleted: as those are kept for good, libFuzzer would look
/// for leaks after each input.
void edit(Kiv::CIniFile& ini)
{
    for (unsigned short i = 0; i < ini.sectionCount(); ++i)
    {
        const std::string& section = ini.sectionName(i);
        for (int k = 0; k < ini.keyCountInSection(section); ++k)
        {
            const std::string& key = ini.keyName(section, static_cast<unsigned short>(k));
            ini.writeInteger(section, key, k);
            require(ini.readInteger(section, key, -1) == k);
        }
    }
    while (ini.sectionCount() > 0)
        ini.eraseSection(std::string(ini.sectionName(0)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const CMemoryFile file(std::string(bytes, bytes + size));
    Kiv::CIniFile ini(file.path());
    load(ini); // what stands before a bad line is in the model
    readAll(ini);
    writeAndReadBack(ini, file);
    edit(ini);
    return 0;
}
