/// A QThread that can be terminated and given up without taking the process down.
///
/// Qt aborts the process when an unfinished QThread is deleted, and a termination that takes effect inside Qt's or the
/// library's own code leaves locks taken. So a body here can be terminated only where it opens a CTerminationWindow,
/// every wait of this class holds terminations off, and a thread that does not end is parked: kept with everything that
/// it owns, and deleted once it has ended. Parking allocates nothing: it happens in destructors.
#ifndef KIV_TERMINABLETHREAD_H
#define KIV_TERMINABLETHREAD_H

#include <atomic>
#include <cstdint>
#include <memory>

#include <QThread>

#include "kiv/env/qt/core/QtSync.h"
#include "kiv/env/unix/helper/ThreadScheduling.h"

namespace Kiv
{

/// While it lives, a termination of the calling thread takes effect at cancellation points; one that is pending already
/// does so at once. Only for bodies of a CTerminableThread.
class CTerminationWindow
{
public:
    CTerminationWindow()
    {
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
        pthread_testcancel();
    }
    ~CTerminationWindow() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); }
    CTerminationWindow(const CTerminationWindow&) = delete;
    CTerminationWindow& operator=(const CTerminationWindow&) = delete;
};

/// The part of a thread that a public object owns; the body may outlive that object, therefore it touches only this
/// part.
///
/// `gate` guards the state: no body begins after close(), and terminateBody() finds the body either running or ended.
class CTerminableThread : public QThread
{
public:
    /// Starts and waits until the body has begun, at most a second; nothing happens while the body runs. False if the
    /// system refuses a thread.
    bool launch(Priority priority);

    /// The kernel's id of the thread, from the last beginning on; 0 before.
    std::uint64_t kernelId() const { return id; }

    /// 0 or a code, as CThread says; before the start or while it runs.
    int setRealTimePriority(eRealTimePolicy policy, int priority);
    int setProcessors(const std::vector<unsigned int>& processors);
    /// While it runs; false and 0 otherwise.
    bool isRealTime();
    int realTimePriority();
    /// Before the first start.
    void setScheduling(const CThreadScheduling& wanted);

    /// Waits for the thread's end; what the thread did is visible after true. On the thread itself false at once.
    bool waitEnded(const CDeadline& deadline);

    /// Waits for the end as long as stop() and destructors do, 100 ms, in slices: a process that was stopped meanwhile
    /// and goes on does not find all of the time gone, and terminates no body that would just have ended.
    bool waitEndedForStop();

    /// True when the thread has ended or never ran; what it did is visible then.
    bool hasEnded();

    /// Whether the thread is there; in the time of a source, whether its body is, which does not depend on chance.
    bool isThere();

    /// From now on no body begins.
    void close();

    /// Terminates the body unless it has ended already; true if it did so. A thread does not terminate itself.
    bool terminateBody();

    /// Deletes the thread as soon as it has ended: now, or when another one is given up or started later.
    static void giveUp(std::unique_ptr<CTerminableThread> thread);

protected:
    /// Runs on the thread before launch() returns.
    virtual void prepare() {}

    /// For the log.
    virtual const char* shownName() const { return ""; }

    /// Runs on the thread with termination held off.
    virtual void body() = 0;

private:
    class CEndMark;
    enum eState : int
    {
        StateIdle,
        StateStarting,
        StateRunning,
        StateEnded
    };

    void run() final;
    bool begin(CThreadScheduling::Refusals& refusals);
    pid_t runningId() const KIV_REQUIRES(gate);
    void end();
    bool waitInTimeOf(ITimeSource& source, const CDeadline& deadline);
    bool waitInRealTime(const CDeadline& deadline);
    bool runsHere() const { return threadHere == this; }

    static thread_local const CTerminableThread* threadHere;

    std::unique_ptr<CTerminableThread> nextParked;
    CPlainMutex gate;
    CSyncCondition changed;
    eState state KIV_GUARDED_BY(gate) = StateIdle;
    bool closed KIV_GUARDED_BY(gate) = false;
    CThreadScheduling scheduling KIV_GUARDED_BY(gate);
    ITimeSource* source = nullptr; // that the run takes part in, with the token for it
    void* token = nullptr;
    std::atomic<std::uint64_t> id{0};
};

} // namespace Kiv

#endif
