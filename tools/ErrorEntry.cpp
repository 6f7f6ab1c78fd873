#include "ErrorEntry.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include <kiv/ErrorToString.h>
#include <kiv/errno_translation.h>

#include "ErrorAdvice.h"
#include "Input.h"

namespace Tool
{

namespace
{

constexpr int mostErrno = 149;                 // above it every value has the same code
constexpr ErrCode firstUnassigned = 0x662;     // the catalogue ends with 0x661, then come the open groups
constexpr ErrCode negativeCodes = 0x80000000u; // what lies above is a negated code
constexpr ErrCode neverAssigned = 0x3FFF;      // in no group

ErrCode plainCode(ErrCode code) { return code > negativeCodes ? 0u - code : code; }

bool hasText(ErrCode code)
{
    static const std::string unknown = ErrorToString(neverAssigned);
    return ErrorToString(code) != unknown;
}

const ErrorGroup* groupOf(ErrCode code)
{
    for (const ErrorGroup& group : errorGroups())
        if (code >= group.first && code <= group.last)
            return &group;
    return nullptr;
}

std::vector<std::string> errnoNamesOf(ErrCode code)
{
    std::vector<std::string> names;
    for (int value = 1; value <= mostErrno; ++value)
    {
        const char* name = strerrorname_np(value);
        if (name != nullptr && errnoToErrCode(value) == code)
            names.emplace_back(name);
    }
    return names;
}

std::optional<int> errnoOfName(std::string_view name)
{
    if (name == "EWOULDBLOCK" || name == "EDEADLOCK" || name == "EOPNOTSUPP") // second names
        return name == "EWOULDBLOCK" ? EAGAIN : name == "EDEADLOCK" ? EDEADLK : ENOTSUP;
    for (int value = 1; value <= mostErrno; ++value)
        if (const char* known = strerrorname_np(value); known != nullptr && name == known)
            return value;
    return std::nullopt;
}

/// Eight digits are hexadecimal when they begin with 0 or hold a letter.
bool isPrintedForm(const std::string& text)
{
    return text.size() == 8 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos &&
           (text[0] == '0' || text.find_first_not_of("0123456789") != std::string::npos);
}

} // namespace

const std::vector<ErrorGroup>& errorGroups()
{
    constexpr ErrCode most = negativeCodes;
    static const std::vector<ErrorGroup> groups = {
        {0, 0, "success", "Success"},
        {Kiv::ErrGroupSystem, 140, "system", "System errors"},
        {Kiv::ErrGroupGeneral, 208, "general", "General outcomes"},
        {Kiv::ErrGroupNetwork, 365, "network", "Devices, sockets and networks"},
        {Kiv::ErrGroupLibrary, 0x20A, "library", "Operations of any application"},
        {Kiv::ErrGroupRs232, 0x249, "rs232", "Serial line"},
        {Kiv::ErrGroupCan, 0x333, "can", "CAN data link layer"},
        {Kiv::ErrGroupCanApp, 0x341, "can-application", "CAN application layer"},
        {Kiv::ErrGroupSdo, 0x4FF, "sdo", "CANopen SDO transfer"},
        {Kiv::ErrGroupLss, 0x504, "lss", "CANopen LSS"},
        {Kiv::ErrGroupCanOpenProfile, 0x661, "canopen-profile", "CANopen device profiles"},
        {Kiv::ErrGroupErrno, 0x4095, "errno", "Raw errno values"},
        {Kiv::ErrGroupApplication, most, "application", "Application"},
    };
    return groups;
}

ErrorEntry errorEntry(ErrCode code)
{
    const ErrCode plain = plainCode(code);
    const ErrorGroup* group = groupOf(plain);
    return {plain, hasText(plain),      ErrorToString(plain),
            group, errnoNamesOf(plain), adviceFor(plain, group != nullptr)};
}

std::vector<ErrorEntry> errorCatalogue()
{
    std::vector<ErrorEntry> entries;
    for (ErrCode code = 0; code < firstUnassigned; ++code)
        if (hasText(code))
            entries.push_back(errorEntry(code));
    entries.push_back(errorEntry(ERRC_ERRNO_FLAG));
    entries.push_back(errorEntry(ERRC_APPLICATION_BASE));
    return entries;
}

std::optional<ErrCode> parseErrorCode(const std::string& text)
{
    if (const auto value = errnoOfName(text))
        return errnoToErrCode(*value);
    const bool isNegated = !text.empty() && text[0] == '-';
    const auto number = parseNumber(isPrintedForm(text) ? "0x" + text : text.substr(isNegated ? 1 : 0));
    if (!number || *number > (isNegated ? negativeCodes : std::numeric_limits<ErrCode>::max()))
        return std::nullopt;
    return plainCode(static_cast<ErrCode>(*number));
}

std::string hexCode(ErrCode code)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", code);
    return text;
}

} // namespace Tool
