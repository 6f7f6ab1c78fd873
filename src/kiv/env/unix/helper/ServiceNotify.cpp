#include <kiv/ServiceNotify.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include "kiv/env/unix/helper/SystemCall.h"

namespace Kiv
{

namespace
{

using std::chrono::microseconds;

constexpr timeval patience{0, 100000}; // 100 ms

/// A text of decimal digits as a number that `Number` can hold.
template<class Number>
std::optional<Number> toNumber(const char* text)
{
    std::uint64_t number = 0;
    for (const char* digit = text; *digit != '\0'; ++digit)
    {
        const auto value = static_cast<std::uint64_t>(*digit - '0');
        if (*digit < '0' || *digit > '9' || number > (std::numeric_limits<std::uint64_t>::max() - value) / 10)
            return std::nullopt;
        number = number * 10 + value;
    }
    if (*text == '\0' || number > static_cast<std::uint64_t>(std::numeric_limits<Number>::max()))
        return std::nullopt;
    return static_cast<Number>(number);
}

/// What the environment says about the watchdog; its "infinity", beyond 63 bits, means that there is none.
microseconds watchdogOfEnvironment()
{
    const char* const interval = std::getenv("WATCHDOG_USEC");
    const char* const process = std::getenv("WATCHDOG_PID");
    if (!interval || (process && toNumber<pid_t>(process) != getpid()))
        return microseconds(0);
    return microseconds(toNumber<microseconds::rep>(interval).value_or(0));
}

} // namespace

class CServiceNotifyPrivate
{
public:
    explicit CServiceNotifyPrivate(const char* name) : watchdogInterval(watchdogOfEnvironment())
    {
        if (name && *name)
            error = open(name);
    }

    int send(const char* text, std::size_t size) const
    {
        if (!socket.isOpen())
            return error;
        const auto* const to = reinterpret_cast<const sockaddr*>(&address);
        const auto sent =
            uninterrupted([&] { return ::sendto(socket.get(), text, size, MSG_NOSIGNAL, to, addressSize); });
        return sent < 0 ? negatedErrno() : 0;
    }

    int error = 0;
    const microseconds watchdogInterval;
    CDescriptor socket;

private:
    int open(const char* name)
    {
        if (const int failed = setAddress(name))
            return -static_cast<int>(errnoToErrCode(failed));
        socket = CDescriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (!socket.isOpen())
            return negatedErrno();
        ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        return 0;
    }

    /// unix(7): an abstract name begins with a zero byte and ends with its length, a path with a zero byte. An errno.
    int setAddress(const char* name)
    {
        const std::size_t length = std::strlen(name);
        if ((*name != '/' && *name != '@') || length < 2)
            return EAFNOSUPPORT;
        if (length > sizeof address.sun_path - (*name == '/' ? 1 : 0))
            return ENAMETOOLONG;
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name, length);
        if (*name == '@')
            address.sun_path[0] = '\0';
        addressSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length + (*name == '/' ? 1 : 0));
        return 0;
    }

    sockaddr_un address{};
    socklen_t addressSize = 0;
};

CServiceNotify::CServiceNotify() : d(std::make_unique<CServiceNotifyPrivate>(std::getenv("NOTIFY_SOCKET"))) {}

CServiceNotify::~CServiceNotify() = default;

bool CServiceNotify::isManaged() const { return d->socket.isOpen() || d->error != 0; }

int CServiceNotify::error() const { return d->error; }

microseconds CServiceNotify::watchdogInterval() const { return d->watchdogInterval; }

int CServiceNotify::notifyReady() { return notify("READY=1"); }

int CServiceNotify::notifyStopping() { return notify("STOPPING=1"); }

int CServiceNotify::notifyStatus(const std::string& text)
{
    std::string message = "STATUS=" + text;
    // A line break would begin an assignment of its own.
    std::replace_if(
        message.begin(), message.end(), [](char byte) { return static_cast<unsigned char>(byte) < ' '; }, ' ');
    return notify(message);
}

int CServiceNotify::feedWatchdog()
{
    static constexpr char alive[] = "WATCHDOG=1"; // without a string, so without the heap
    return d->send(alive, sizeof alive - 1);
}

int CServiceNotify::notify(const std::string& assignments) { return d->send(assignments.data(), assignments.size()); }

} // namespace Kiv
