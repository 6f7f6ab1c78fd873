/// An INI file as the text that a person wrote: its lines, and changes of one value that leave every other byte alone.
#ifndef KIV_INITEXT_H
#define KIV_INITEXT_H

#include <cstddef>
#include <string>
#include <vector>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// What CIniFile makes of a line.
enum eIniLine : int
{
    IniLineBlank,
    IniLineComment,
    IniLineSection,
    IniLineBroken, ///< begins with '[' and has no ']': load() throws
    IniLineKey,
    IniLineHomeless, ///< a key before the first section: load() drops it
    IniLineOther     ///< without '=': load() drops it
};

/// One line of a file.
struct IniLine
{
    eIniLine kind;          ///< what stands in it
    std::string text;       ///< as it stands in the file, with its line break
    std::string name;       ///< of the section or key
    std::string value;      ///< of the key
    std::size_t valueBegin; ///< where the value stands in `text`
};

/// All lines of a file's text; put together again they are the text, byte by byte.
KIV_API std::vector<IniLine> iniLines(const std::string& text);

/// Where the key stands that lookups of this name reach; the number of lines if there is none.
KIV_API std::size_t findIniKey(const std::vector<IniLine>& lines, const std::string& section, const std::string& key);

/// Why such a setting could not be read back as it is, because of a line break in it for instance; empty if it can.
KIV_API std::string iniSettingFault(const std::string& section, const std::string& key, const std::string& value);

/// The text with the value that lookups reach replaced, or with the key behind the section's last one, or with a new
/// section behind the last one. Key and line ends look as those around them do. What iniSettingFault() objects to does
/// not come back as it was.
KIV_API std::string iniTextWith(const std::string& text, const std::string& section, const std::string& key,
                                const std::string& value);

} // namespace Kiv

#endif
