/// The source of time behind a virtual clock; private to the test kit.
#ifndef KIV_TESTKIT_VIRTUALTIME_H
#define KIV_TESTKIT_VIRTUALTIME_H

#include <atomic>
#include <list>
#include <string>
#include <vector>

#include <pthread.h>

#include "kiv/time/TimeSource.h"

namespace Kiv
{

/// Knows every thread that takes part, and every wait of theirs. Whoever is the last to wait moves time to the earliest
/// wait and ends it, which may be its own: then no thread has to be switched to.
///
/// Never destroyed, as the library wants it; a clock activates it and deactivates it again.
///
/// `mutex` guards all but the two atomics, which are written under it. It is a leaf: taken under locks of the library
/// and of programs, and none is taken under it. Plain pthreads: a forced termination has to be able to unwind wait(),
/// and std::condition_variable would end the process.
class CVirtualTime final : public ITimeSource
{
public:
    static CVirtualTime& instance();

    /// The caller becomes the test's own thread.
    void activate(std::chrono::nanoseconds wallTime);
    void deactivate();

    bool isOwner() const;
    int advance(std::chrono::nanoseconds span);
    void suspend(std::chrono::nanoseconds span);
    std::chrono::nanoseconds untilNext();
    void setWallTime(std::chrono::nanoseconds time);
    void setPatience(std::chrono::milliseconds limit);

    std::chrono::nanoseconds now(eClock clock) override;
    std::chrono::nanoseconds wallTime() override;
    void enter(TimedWait& wait) override;
    bool wait(TimedWait& wait) override;
    void wake(const void* address, bool all) override;
    void* addThread() override;
    void beginThread(void* token) override;
    void endThread(void* token) override;

private:
    struct Participant;
    class CLock;
    class CUnwinding;
    class CForeign;

    CVirtualTime();

    Participant* add(std::uint64_t order);
    void remove(Participant* participant);
    Participant* join();
    std::chrono::nanoseconds due(const TimedWait& wait) const;
    TimedWait* earliest() const;
    bool wakeWhatIsOver();
    void moveOn();
    void end(TimedWait& wait, TimedWait::eState state);
    void forget(const TimedWait& wait);
    void sleepAsOwner(TimedWait& wait);
    void complain() const;

    static thread_local Participant* here;

    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<std::int64_t> monotonic{0}; // nanoseconds
    std::atomic<std::int64_t> suspended{0}; // by which the other clock is ahead
    std::chrono::nanoseconds wallAhead{0};  // of the other clock
    bool active = false;
    std::list<Participant> participants;
    Participant* owner = nullptr;
    std::uint64_t joined = 0;
    std::size_t running = 0; // participants that do not wait
    std::uint64_t changes = 0;
    bool gaveUp = false;
    std::chrono::milliseconds patience{};
    std::vector<TimedWait*> waits; // in the order in which they began
};

} // namespace Kiv

#endif
