#include "VirtualTime.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <limits>

#include <unistd.h>

#include "kiv/errors/ResultCodes.h"

namespace Kiv
{

using std::chrono::nanoseconds;

namespace
{

constexpr std::chrono::milliseconds usualPatience = std::chrono::seconds(10);

// At one moment the library's threads come first, in the order of their start, then others, and the test's own last.
constexpr std::uint64_t firstForeign = std::uint64_t{1} << 32;
constexpr std::uint64_t ownersOrder = std::numeric_limits<std::uint64_t>::max();

std::string nameOf(long thread)
{
    std::string name;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(thread) + "/comm"), name);
    return name;
}

timespec realTimeIn(std::chrono::milliseconds span)
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const nanoseconds end = std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec) + span;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(end);
    time.tv_sec = seconds.count();
    time.tv_nsec = (end - seconds).count();
    return time;
}

} // namespace

struct CVirtualTime::Participant
{
    explicit Participant(std::uint64_t rank) : order(rank)
    {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        pthread_cond_init(&woken, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    Participant(const Participant&) = delete;
    Participant& operator=(const Participant&) = delete;
    ~Participant() { pthread_cond_destroy(&woken); }

    const std::uint64_t order;
    long thread = 0;
    bool waits = false;
    pthread_cond_t woken;
};

class CVirtualTime::CLock
{
public:
    explicit CLock(CVirtualTime& time) : mutex(time.mutex) { pthread_mutex_lock(&mutex); }
    ~CLock() { pthread_mutex_unlock(&mutex); }
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;

private:
    pthread_mutex_t& mutex;
};

/// Withdraws a wait that is left before it has ended, by a forced termination.
class CVirtualTime::CUnwinding
{
public:
    CUnwinding(CVirtualTime& virtualTime, TimedWait& endedWait) : time(virtualTime), wait(endedWait) {}
    ~CUnwinding()
    {
        if (wait.state == TimedWait::StateWaits)
            time.end(wait, TimedWait::StateWoken);
    }
    CUnwinding(const CUnwinding&) = delete;
    CUnwinding& operator=(const CUnwinding&) = delete;

private:
    CVirtualTime& time;
    TimedWait& wait;
};

/// Takes a thread that is not of the library out again when it ends.
class CVirtualTime::CForeign
{
public:
    CForeign() = default;
    CForeign(const CForeign&) = delete;
    CForeign& operator=(const CForeign&) = delete;
    ~CForeign()
    {
        if (participant != nullptr)
            instance().endThread(participant);
    }

    Participant* participant = nullptr;
};

thread_local CVirtualTime::Participant* CVirtualTime::here = nullptr;

CVirtualTime::CVirtualTime() { waits.reserve(64); }

CVirtualTime& CVirtualTime::instance()
{
    static CVirtualTime& time = *new CVirtualTime;
    return time;
}

void CVirtualTime::activate(nanoseconds wallTime)
{
    const CLock lock(*this);
    const auto wholeSecond = [](nanoseconds time) {
        return nanoseconds(std::chrono::ceil<std::chrono::seconds>(time));
    };
    const nanoseconds real = wholeSecond(CDeadline::now(ClockMonotonic));
    // What an earlier clock has shown does not come again.
    monotonic = std::max(real, wholeSecond(nanoseconds(monotonic))).count();
    suspended = wholeSecond(CDeadline::now(ClockBoottime) - CDeadline::now(ClockMonotonic)).count();
    wallAhead = wallTime - nanoseconds(monotonic + suspended);
    patience = usualPatience;
    owner = add(ownersOrder);
    owner->thread = gettid();
    here = owner;
    active = true;
    Time::install(this);
}

void CVirtualTime::deactivate()
{
    Time::install(nullptr);
    const CLock lock(*this);
    active = false;
    remove(owner);
    owner = nullptr;
    here = nullptr;
    while (!waits.empty())
        end(*waits.back(), TimedWait::StateWoken);
}

bool CVirtualTime::isOwner() const { return here != nullptr && here == owner; }

int CVirtualTime::advance(nanoseconds span)
{
    gaveUp = false;
    TimedWait target(&target, CDeadline::at(now(ClockMonotonic) + std::max(span, nanoseconds::zero())));
    enter(target);
    wait(target);
    return gaveUp ? operationTimedOut : 0;
}

void CVirtualTime::suspend(nanoseconds span)
{
    const CLock lock(*this);
    suspended += std::max(span, nanoseconds::zero()).count();
}

nanoseconds CVirtualTime::untilNext()
{
    const CLock lock(*this);
    const TimedWait* const next = earliest();
    if (next == nullptr)
        return nanoseconds::max();
    return std::max(due(*next) - nanoseconds(monotonic), nanoseconds::zero());
}

void CVirtualTime::setWallTime(nanoseconds time)
{
    const CLock lock(*this);
    wallAhead = time - nanoseconds(monotonic + suspended);
}

void CVirtualTime::setPatience(std::chrono::milliseconds limit)
{
    const CLock lock(*this);
    patience = std::max(limit, std::chrono::milliseconds(1));
}

nanoseconds CVirtualTime::now(eClock clock)
{
    return nanoseconds(clock == ClockBoottime ? monotonic + suspended : monotonic.load());
}

nanoseconds CVirtualTime::wallTime()
{
    const CLock lock(*this);
    return nanoseconds(monotonic + suspended) + wallAhead;
}

void CVirtualTime::enter(TimedWait& wait)
{
    const CLock lock(*this);
    if (!active)
    {
        wait.state = TimedWait::StateWoken; // real time has come back meanwhile: who waits will see
        return;
    }
    wait.thread = join();
    waits.push_back(&wait);
    ++changes;
}

bool CVirtualTime::wait(TimedWait& wait)
{
    const CLock lock(*this);
    if (wait.state == TimedWait::StateWaits)
    {
        Participant& self = *static_cast<Participant*>(wait.thread);
        const CUnwinding unwinding(*this, wait);
        self.waits = true;
        --running;
        moveOn();
        if (&self == owner)
            sleepAsOwner(wait);
        while (wait.state == TimedWait::StateWaits)
            pthread_cond_wait(&self.woken, &mutex);
    }
    return wait.state != TimedWait::StateTimedOut;
}

void CVirtualTime::wake(const void* address, bool all)
{
    const CLock lock(*this);
    std::size_t i = 0;
    while (i < waits.size())
    {
        if (waits[i]->address != address)
            ++i;
        else if (end(*waits[i], TimedWait::StateWoken); !all)
            return;
    }
}

void* CVirtualTime::addThread()
{
    const CLock lock(*this);
    return add(joined++);
}

void CVirtualTime::beginThread(void* token)
{
    const CLock lock(*this);
    here = static_cast<Participant*>(token);
    here->thread = gettid();
}

void CVirtualTime::endThread(void* token)
{
    const CLock lock(*this);
    if (here == token)
        here = nullptr;
    remove(static_cast<Participant*>(token));
    if (active)
        moveOn();
}

CVirtualTime::Participant* CVirtualTime::add(std::uint64_t order)
{
    ++running;
    ++changes;
    return &participants.emplace_back(order);
}

void CVirtualTime::remove(Participant* participant)
{
    if (!participant->waits)
        --running;
    ++changes;
    participants.remove_if([participant](const Participant& one) { return &one == participant; });
}

/// The calling thread; one that is not of the library begins to take part.
CVirtualTime::Participant* CVirtualTime::join()
{
    static thread_local CForeign foreign;
    if (here == nullptr)
    {
        here = add(firstForeign + joined++);
        here->thread = gettid();
        foreign.participant = here;
    }
    return here;
}

/// On the monotonic clock.
nanoseconds CVirtualTime::due(const TimedWait& wait) const
{
    const CDeadline& deadline = wait.deadline;
    return deadline.clock() == ClockMonotonic || deadline.isNever() ? deadline.instant()
                                                                    : deadline.instant() - nanoseconds(suspended);
}

TimedWait* CVirtualTime::earliest() const
{
    TimedWait* first = nullptr;
    const auto rank = [this](const TimedWait& wait) {
        return std::make_pair(std::max(due(wait), nanoseconds(monotonic)),
                              static_cast<const Participant*>(wait.thread)->order);
    };
    for (TimedWait* const wait : waits)
        if (!wait->deadline.isNever() && (first == nullptr || rank(*wait) < rank(*first)))
            first = wait;
    return first;
}

/// What comes from outside comes before time goes on.
bool CVirtualTime::wakeWhatIsOver()
{
    const auto over = std::find_if(waits.begin(), waits.end(), [](const TimedWait* wait) {
        return wait->isOver != nullptr && wait->isOver(wait->context);
    });
    if (over == waits.end())
        return false;
    end(**over, TimedWait::StateWoken);
    return true;
}

/// If all threads wait: moves time to the earliest wait and ends it.
void CVirtualTime::moveOn()
{
    if (running != 0 || wakeWhatIsOver())
        return;
    if (TimedWait* const next = earliest())
    {
        monotonic = std::max(due(*next).count(), monotonic.load());
        end(*next, TimedWait::StateTimedOut);
    }
}

void CVirtualTime::end(TimedWait& wait, TimedWait::eState state)
{
    forget(wait);
    wait.state = state;
    ++changes;
    auto& participant = *static_cast<Participant*>(wait.thread);
    if (!participant.waits)
        return; // on its way into wait()
    participant.waits = false;
    ++running;
    pthread_cond_signal(&participant.woken);
}

void CVirtualTime::forget(const TimedWait& wait) { waits.erase(std::find(waits.begin(), waits.end(), &wait)); }

/// The test's own thread gives up when nothing moves any more.
void CVirtualTime::sleepAsOwner(TimedWait& wait)
{
    while (wait.state == TimedWait::StateWaits)
    {
        const std::uint64_t before = changes;
        const timespec limit = realTimeIn(patience);
        if (pthread_cond_timedwait(&owner->woken, &mutex, &limit) == 0 || changes != before)
            continue;
        if (wait.state != TimedWait::StateWaits)
            continue;
        complain();
        gaveUp = true;
        end(wait, wait.deadline.isNever() ? TimedWait::StateWoken : TimedWait::StateTimedOut);
    }
}

void CVirtualTime::complain() const
{
    std::fprintf(stderr, "virtual clock: nothing has moved for %lld ms", static_cast<long long>(patience.count()));
    for (const Participant& participant : participants)
        if (!participant.waits)
            std::fprintf(stderr, "; thread %ld (%s) does not wait", participant.thread,
                         nameOf(participant.thread).c_str());
    std::fputs(running == 0 ? "; every thread waits for ever\n" : "\n", stderr);
}

} // namespace Kiv
