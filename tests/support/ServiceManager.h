/// The service manager's end of the notification socket, for tests of what a service tells.
#ifndef KIV_TESTS_SERVICEMANAGER_H
#define KIV_TESTS_SERVICEMANAGER_H

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// Listens on a socket, and puts its name and the watchdog's interval into the environment of this process and of what
/// it starts.
class CServiceManager
{
public:
    /// `name` is a path, or an abstract name behind '@'; without `watchdogMicroseconds` there is no watchdog.
    explicit CServiceManager(const std::string& name, const char* watchdogMicroseconds = nullptr)
        : descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (name.size() > sizeof address.sun_path)
            throw std::runtime_error("too long: " + name);
        std::memcpy(address.sun_path, name.data(), name.size());
        if (name[0] == '@')
            address.sun_path[0] = '\0';
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), size) != 0)
            throw std::runtime_error(name + ": " + std::strerror(errno));
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        if (watchdogMicroseconds)
            setenv("WATCHDOG_USEC", watchdogMicroseconds, 1);
    }

    ~CServiceManager()
    {
        close(descriptor);
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
    }

    CServiceManager(const CServiceManager&) = delete;
    CServiceManager& operator=(const CServiceManager&) = delete;

    /// The next message, if it comes within the time.
    std::optional<std::string> next(int seconds = 30) const
    {
        const timeval limit{seconds, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        char text[1024];
        ssize_t size = -1;
        do
            size = recv(descriptor, text, sizeof text, 0);
        while (size < 0 && errno == EINTR); // signal(7): so it ends, too, in a process that was stopped and goes on
        if (size < 0)
            return std::nullopt;
        return std::string(text, static_cast<std::size_t>(size));
    }

private:
    const int descriptor;
};

#endif
