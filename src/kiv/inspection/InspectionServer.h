/// The socket of an inspection and those who look through it; private.
#ifndef KIV_INSPECTIONSERVER_H
#define KIV_INSPECTIONSERVER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "kiv/env/unix/helper/SystemCall.h"

namespace Kiv
{

/// What is said over the socket, each text one JSON object without a line break. Called on the server's thread only.
class IInspected
{
public:
    virtual std::string greeting() = 0;
    virtual std::string answer(const std::string& request, const ucred& peer) = 0;

    /// The first watcher came, or the last one went.
    virtual void setWatched(bool watched) = 0;

    /// What happened since the last call; empty if nothing did. `skipped` changes did not reach every watcher.
    virtual std::string changes() = 0;

    virtual ~IInspected() = default;
};

/// A listening socket at a path, made so that a living process's is never replaced, and removed when it goes.
class CInspectionSocket
{
public:
    /// 0, or a negated code.
    int open(const std::string& path, const std::string& group);
    ~CInspectionSocket();

    const std::string& path() const { return boundPath; }
    int get() const { return listener.get(); }

private:
    int bind(const std::string& path, const std::string& group);

    CDescriptor listener;
    std::string boundPath;
};

/// Serves any number of requests on one thread; never waits for a reader.
class CInspectionServer
{
public:
    CInspectionServer(const CInspectionSocket& socket, IInspected& told) : listener(socket.get()), inspected(told) {}

    /// Runs until `wakeup`, an eventfd, is written to.
    void serve(int wakeup);

private:
    using Clock = std::chrono::steady_clock; // of the world in which the readers live

    struct Client
    {
        CDescriptor connection;
        ucred peer{};
        std::string received{};
        std::string waiting{};
        std::uint64_t skipped = 0;
        Clock::time_point lastTaken = Clock::now();
        bool watches = false;
        bool isGone = false;
    };

    std::vector<pollfd> descriptors(int wakeup) const;
    int timeout() const;
    void accept();
    void receive(Client& client);
    void handle(Client& client, const std::string& request);
    void tell(Client& client, const std::string& line);
    void flush(Client& client);
    void tellChanges();
    void removeGone();

    const int listener;
    IInspected& inspected;
    std::list<Client> clients;
    bool isWatched = false;
};

} // namespace Kiv

#endif
