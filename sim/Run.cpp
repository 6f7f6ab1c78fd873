#include "Run.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Board.h"
#include "FuseServer.h"
#include "Sandbox.h"
#include "SingleThread.h"

namespace Sim
{

namespace
{

int complain(const char* reason)
{
    std::fprintf(stderr, "kiv-board: no simulated board here: %s\n", reason);
    return noBoardStatus;
}

std::vector<std::string> boardFolders(const BoardConfig& config)
{
    std::vector<std::string> names = {"gpio", "pwm", "sim"};
    for (const GpioChipConfig& chip : config.gpio)
        names.push_back(chip.device);
    for (const PwmChipConfig& chip : config.pwm)
        names.push_back(chip.device);
    if (config.hasAdc)
        names.push_back(config.iio.name);
    return names;
}

/// Folders on which the machine's own ones are put back.
void addMountPoints(CFolder& folder, const std::vector<std::string>& names)
{
    for (const std::string& name : names)
        if (!folder.find(name))
            folder.addFolder(name);
}

/// The command's process, up to the command itself.
[[noreturn]] void becomeCommand(const CSandbox& sandbox, const BoardConfig& config, pid_t server, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != server)
        _exit(noBoardStatus);
    try
    {
        sandbox.arrange(boardFolders(config));
    }
    catch (const CNoSandbox& reason)
    {
        _exit(complain(reason.what()));
    }
    const sigset_t signals = watchedSignals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    execvp(argv[0], argv);
    const int error = errno;
    std::fprintf(stderr, "kiv-board: %s: %s\n", argv[0], std::strerror(error));
    _exit(error == ENOENT ? 127 : 126);
}

/// True when the command may have ended.
bool takeSignal(int signals, pid_t command)
{
    signalfd_siginfo signal = {};
    if (read(signals, &signal, sizeof signal) != static_cast<ssize_t>(sizeof signal))
        return false;
    if (signal.ssi_signo == SIGCHLD)
        return true;
    passOn(static_cast<int>(signal.ssi_signo), signal.ssi_code, command);
    return false;
}

/// Ends a command that would get no answers any longer; its wait status. It holds nothing that keeps it from dying:
/// whatever was asked so far has been answered.
int abandon(pid_t command, int error)
{
    std::fprintf(stderr, "kiv-board: cannot wait for requests: %s\n", std::strerror(error));
    kill(command, SIGKILL);
    int status = 0;
    while (waitpid(command, &status, 0) < 0 && errno == EINTR)
        continue;
    return status;
}

/// Serves until the command ends; its wait status.
int serve(CFuseServer& server, int signals, pid_t command)
{
    pollfd files[] = {{server.descriptor(), POLLIN, 0}, {signals, POLLIN, 0}};
    int status = 0;
    while (true)
    {
        if (poll(files, 2, -1) < 0)
        {
            if (errno == EINTR)
                continue;
            return abandon(command, errno);
        }
        if ((files[1].revents & POLLIN) != 0 && takeSignal(signals, command) &&
            waitpid(command, &status, WNOHANG) == command)
            return status;
        if (files[0].revents != 0 && !server.answer())
            files[0].fd = -1; // unmounted by the command; its status still counts
    }
}

/// The server's process: it makes the namespace and the board and answers while the command runs in a child.
int serveBoard(const BoardConfig& config, char** argv)
{
    const sigset_t watched = watchedSignals();
    const int signals = signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK);
    int status = 0;
    try
    {
        const CSandbox sandbox;
        CBoard board(config);
        addMountPoints(*board.classes(), sandbox.coveredClasses());
        addMountPoints(*board.buses(), sandbox.coveredBuses());
        addMountPoints(*board.devices(), sandbox.coveredDevices());
        const pid_t self = getpid();
        const pid_t command = fork();
        if (command == 0)
            becomeCommand(sandbox, config, self, argv);
        if (command < 0)
            throw CNoSandbox(std::string("cannot start a process: ") + std::strerror(errno));
        CFuseServer server(board, sandbox.fuseDescriptor());
        status = serve(server, signals, command);
    }
    catch (const std::runtime_error& reason)
    {
        return complain(reason.what());
    }
    CSandbox::dismantle();
    return exitStatus(status);
}

} // namespace

int runOnBoard(const BoardConfig& config, char** argv)
{
    return runSingleThreaded([&] { return serveBoard(config, argv); });
}

} // namespace Sim
