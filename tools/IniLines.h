/// An INI file as the lines that a person wrote, each with what Kiv::CIniFile makes of it.
#ifndef KIV_TOOLS_INILINES_H
#define KIV_TOOLS_INILINES_H

#include <cstddef>
#include <string>
#include <vector>

namespace Tool
{

enum eIniLine : int
{
    IniLineBlank,
    IniLineComment,
    IniLineSection,
    IniLineBroken, ///< begins with '[' and has no ']': the loader throws
    IniLineKey,
    IniLineHomeless, ///< a key before the first section: the loader drops it
    IniLineOther     ///< without '=': the loader drops it
};

struct IniLine
{
    eIniLine kind;
    std::string text;       ///< as it stands in the file, with its line break
    std::string name;       ///< of the section or key
    std::string value;      ///< of the key
    std::size_t valueBegin; ///< where the value stands in `text`
};

/// All lines of a file's text; put together again they are the text, byte by byte.
std::vector<IniLine> iniLines(const std::string& text);

/// Where the section stands that lookups of this name reach; the number of lines if there is none.
std::size_t findSection(const std::vector<IniLine>& lines, const std::string& section);

/// Where the section that begins before `begin` ends: at the next section line, or at the number of lines.
std::size_t endOfSection(const std::vector<IniLine>& lines, std::size_t begin);

/// Where the key stands that lookups of this name reach; the number of lines if there is none.
std::size_t findKey(const std::vector<IniLine>& lines, const std::string& section, const std::string& key);

} // namespace Tool

#endif
