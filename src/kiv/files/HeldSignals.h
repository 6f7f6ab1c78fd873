/// Keeps signals away from the saving of a file; private to what saves files.
#ifndef KIV_HELDSIGNALS_H
#define KIV_HELDSIGNALS_H

#include <csignal>
#include <ctime>
#include <initializer_list>

namespace Kiv
{

/// While this lives, the calling thread gets no SIGXFSZ and no SIGPIPE: the write that is to blame fails with EFBIG or
/// EPIPE, which its caller tells. On request it also keeps for later what usually ends a process.
///
/// Threads: belongs to the thread that made it.
/// Errors: none.
class CHeldSignals
{
public:
    explicit CHeldSignals(bool endsToo)
    {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : ofWrites)
            sigaddset(&held, signal);
        if (endsToo)
            for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
                sigaddset(&held, signal);
        pthread_sigmask(SIG_BLOCK, &held, &maskBefore);
        sigpending(&pendingBefore);
    }
    ~CHeldSignals()
    {
        takeBack();
        pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    }
    CHeldSignals(const CHeldSignals&) = delete;
    CHeldSignals& operator=(const CHeldSignals&) = delete;

private:
    static constexpr std::initializer_list<int> ofWrites = {SIGXFSZ, SIGPIPE};

    /// What our own writes have raised goes; what was pending before stays so.
    void takeBack() const
    {
        sigset_t pending;
        sigpending(&pending);
        for (const int signal : ofWrites)
        {
            if (sigismember(&pending, signal) != 1 || sigismember(&pendingBefore, signal) == 1)
                continue;
            sigset_t one;
            sigemptyset(&one);
            sigaddset(&one, signal);
            const timespec atOnce = {0, 0};
            sigtimedwait(&one, nullptr, &atOnce);
        }
    }

    sigset_t maskBefore = {};
    sigset_t pendingBefore = {};
};

} // namespace Kiv

#endif
