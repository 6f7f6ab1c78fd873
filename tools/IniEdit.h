/// Sets one value in the text of an INI file and leaves everything else as it is, byte by byte.
#ifndef KIV_TOOLS_INIEDIT_H
#define KIV_TOOLS_INIEDIT_H

#include <string>

namespace Tool
{

struct IniSetting
{
    std::string section;
    std::string key;
    std::string value;
};

/// Ends the program when a setting could not be read back as it is, because of a line break in it for instance.
void requireWritable(const IniSetting& setting);

/// The text with the value that lookups reach replaced, or with the key behind the section's last one, or with a new
/// section behind the last one. Key and line ends look as those around them do.
std::string withSetting(const std::string& text, const IniSetting& setting);

} // namespace Tool

#endif
