#include "kiv/inspection/InspectionServer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <grp.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "kiv/text/JsonText.h"

namespace Kiv
{

namespace
{

constexpr std::size_t mostClients = 8;
constexpr std::size_t longestRequest = 255;
constexpr std::size_t mostWaiting = std::size_t{1} << 20;
constexpr std::chrono::seconds patience{5};
constexpr int changesMsecs = 50;

bool addressOf(const std::string& path, sockaddr_un& address)
{
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

CDescriptor streamSocket() { return CDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)); }

/// Whether a living process listens there. One that has no room for another connection just now lives, too.
bool answers(const sockaddr_un& address)
{
    const CDescriptor probe = streamSocket();
    return ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno == EAGAIN;
}

std::string problem(const char* text) { return CJsonObject().addText("kind", "error").addText("text", text).text(); }

} // namespace

int CInspectionSocket::open(const std::string& path, const std::string& group)
{
    const int result = bind(path, group);
    if (result != 0)
        listener = CDescriptor();
    return result;
}

CInspectionSocket::~CInspectionSocket()
{
    if (!boundPath.empty())
        ::unlink(boundPath.c_str());
}

// Bound under another name first: the socket appears with its rights and listening, or not at all.
int CInspectionSocket::bind(const std::string& path, const std::string& group)
{
    sockaddr_un address{};
    sockaddr_un first{};
    const std::string firstPath = path + '~';
    if (!addressOf(path, address) || !addressOf(firstPath, first))
        return -static_cast<int>(errnoToErrCode(ENAMETOOLONG));
    if (answers(address))
        return -static_cast<int>(errnoToErrCode(EADDRINUSE));
    listener = streamSocket();
    ::unlink(firstPath.c_str());
    if (!listener.isOpen() || ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&first), sizeof first) != 0)
        return negatedErrno();
    const ::group* const entry = group.empty() ? nullptr : ::getgrnam(group.c_str());
    const bool isFound = group.empty() || entry != nullptr;
    if (!isFound)
        errno = ENOENT;
    if (!isFound || ::chmod(firstPath.c_str(), group.empty() ? 0600 : 0660) != 0 ||
        (entry != nullptr && ::chown(firstPath.c_str(), static_cast<uid_t>(-1), entry->gr_gid) != 0) ||
        ::listen(listener.get(), static_cast<int>(mostClients)) != 0 || ::rename(firstPath.c_str(), path.c_str()) != 0)
    {
        const int result = negatedErrno();
        ::unlink(firstPath.c_str());
        return result;
    }
    boundPath = path;
    return 0;
}

void CInspectionServer::serve(int wakeup)
{
    std::vector<pollfd> ready = descriptors(wakeup);
    while (ready[0].revents == 0)
    {
        std::size_t index = 2;
        for (Client& client : clients)
        {
            const short events = ready[index++].revents;
            if ((events & POLLOUT) != 0)
                flush(client);
            if ((events & (POLLIN | POLLHUP | POLLERR)) != 0)
                receive(client);
        }
        if (ready[1].revents != 0)
            accept();
        tellChanges();
        removeGone();
        ready = descriptors(wakeup);
        if (::poll(ready.data(), ready.size(), timeout()) < 0)
            for (pollfd& descriptor : ready)
                descriptor.revents = 0;
    }
    clients.clear();
    removeGone();
}

std::vector<pollfd> CInspectionServer::descriptors(int wakeup) const
{
    std::vector<pollfd> result{{wakeup, POLLIN, 0}, {listener, POLLIN, 0}};
    for (const Client& client : clients)
        result.push_back(
            {client.connection.get(), static_cast<short>(client.waiting.empty() ? POLLIN : POLLIN | POLLOUT), 0});
    return result;
}

int CInspectionServer::timeout() const
{
    if (isWatched)
        return changesMsecs;
    const bool owes =
        std::any_of(clients.begin(), clients.end(), [](const Client& client) { return !client.waiting.empty(); });
    return owes ? 1000 : -1;
}

void CInspectionServer::accept()
{
    CDescriptor connection(::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!connection.isOpen())
        return;
    Client client{std::move(connection)};
    socklen_t size = sizeof client.peer;
    ::getsockopt(client.connection.get(), SOL_SOCKET, SO_PEERCRED, &client.peer, &size);
    if (clients.size() >= mostClients)
    {
        const std::string line = problem("too many look already") + '\n';
        ::send(client.connection.get(), line.data(), line.size(), MSG_NOSIGNAL);
        return;
    }
    clients.push_back(std::move(client));
    tell(clients.back(), inspected.greeting());
}

void CInspectionServer::receive(Client& client)
{
    char bytes[512];
    const ssize_t count = ::recv(client.connection.get(), bytes, sizeof bytes, 0);
    if (count <= 0)
    {
        client.isGone = client.isGone || count == 0 || (errno != EAGAIN && errno != EINTR);
        return;
    }
    client.received.append(bytes, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (std::size_t end; !client.isGone && (end = client.received.find('\n', begin)) != std::string::npos;
         begin = end + 1)
        handle(client, client.received.substr(begin, end - begin));
    client.received.erase(0, begin);
    if (client.received.size() > longestRequest)
    {
        tell(client, problem("a request has at most 255 bytes"));
        client.isGone = true;
    }
}

void CInspectionServer::handle(Client& client, const std::string& request)
{
    if (request.size() > longestRequest)
        return tell(client, problem("a request has at most 255 bytes"));
    if (request == "watch")
        client.watches = true;
    tell(client, inspected.answer(request == "watch" ? "state" : request, client.peer));
}

/// A reader that does not take what waits gets nothing more, so that it holds up nobody.
void CInspectionServer::tell(Client& client, const std::string& line)
{
    if (client.waiting.size() + line.size() > mostWaiting)
    {
        ++client.skipped;
        return;
    }
    if (client.waiting.empty())
        client.lastTaken = Clock::now();
    if (client.skipped != 0)
        client.waiting += CJsonObject()
                              .addText("kind", "skipped")
                              .addNumber("lines", static_cast<std::int64_t>(client.skipped))
                              .text() +
                          '\n';
    client.skipped = 0;
    client.waiting += line;
    client.waiting += '\n';
    flush(client);
}

void CInspectionServer::flush(Client& client)
{
    const ssize_t count = ::send(client.connection.get(), client.waiting.data(), client.waiting.size(), MSG_NOSIGNAL);
    if (count > 0)
    {
        client.waiting.erase(0, static_cast<std::size_t>(count));
        client.lastTaken = Clock::now();
    }
    else if (count < 0 && errno != EAGAIN && errno != EINTR)
        client.isGone = true;
}

void CInspectionServer::tellChanges()
{
    const std::string line = isWatched ? inspected.changes() : "";
    if (line.empty())
        return;
    for (Client& client : clients)
        if (client.watches)
            tell(client, line);
}

void CInspectionServer::removeGone()
{
    clients.remove_if([](const Client& client) {
        return client.isGone || (!client.waiting.empty() && Clock::now() - client.lastTaken > patience);
    });
    const bool watched =
        std::any_of(clients.begin(), clients.end(), [](const Client& client) { return client.watches; });
    if (watched != isWatched)
        inspected.setWatched(watched);
    isWatched = watched;
}

} // namespace Kiv
