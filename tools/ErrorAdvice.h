/// What somebody who meets an error code can do about it.
#ifndef KIV_TOOLS_ERRORADVICE_H
#define KIV_TOOLS_ERRORADVICE_H

#include <string>

#include <kiv/err_codes.h>

namespace Tool
{

/// The advice for a code, which is not negated; without one that for its group if it lies in one; empty for 0.
std::string adviceFor(ErrCode code, bool isInGroup);

} // namespace Tool

#endif
