/// Values that Kiv::CIniFile's typed reads take for something else than a person does.
#ifndef KIV_TOOLS_INIVALUECHECK_H
#define KIV_TOOLS_INIVALUECHECK_H

#include <string>
#include <vector>

namespace Tool
{

/// One sentence for each trap. A value has no type of its own, so each says which read falls into it.
std::vector<std::string> checkIniValue(const std::string& value);

} // namespace Tool

#endif
