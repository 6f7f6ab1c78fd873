/// Runs a program to its end and collects what it printed, for tests of streams and exit statuses.
#ifndef KIV_TESTS_CHILDPROCESS_H
#define KIV_TESTS_CHILDPROCESS_H

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

/// A child process whose standard output and standard error are read while it runs. It is killed if it is still there
/// when the object goes, so that a failed test leaves nothing behind.
class CChildProcess
{
public:
    explicit CChildProcess(std::vector<std::string> arguments)
        : CChildProcess([&arguments] {
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
            exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            pid = 0;
            outReader.join();
            errReader.join();
        }
        return exitStatus;
    }

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
    std::string outText;
    std::string errText;
    std::thread outReader;
    std::thread errReader;
};

#endif
