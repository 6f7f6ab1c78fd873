#include <kiv/SignalWatch.h>

#include <algorithm>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>

#include <kiv/Thread.h>

#include "kiv/env/unix/helper/SystemCall.h"
#include "kiv/errors/ResultCodes.h"
#include "kiv/time/TimeSource.h"

namespace Kiv
{

namespace
{

/// Signals that are ignored from the beginning stay so; empty if one cannot be blocked.
int setOf(std::initializer_list<int> signals, sigset_t& set)
{
    sigemptyset(&set);
    for (const int signal : signals)
    {
        struct sigaction action = {};
        if (signal == SIGKILL || signal == SIGSTOP || sigaction(signal, nullptr, &action) != 0)
            return invalidArgument;
        if (action.sa_handler != SIG_IGN)
            sigaddset(&set, signal);
    }
    return signals.size() != 0 ? 0 : invalidArgument;
}

} // namespace

class CSignalWatchPrivate : public CThread
{
public:
    explicit CSignalWatchPrivate(std::initializer_list<int> signals) : CThread("signals")
    {
        error = setOf(signals, watched);
        if (error != 0)
            return;
        pthread_sigmask(SIG_BLOCK, &watched, &before);
        received = CDescriptor(signalfd(-1, &watched, SFD_NONBLOCK | SFD_CLOEXEC));
        wake = CDescriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
        if (received.isOpen() && wake.isOpen())
            return;
        error = negatedErrno();
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    ~CSignalWatchPrivate() override { end(); }

    void end()
    {
        constexpr unsigned int limitMs = 100;
        requestStop();
        eventfd_write(wake.get(), 1);
        waitForCompletion(limitMs);
        eventfd_t count = 0;
        eventfd_read(wake.get(), &count);
    }

    /// The next signal, 0 when the time ran out or end() came, or a code.
    int next(const CDeadline& deadline) const
    {
        pollfd descriptors[] = {{wake.get(), POLLIN, 0}, {received.get(), POLLIN, 0}};
        if (Time::poll(descriptors, 2, deadline) < 0)
            return negatedErrno();
        signalfd_siginfo signal = {};
        if (::read(received.get(), &signal, sizeof signal) != static_cast<ssize_t>(sizeof signal))
            return 0;
        return static_cast<int>(signal.ssi_signo);
    }

    void run() override
    {
        while (isActive())
        {
            const int signal = next(CDeadline::never());
            if (signal > 0 && isActive())
                callback(signal);
            else if (signal < 0)
                return;
        }
    }

    int error = 0;
    sigset_t before = {};
    cb::Callback1<void, int> callback;

private:
    sigset_t watched = {};
    CDescriptor received;
    CDescriptor wake;
};

CSignalWatch::CSignalWatch(std::initializer_list<int> signals) : d(std::make_unique<CSignalWatchPrivate>(signals)) {}

CSignalWatch::~CSignalWatch()
{
    d->end();
    if (d->error == 0)
        pthread_sigmask(SIG_SETMASK, &d->before, nullptr);
}

int CSignalWatch::error() const { return d->error; }

int CSignalWatch::start(const cb::Callback1<void, int>& callback)
{
    constexpr int tryAgain = -11;
    if (d->error != 0)
        return d->error;
    if (callback.empty())
        return invalidArgument;
    if (d->isActive())
        return resourceBusy;
    d->callback = callback;
    d->start();
    return d->isActive() ? 0 : tryAgain;
}

void CSignalWatch::stop() { d->end(); }

int CSignalWatch::wait(const CDeadline& deadline) { return d->error != 0 ? d->error : d->next(deadline); }

} // namespace Kiv
