/// What it takes to have a line or a channel of sysfs: attributes as text, patience while udev grants access, and one
/// log line with the path for each refusal. Nothing here writes to standard error.
#ifndef KIV_SYSFSTAKE_H
#define KIV_SYSFSTAKE_H

#include <string>
#include <string_view>

#include <kiv/Deadline.h>

#include "kiv/env/unix/helper/SystemCall.h"

namespace Kiv
{

/// Writes an attribute in one call; 0 or a negated code.
int writeAttribute(const std::string& path, std::string_view text);

/// Reads an attribute's first line, at most 255 bytes; 0 or a negated code, and then the text stays.
int readAttribute(const std::string& path, std::string& text);

bool isThere(const std::string& path);

/// Waits between two attempts at something that is not allowed yet; false once the time is over.
class CAccessPatience
{
public:
    explicit CAccessPatience(unsigned int timeoutMs);
    bool waitForNext() const;
    /// What is left, in milliseconds.
    unsigned int left() const;

private:
    CDeadline end;
};

/// Repeats an access that is refused for want of rights until it is allowed or the patience ends; its last result.
template<class Access>
int untilAllowed(const CAccessPatience& patience, Access access)
{
    constexpr int permissionDenied = -13;
    int result = access();
    while (result == permissionDenied && patience.waitForNext())
        result = access();
    return result;
}

/// Logs "GPIO line 505: /sys/class/gpio/export: Resource busy (-16), held by another" and returns the result. `hint`
/// may be empty.
int refused(const std::string& who, const std::string& path, int result, const std::string& hint = std::string());

/// Exports one PWM channel, or adopts it when it is exported, and waits until its attributes may be written. Refusals
/// are logged. On success `folder` is where the attributes are, with a slash at its end.
int takePwmChannel(unsigned char chip, unsigned char channel, unsigned int accessTimeoutMs, std::string& folder,
                   bool& isAdopted);

} // namespace Kiv

#endif
