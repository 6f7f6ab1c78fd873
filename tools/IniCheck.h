/// What in an INI file does not mean what it seems to mean.
#ifndef KIV_TOOLS_INICHECK_H
#define KIV_TOOLS_INICHECK_H

#include <cstddef>
#include <string>
#include <vector>

namespace Tool
{

enum eIniFault : int
{
    IniFaultError,   ///< the file does not load beyond this line
    IniFaultWarning, ///< the loader drops the line, or makes something else of it, or no lookup reaches it
    IniFaultNote     ///< loads as it stands, but is likely meant otherwise
};

struct IniFault
{
    eIniFault kind;
    std::size_t line; ///< from 1
    std::string reason;
};

/// In the order of the lines. Without errors and warnings every line means to Kiv::CIniFile what it shows.
std::vector<IniFault> checkIni(const std::string& text);

} // namespace Tool

#endif
