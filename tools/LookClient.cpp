#include "LookClient.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Command.h"

namespace Tool
{

namespace
{

constexpr int answerMs = 5000;
constexpr const char* prefix = "kiv-";
constexpr const char* ending = ".sock";

void addFrom(const std::filesystem::path& folder, std::vector<LookTarget>& targets)
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
    {
        const std::string name = entry.path().filename();
        const std::size_t around = std::strlen(prefix) + std::strlen(ending);
        if (name.size() > around && name.compare(0, std::strlen(prefix), prefix) == 0 &&
            entry.path().extension() == ending && entry.is_socket(error))
            targets.push_back({name.substr(std::strlen(prefix), name.size() - around), entry.path()});
    }
}

} // namespace

std::vector<LookTarget> lookTargets(const std::string& folder)
{
    std::vector<LookTarget> targets;
    const char* const user = std::getenv("XDG_RUNTIME_DIR");
    if (!folder.empty())
        addFrom(folder, targets);
    else
    {
        if (user != nullptr && *user != '\0')
            addFrom(user, targets);
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator("/run", error)) // RUNTIME_DIRECTORY of services
            if (entry.is_directory(error) && !entry.is_symlink(error))
                addFrom(entry.path(), targets);
    }
    std::sort(targets.begin(), targets.end(),
              [](const LookTarget& left, const LookTarget& right) { return left.name < right.name; });
    return targets;
}

CLookClient::CLookClient(const LookTarget& target)
    : name(target.name), connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, target.path.c_str(), sizeof address.sun_path - 1);
    if (connection < 0 || ::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        const CToolError error = systemFailure(target.path);
        ::close(connection);
        throw CToolError(error);
    }
    firstLine = answer();
}

CLookClient::~CLookClient() { ::close(connection); }

void CLookClient::send(const std::string& request)
{
    const std::string line = request + '\n';
    if (::send(connection, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
        throw CToolError(ExitFailed, name + " is gone");
}

std::string CLookClient::nextLine(int timeoutMs)
{
    std::size_t end = 0;
    while ((end = received.find('\n')) == std::string::npos)
    {
        pollfd readable{connection, POLLIN, 0};
        if (::poll(&readable, 1, timeoutMs) <= 0)
            return "";
        char bytes[16384];
        const ssize_t count = ::recv(connection, bytes, sizeof bytes, 0);
        if (count < 0 && errno == EINTR)
            return "";
        if (count <= 0)
            throw CToolError(ExitFailed, name + " is gone");
        received.append(bytes, static_cast<std::size_t>(count));
    }
    std::string line = received.substr(0, end);
    received.erase(0, end + 1);
    return line;
}

std::string CLookClient::answer()
{
    std::string line = nextLine(answerMs);
    if (line.empty())
        throw CToolError(ExitFailed, name + " does not answer");
    return line;
}

} // namespace Tool
