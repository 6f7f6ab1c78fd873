// A controller in small that logs everything and ends, or stops what runs, while others log; see logging_test.cpp. Its
// arguments: what to do, and who holds the log up.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <log4cplus/consoleappender.h>
#include <log4cplus/loggingmacros.h>

#include <kiv/AlarmTimer.h>
#include <kiv/Thread.h>
#include <kiv/diag.h>

// ThreadSanitizer would let each process sleep for a second before it ends.
extern "C" const char* __tsan_default_options() { return "atexit_sleep_ms=0"; }

namespace
{

using std::chrono::milliseconds;

void logEverything()
{
    log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(false, true));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%m%n"));
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.addAppender(appender);
    root.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
}

class CHandler : public Kiv::IAlarmHandler
{
public:
    explicit CHandler(std::function<void()> onAlarmDo) : action(std::move(onAlarmDo)) {}
    bool onAlarm(Kiv::CAlarmTimer*) override
    {
        action();
        return true;
    }

private:
    std::function<void()> action;
};

/// Calls a function for as long as it is not stopped.
class CBody : public Kiv::CThread
{
public:
    explicit CBody(void (*callThis)()) : CThread("body"), call(callThis) {}
    ~CBody() override
    {
        requestStop();
        waitForCompletion(50);
    }
    void run() override
    {
        const auto function = call; // the thread may outlive the object
        while (isActive())
            function();
    }

private:
    void (*const call)();
};

/// Timers that nobody stops.
void startTimers(Kiv::IAlarmHandler* handler)
{
    for (unsigned i = 0; i < 4; ++i)
        (new Kiv::CAlarmTimer(i / 2, 0, handler))->start();
}

[[noreturn]] void sleepOn()
{
    for (;;)
        std::this_thread::sleep_for(milliseconds(100));
}

/// Lets everything run that the library has, until exit() comes.
void useEverything()
{
    static Kiv::CAlarmTimer lasting(1);
    static CBody logging([] { LOG4CPLUS_TRACE(Kiv::Diag::diagLogger(), "from a body"); });
    lasting.setName("lasting");
    lasting.start();
    logging.start();
}

int returnFromMain(const std::string&)
{
    logEverything();
    useEverything();
    startTimers(nullptr);
    std::this_thread::sleep_for(milliseconds(5));
    return 3;
}

int returnWithStaticOnes(const std::string&)
{
    logEverything();
    useEverything();
    std::this_thread::sleep_for(milliseconds(5));
    return 3;
}

int exitInHandler(const std::string&)
{
    logEverything();
    static CHandler handler([] {
        static std::atomic<int> alarms{0};
        if (++alarms == 30)
            std::exit(3);
    });
    startTimers(&handler);
    sleepOn();
}

std::atomic<bool> pipeIsFull{false};

/// From now on standard output is a pipe that nobody reads and that takes nothing more. Its other end.
int fillStandardOutput()
{
    int ends[2];
    if (pipe2(ends, O_NONBLOCK) != 0)
        std::abort();
    const char junk[4096] = {};
    while (write(ends[1], junk, sizeof junk) > 0)
    {}
    while (write(ends[1], junk, 1) > 0)
    {}
    fcntl(ends[1], F_SETFL, 0);
    dup2(ends[1], STDOUT_FILENO);
    pipeIsFull = true;
    return ends[0];
}

/// What is in the pipe now, without the junk.
std::string readWhatThereIs(int pipe)
{
    std::string text;
    char chunk[4096];
    for (ssize_t got = 0; (got = read(pipe, chunk, sizeof chunk)) > 0;)
        for (ssize_t i = 0; i < got; ++i)
            if (chunk[i] != '\0')
                text += chunk[i];
    return text;
}

/// Logs so that it comes to a stand, for as long as nobody reads.
void logAtFullPipe()
{
    if (pipeIsFull)
        LOG4CPLUS_INFO(log4cplus::Logger::getRoot(), "held up");
}

/// Stops a timer twice and destroys a thread while `who` holds the log up.
int stopWhileLogStands(const std::string& who)
{
    logEverything();
    log4cplus::Logger::getInstance("AlarmTimerLogger")
        .setLogLevel(who == "timer" ? log4cplus::TRACE_LOG_LEVEL : log4cplus::INFO_LOG_LEVEL);
    static CHandler handler([who] {
        if (who == "handler")
            logAtFullPipe();
        if (who == "stubborn handler" && pipeIsFull)
        {
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
            logAtFullPipe();
        }
    });
    Kiv::CAlarmTimer timer(1, 0, &handler);
    auto body = std::make_unique<CBody>(who == "body" ? logAtFullPipe : [] { Kiv::CThread::sleep(1); });
    timer.start();
    body->start();
    fillStandardOutput();
    if (who == "application")
        std::thread(logAtFullPipe).detach();
    std::this_thread::sleep_for(milliseconds(50));

    timer.stop();
    timer.stop();
    body.reset();
    std::fputs("stopped\n", stderr);
    return 3;
}

/// Stops timers before and while a reader takes what stands in the pipe; prints what that one read.
int readOn(const std::string&)
{
    logEverything();
    Kiv::CAlarmTimer first(1);
    Kiv::CAlarmTimer second(1);
    Kiv::CAlarmTimer third(1);
    log4cplus::Logger timerLogger = log4cplus::Logger::getInstance("AlarmTimerLogger");
    timerLogger.setLogLevel(log4cplus::OFF_LOG_LEVEL);
    first.setName("first");
    second.setName("second");
    third.setName("third");
    timerLogger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    const int reading = fillStandardOutput();
    first.stop();  // written later
    second.stop(); // lost
    std::string text;
    while (text.find("first\n") == text.npos)
        text += readWhatThereIs(reading);
    while (text.find("third\n") == text.npos) // a moment later it is logged again
    {
        third.stop();
        text += readWhatThereIs(reading);
    }
    std::fputs(text.c_str(), stderr);
    return 3;
}

} // namespace

int main(int, char** argv)
{
    const std::map<std::string, int (*)(const std::string&)> deeds{
        {"return", returnFromMain}, {"exit-in-handler", exitInHandler}, {"static", returnWithStaticOnes},
        {"read-on", readOn},        {"stop", stopWhileLogStands},
    };
    alarm(60);
    return deeds.at(argv[1])(argv[2] != nullptr ? argv[2] : "");
}
