/// A QThread that can be terminated and given up without taking the process down.
///
/// Qt aborts the process when an unfinished QThread is deleted, and a termination that takes effect inside Qt's or the
/// library's own code leaves locks taken. So a body here can be terminated only where it opens a CTerminationWindow,
/// and a thread that does not end is parked: kept with everything that it owns, and deleted once it has ended.
#ifndef KIV_TERMINABLETHREAD_H
#define KIV_TERMINABLETHREAD_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include <QThread>

#include "QtSync.h"

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

    /// QThread::wait; what the thread did is visible after true.
    bool waitEnded(unsigned long msecs);

    /// Waits for the end as long as stop() and destructors do, 100 ms, in slices: a process that was stopped meanwhile
    /// and goes on does not find all of the time gone, and terminates no body that would just have ended.
    bool waitEndedForStop();

    /// True when the thread has ended or never ran; what it did is visible then.
    bool hasEnded();

    /// From now on no body begins.
    void close();

    /// Terminates the body unless it has ended already; true if it did so.
    bool terminateBody();

    /// Deletes the thread as soon as it has ended: now, or when another one is given up or started later.
    static void giveUp(std::unique_ptr<CTerminableThread> thread);

protected:
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
    bool begin();
    void end();

    CPlainMutex gate;
    CSyncCondition begun;
    eState state = StateIdle;
    bool closed = false;
    std::atomic<std::uint64_t> id{0};
};

/// The function that a virtual call of `member` would reach now, for a call when the object may be in its destructor.
///
/// A virtual call reads the object, and finds a pure function while the base's destructor runs. Itanium C++ ABI,
/// section 2.3: a pointer to a virtual member function begins with its vtable offset in bytes, plus 1 on most machines.
template<class Object, class Result>
auto finalOverrider(const Object& object, Result (Object::*member)()) -> Result (*)(Object*)
{
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    const char* vtable = nullptr;
    std::memcpy(&vtable, static_cast<const void*>(&object), sizeof vtable);
    Result (*function)(Object*) = nullptr;
    std::memcpy(&function, vtable + (offset & ~std::ptrdiff_t{1}), sizeof function);
    return function;
}

} // namespace Kiv

#endif
