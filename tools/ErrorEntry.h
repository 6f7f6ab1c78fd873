/// What is known about an error code: its text, its group, the errno values behind it, and what to do.
#ifndef KIV_TOOLS_ERRORENTRY_H
#define KIV_TOOLS_ERRORENTRY_H

#include <optional>
#include <string>
#include <vector>

#include <kiv/err_codes.h>

namespace Tool
{

struct ErrorGroup
{
    ErrCode first;
    ErrCode last;
    const char* name;  ///< "system"
    const char* title; ///< "System errors"
};

struct ErrorEntry
{
    ErrCode code; ///< never negated
    bool isKnown; ///< it has a text of its own
    std::string text;
    const ErrorGroup* group;             ///< null where no group reaches
    std::vector<std::string> errnoNames; ///< whose translation it is
    std::string advice;                  ///< empty when there is nothing to say
};

/// All groups in ascending order, "success" first.
const std::vector<ErrorGroup>& errorGroups();

/// Takes a code plain or negated.
ErrorEntry errorEntry(ErrCode code);

/// Every code that has a text of its own, ascending.
std::vector<ErrorEntry> errorCatalogue();

/// A code as people have it before them: decimal or 0x hexadecimal, plain or negated, eight bare hexadecimal digits as
/// the library prints them, or the name of an errno value, which is translated. Nothing for any other text.
std::optional<ErrCode> parseErrorCode(const std::string& text);

/// "0x0010"
std::string hexCode(ErrCode code);

} // namespace Tool

#endif
