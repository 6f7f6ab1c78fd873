// Says that it is in main(), or idles with a machine and a timer and says so: with the library, or with two threads of
// Qt and a logger of log4cplus in their places.
#include <cstring>

#include <unistd.h>

#ifdef WITH_KIV
#include <kiv/kiv.h>
#else
#include <QMutex>
#include <QThread>
#include <QWaitCondition>
#include <log4cplus/configurator.h>
#include <log4cplus/logger.h>
#endif

namespace
{

void sayReady()
{
    if (::write(STDOUT_FILENO, "r", 1) != 1)
        ::_exit(1);
}

#ifdef WITH_KIV

void idle()
{
    Kiv::Diag::initDefaultConfig();
    Kiv::CStateMachine machine(Kiv::CStateMachine::ProcessingAsync);
    auto* const state = new Kiv::CState("waits", &machine);
    machine.setInitialState(state);
    machine.start();
    Kiv::CAlarmTimer timer(1'000'000);
    timer.start();
    sayReady();
    ::pause();
}

#else

class CWaiting : public QThread
{
    void run() override
    {
        QMutex mutex;
        QWaitCondition condition;
        mutex.lock();
        condition.wait(&mutex, 1'000'000'000);
        mutex.unlock();
    }
};

void idle()
{
    log4cplus::initialize();
    log4cplus::BasicConfigurator::doConfigure();
    log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("idle"));
    CWaiting machine;
    CWaiting timer;
    machine.start();
    timer.start();
    sayReady();
    ::pause();
}

#endif

} // namespace

int main(int, char** arguments)
{
    if (std::strcmp(arguments[1], "idle") == 0)
        idle();
    sayReady();
}
