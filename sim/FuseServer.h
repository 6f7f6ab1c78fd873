/// Shows a board as a file system.
#ifndef KIV_SIM_FUSESERVER_H
#define KIV_SIM_FUSESERVER_H

#include <memory>

namespace Sim
{

class CBoard;
class CFuseServerPrivate;

/// Answers the requests of a mounted FUSE file system whose root is the board's /sys/class.
///
/// The folder `.devices` of the root, which is not listed, is the board's /sys/devices/platform.
///
/// Threads: everything in one. While it does not answer, whoever touches the file system waits: the serving thread
/// must never do so itself.
class CFuseServer
{
public:
    /// Takes the mount's descriptor of /dev/fuse over. Throws std::runtime_error.
    CFuseServer(CBoard& board, int descriptor);
    CFuseServer(const CFuseServer&) = delete;
    CFuseServer& operator=(const CFuseServer&) = delete;
    /// Ends the file system: its users get errors from then on.
    ~CFuseServer();

    /// Readable when there is a request.
    int descriptor() const;
    /// Answers one request. False when the file system is no longer mounted.
    bool answer();

private:
    std::unique_ptr<CFuseServerPrivate> d;
};

} // namespace Sim

#endif
