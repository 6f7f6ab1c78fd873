/// The other end of an inspection's socket.
#ifndef KIV_TOOLS_LOOKCLIENT_H
#define KIV_TOOLS_LOOKCLIENT_H

#include <string>
#include <vector>

namespace Tool
{

/// A controller that lets itself be looked at.
struct LookTarget
{
    std::string name;
    std::string path; ///< of its socket
};

/// The controllers whose sockets lie in a folder, or, if that is empty, where this user's programs and services put
/// them; by name. Some may be left over from processes that were killed.
std::vector<LookTarget> lookTargets(const std::string& folder);

/// A connection; the first line that comes greets.
class CLookClient
{
public:
    /// Throws a CToolError where nobody listens.
    explicit CLookClient(const LookTarget& target);
    ~CLookClient();
    CLookClient(const CLookClient&) = delete;
    CLookClient& operator=(const CLookClient&) = delete;

    /// Sends a request; the answer is a later line.
    void send(const std::string& request);

    /// The next line. Empty when none came in `timeoutMs`, -1 for no limit, or when a signal came; throws a CToolError
    /// when the process is gone.
    std::string nextLine(int timeoutMs);

    /// The next line within 5 s, else a CToolError.
    std::string answer();

    const std::string& greeting() const { return firstLine; }

private:
    std::string name;
    int connection;
    std::string received;
    std::string firstLine;
};

} // namespace Tool

#endif
