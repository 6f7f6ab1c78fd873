/// Where sections stand among the lines of an INI file; private to the INI files.
#ifndef KIV_INILINEPLACES_H
#define KIV_INILINEPLACES_H

#include <kiv/IniText.h>

namespace Kiv
{

/// Where the section stands that lookups of this name reach; the number of lines if there is none.
std::size_t findIniSection(const std::vector<IniLine>& lines, const std::string& section);

/// Where the section that begins before `begin` ends: at the next section line, or at the number of lines.
std::size_t endOfIniSection(const std::vector<IniLine>& lines, std::size_t begin);

} // namespace Kiv

#endif
