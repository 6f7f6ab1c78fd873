/// Runs a program to its end and collects what it printed, for tests of streams and exit statuses.
#ifndef KIV_TESTS_CHILDPROCESS_H
#define KIV_TESTS_CHILDPROCESS_H

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

/// The command itself, or with the emulator that a build for another instruction set has before its own programs.
inline std::vector<std::string> asRunHere(const std::vector<std::string>& command)
{
#ifdef KIV_TEST_EMULATOR
    const auto instructionSet = [](const std::string& path) {
        char head[20] = {};
        std::ifstream(path, std::ios::binary).read(head, sizeof head);
        return std::memcmp(head, "\177ELF", 4) == 0 ? std::string(head + 18, 2) : std::string();
    };
    std::istringstream words(KIV_TEST_EMULATOR);
    const std::vector<std::string> emulator{std::istream_iterator<std::string>(words), {}};
    if (access(emulator.front().c_str(), X_OK) != 0)
        return command;
    // Programs also stand behind others that start them, as `env` and kiv-board do.
    const std::string own = instructionSet("/proc/self/exe");
    std::vector<std::string> whole;
    for (const std::string& word : command)
    {
        if (instructionSet(word) == own)
            whole.insert(whole.end(), emulator.begin(), emulator.end());
        whole.push_back(word);
    }
    return whole;
#else
    return command;
#endif
}

/// The program as the first words of a shell's command.
inline std::string shellCommand(const std::string& program)
{
    std::string words;
    for (const std::string& word : asRunHere({program}))
        words += (words.empty() ? "'" : " '") + word + "'";
    return words;
}

/// A child process whose standard output and standard error are read while it runs. It is killed if it is still there
/// when the object goes, so that a failed test leaves nothing behind.
class CChildProcess
{
public:
    explicit CChildProcess(const std::vector<std::string>& command)
        : CChildProcess([arguments = asRunHere(command)]() mutable {
              std::vector<char*> argv;
              for (std::string& argument : arguments)
                  argv.push_back(argument.data());
              argv.push_back(nullptr);
              execvp(argv[0], argv.data());
              return 127;
          })
    {}

    /// A copy of the test's own process; it ends with what `body` returns.
    explicit CChildProcess(const std::function<int()>& body)
    {
        int outEnds[2];
        int errEnds[2];
        if (pipe2(outEnds, O_CLOEXEC) != 0 || pipe2(errEnds, O_CLOEXEC) != 0)
            throw std::runtime_error(std::strerror(errno));
        pid = fork();
        if (pid == 0)
        {
            dup2(outEnds[1], STDOUT_FILENO);
            dup2(errEnds[1], STDERR_FILENO);
            _exit(body());
        }
        close(outEnds[1]);
        close(errEnds[1]);
        outReader = std::thread(readAll, outEnds[0], std::ref(outText));
        errReader = std::thread(readAll, errEnds[0], std::ref(errText));
    }

    ~CChildProcess()
    {
        if (pid > 0)
            ::kill(pid, SIGKILL);
        wait();
    }

    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    void kill(int signal) const { ::kill(pid, signal); }

    /// Waits for the end. The exit status, or 128 plus the number of the signal that ended the process.
    int wait()
    {
        if (pid > 0)
        {
            int status = 0;
            while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
            {}
            signalled = WIFSIGNALED(status);
            exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            pid = 0;
            outReader.join();
            errReader.join();
        }
        return exitStatus;
    }

    /// True after wait() if a signal ended it, rather than a status that looks so.
    bool endedBySignal() const { return signalled; }

    /// What it printed; complete after wait().
    const std::string& out() const { return outText; }
    const std::string& err() const { return errText; }

private:
    static void readAll(int descriptor, std::string& text)
    {
        char chunk[4096];
        for (ssize_t got = 0; (got = read(descriptor, chunk, sizeof chunk)) != 0;)
            if (got > 0)
                text.append(chunk, static_cast<std::size_t>(got));
        close(descriptor);
    }

    pid_t pid = -1;
    int exitStatus = -1;
    bool signalled = false;
    std::string outText;
    std::string errText;
    std::thread outReader;
    std::thread errReader;
};

#endif
