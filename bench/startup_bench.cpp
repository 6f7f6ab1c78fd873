// What linking the library costs a program: the time until it has run to its end, from its start on, and what stays in
// memory while it idles. Beside it programs of the same work with Qt Core and log4cplus alone, on which the library
// stands. The programs are bench/programs/startup.cpp, built both ways.
#include <cstdlib>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

struct Child
{
    pid_t process = -1;
    int output = -1; ///< its standard output

    Child(const char* program, const char* what)
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            std::abort();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        char* const arguments[] = {const_cast<char*>(program), const_cast<char*>(what), nullptr};
        if (posix_spawn(&process, program, &actions, nullptr, arguments, environ) != 0)
            process = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        output = ends[0];
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    ~Child()
    {
        ::close(output);
        int status = 0;
        ::waitpid(process, &status, 0);
    }

    /// Waits until the program says a byte; false when it ended without.
    bool isReady() const
    {
        char byte = 0;
        return process > 0 && ::read(output, &byte, 1) == 1;
    }

    double residentBytes() const
    {
        std::ifstream file("/proc/" + std::to_string(process) + "/statm");
        double pages = 0;
        file >> pages >> pages;
        return pages * static_cast<double>(::sysconf(_SC_PAGESIZE));
    }
};

void startToMain(benchmark::State& state, const char* program)
{
    for (auto _ : state)
    {
        const Child child(program, "main");
        if (!child.isReady())
            state.SkipWithError("the program did not start");
    }
}

void idle(benchmark::State& state, const char* program)
{
    double resident = 0;
    for (auto _ : state)
    {
        const Child child(program, "idle");
        if (!child.isReady())
            state.SkipWithError("the program did not start");
        resident = child.residentBytes();
        ::kill(child.process, SIGKILL);
    }
    state.counters["resident_kB"] = resident / 1000;
}

BENCHMARK_CAPTURE(startToMain, kiv, STARTUP_KIV)->Name("program from start to main/kiv")->UseRealTime();
BENCHMARK_CAPTURE(startToMain, qt, STARTUP_QT)->Name("program from start to main/Qt Core and log4cplus")->UseRealTime();
BENCHMARK_CAPTURE(idle, kiv, STARTUP_KIV)->Name("idle program, one machine and one timer/kiv")->UseRealTime();
BENCHMARK_CAPTURE(idle, qt, STARTUP_QT)
    ->Name("idle program, one machine and one timer/Qt Core and log4cplus")
    ->UseRealTime();

} // namespace
