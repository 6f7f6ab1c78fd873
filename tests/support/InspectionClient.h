/// Somebody who looks through an inspection's socket.
#ifndef KIV_TESTS_INSPECTIONCLIENT_H
#define KIV_TESTS_INSPECTIONCLIENT_H

#include <cstring>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// Lines in and out; nextLine() gives up after ten seconds.
class CInspectionClient
{
public:
    explicit CInspectionClient(const std::string& path) : connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        isOpen = ::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~CInspectionClient() { ::close(connection); }
    CInspectionClient(const CInspectionClient&) = delete;
    CInspectionClient& operator=(const CInspectionClient&) = delete;

    bool isConnected() const { return isOpen; }

    bool send(const std::string& bytes)
    {
        return ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }

    /// Without its line break; "(closed)" when nothing comes any more, "(nothing)" when nothing comes in time.
    std::string nextLine()
    {
        for (;;)
        {
            const std::size_t end = received.find('\n');
            if (end != std::string::npos)
            {
                const std::string line = received.substr(0, end);
                received.erase(0, end + 1);
                return line;
            }
            pollfd readable{connection, POLLIN, 0};
            if (::poll(&readable, 1, 10000) <= 0)
                return "(nothing)";
            char bytes[4096];
            const ssize_t count = ::recv(connection, bytes, sizeof bytes, 0);
            if (count <= 0)
                return "(closed)";
            received.append(bytes, static_cast<std::size_t>(count));
        }
    }

    std::string ask(const std::string& request)
    {
        send(request + '\n');
        return nextLine();
    }

    /// Reads on until a text has come, which may spread over several lines; all that was read.
    std::string until(const std::string& text)
    {
        std::string all;
        while (all.find(text) == std::string::npos && all.find("\n(") == std::string::npos)
            all += '\n' + nextLine();
        return all;
    }

private:
    int connection;
    bool isOpen = false;
    std::string received;
};

#endif
