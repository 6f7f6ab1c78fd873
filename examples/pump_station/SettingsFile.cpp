#include "SettingsFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include <kiv/EnvVars.h>
#include <kiv/ErrorToString.h>

#include "Figures.h"

namespace PumpStation
{

namespace
{

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

bool isBlankOrComment(const std::string& line) { return line.empty() || line[0] == ';' || line[0] == '#'; }

/// As Kiv::CIniFile sees it; a line of blanks becomes empty.
std::string trimmed(std::string line)
{
    Kiv::TrimLeft(line, Kiv::WhiteSpace);
    Kiv::TrimRight(line, Kiv::WhiteSpace);
    return line.find_first_not_of(Kiv::WhiteSpace) == line.npos ? "" : line;
}

/// Short enough to stand in a message: "0.5", "45".
std::string shortest(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

} // namespace

CSettingsFile::CSettingsFile(const std::string& path) : source(path), ini(path)
{
    scan();
    if (const ErrCode error = ini.load())
        throw CInputError(path, ErrorToString(error));
}

void CSettingsFile::scan()
{
    std::string section;
    for (std::size_t number = 1; number <= source.lineCount(); ++number)
    {
        const std::string line = trimmed(source.line(number));
        const std::size_t equals = line.find('=');
        if (isBlankOrComment(line))
            continue;
        if (line[0] == '[')
            section = scanSection(line, number);
        else if (equals == line.npos || equals == 0)
            source.fail(number, "this is neither a comment, nor a [section], nor a key=value");
        else if (section.empty())
            source.fail(number, "the key stands before the first section");
        else
            addPlace({section, trimmed(line.substr(0, equals))}, number);
    }
}

std::string CSettingsFile::scanSection(const std::string& line, std::size_t number)
{
    if (line.find(']') != line.size() - 1 || line.size() < 3)
        source.fail(number, "a section is written [NAME], with nothing after it");
    std::string name = line.substr(1, line.size() - 2);
    addPlace({name, ""}, number);
    return name;
}

void CSettingsFile::addPlace(const Name& name, std::size_t number)
{
    const auto [place, isNew] = places.emplace(name, number);
    if (!isNew)
        source.fail(number, "this stands in line " + std::to_string(place->second) + " already");
}

std::string CSettingsFile::value(const std::string& section, const std::string& key)
{
    asked.insert({section, ""});
    asked.insert({section, key});
    if (places.count({section, ""}) == 0)
        source.fail(source.lineCount(), "the file ends without a section [" + section + "]");
    const Kiv::CIniFileKey* const found = ini.findKey(section, key);
    if (!found)
        source.fail(places.at({section, ""}), "the section [" + section + "] has no key " + key);
    return found->value();
}

int CSettingsFile::number(const std::string& section, const std::string& key, const Range& range)
{
    const std::string text = value(section, key);
    const double number = ini.readFloat(section, key, notANumber);
    if (!toNumber(text) || std::isnan(number))
        fail(section, key, "'" + text + "' is no number");
    if (number < range.from || number > range.to)
        fail(section, key, text + " does not lie between " + shortest(range.from) + " and " + shortest(range.to));
    if (range.scale == 1 && number != std::floor(number))
        fail(section, key, text + " is no whole number");
    return static_cast<int>(std::lround(number * range.scale));
}

int CSettingsFile::timeOfDay(const std::string& section, const std::string& key)
{
    const std::string text = value(section, key);
    const auto seconds = toSeconds(text);
    if (!seconds)
        fail(section, key, "'" + text + "' is no time of day such as 07:30");
    return *seconds;
}

std::string CSettingsFile::text(const std::string& section, const std::string& key)
{
    std::string text = Kiv::Env::substituteEnvironmentVars(value(section, key));
    if (text.empty())
        fail(section, key, "the value is empty, or has a ${ without its }");
    return text;
}

std::vector<std::string> CSettingsFile::keysOf(const std::string& section)
{
    asked.insert({section, ""});
    std::vector<std::string> names(static_cast<std::size_t>(std::max(ini.keyCountInSection(section), 0)));
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] = ini.keyName(section, static_cast<unsigned short>(i));
    return names;
}

void CSettingsFile::refuseUnknown() const
{
    for (std::size_t number = 1; number <= source.lineCount(); ++number)
        for (const auto& [name, place] : places)
            if (place == number && asked.count(name) == 0)
                source.fail(number,
                            "the program has no use for this " + std::string(name.second.empty() ? "section" : "key"));
}

void CSettingsFile::fail(const std::string& section, const std::string& key, const std::string& reason) const
{
    source.fail(places.at({section, key}), key + ": " + reason);
}

} // namespace PumpStation
