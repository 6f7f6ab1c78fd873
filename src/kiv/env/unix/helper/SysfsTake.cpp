#include "kiv/env/unix/helper/SysfsTake.h"

#include <algorithm>
#include <chrono>

#include <kiv/ErrorToString.h>
#include <kiv/diag.h>
#include <kiv/sysfs_tools.h>

#include "kiv/env/unix/diag/logging.h"
#include "kiv/errors/ResultCodes.h"
#include "kiv/time/TimeSource.h"

namespace Kiv
{

namespace
{

std::string pwmHint(int result)
{
    if (result == resourceBusy)
        return "held by another";
    if (result == noSuchDevice)
        return "the chip has no such channel";
    return result == noSuchEntity ? "there is no such chip" : "";
}

} // namespace

int writeAttribute(const std::string& path, std::string_view text)
{
    const CDescriptor file = CDescriptor::open(path.c_str(), O_WRONLY);
    if (!file.isOpen())
        return negatedErrno();
    const ssize_t written = uninterrupted([&] { return ::write(file.get(), text.data(), text.size()); });
    return written >= 0 ? 0 : negatedErrno();
}

int readAttribute(const std::string& path, std::string& text)
{
    char bytes[256];
    const CDescriptor file = CDescriptor::open(path.c_str(), O_RDONLY);
    const ssize_t size =
        file.isOpen() ? uninterrupted([&] { return ::read(file.get(), bytes, sizeof bytes - 1); }) : -1;
    if (size < 0)
        return negatedErrno();
    text.assign(bytes, std::find(bytes, bytes + size, '\n'));
    return 0;
}

bool isThere(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

CAccessPatience::CAccessPatience(unsigned int timeoutMs) : end(CDeadline::in(std::chrono::milliseconds(timeoutMs))) {}

bool CAccessPatience::waitForNext() const
{
    if (end.isExpired())
        return false;
    Time::sleepUntil(CDeadline::in(std::chrono::milliseconds(1)));
    return true;
}

unsigned int CAccessPatience::left() const
{
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(end.remaining()).count();
    return static_cast<unsigned int>(std::max<long long>(ms, 0));
}

int refused(const std::string& who, const std::string& path, int result, const std::string& hint)
{
    constexpr const char* thisFile = "src/kiv/env/unix/helper/SysfsTake.cpp";
    if (!Diag::isHeard(Diag::diagLogger()))
        return result;
    Diag::logAt(Diag::diagLogger(), log4cplus::ERROR_LOG_LEVEL, {thisFile, __LINE__, "refused"}, [&] {
        std::string text = who;
        text.append(": ").append(path).append(": ").append(ErrorToString(static_cast<ErrCode>(result)));
        text.append(" (").append(std::to_string(result)).append(")");
        return hint.empty() ? text : text.append(", ").append(hint);
    });
    return result;
}

int takePwmChannel(unsigned char chip, unsigned char channel, unsigned int accessTimeoutMs, std::string& folder,
                   bool& isAdopted)
{
    const CAccessPatience patience(accessTimeoutMs);
    const std::string who = "PWM chip " + std::to_string(chip) + ", channel " + std::to_string(channel);
    const std::string chipFolder = "/sys/class/pwm/pwmchip" + std::to_string(chip);
    folder = chipFolder + "/pwm" + std::to_string(channel) + "/";
    isAdopted = isThere(folder);
    if (!isAdopted)
    {
        const std::string path = chipFolder + "/export";
        int result = untilAllowed(patience, [&] { return writeAttribute(path, std::to_string(channel)); });
        isAdopted = result == resourceBusy && isThere(folder); // somebody was faster
        if (result != 0 && !isAdopted)
            return refused(who, path, result, pwmHint(result));
    }
    const int result = pwm_wait_access(chip, channel, patience.left());
    if (result == 0)
        return 0;
    if (!isAdopted)
        writeAttribute(chipFolder + "/unexport", std::to_string(channel));
    return refused(who, folder, result, "");
}

} // namespace Kiv
