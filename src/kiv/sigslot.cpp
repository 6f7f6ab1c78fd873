// Locks. A receiver is in a signal's connections if and only if the signal is among the receiver's senders; both change
// with the signal's lock held, the senders with the receiver's lock as well. So the signal's lock keeps every receiver
// in the connections alive (a dying receiver waits for it), and the receiver's lock keeps every sender alive (a dying
// signal waits for it). The signal's lock comes first. A receiver that unhooks itself starts from its own lock: it pins
// a sender, gives its own lock up and only then takes the sender's. A signal that dies takes itself out of all senders,
// so that it gets no further pin, gives its lock up and waits for the pins to be returned.
//
// No virtual function is called across: the other side may be inside its destructors on another thread.

#include <kiv/sigslot.h>

#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <mutex>
#include <system_error>

// All names of this namespace are lower_case, like those of its users.
// NOLINTBEGIN(readability-identifier-naming)
namespace sigslot
{

namespace
{

/// Holds an object's lock, without virtual dispatch.
class policy_lock
{
public:
    explicit policy_lock(multi_threaded_local& policy) : locked(policy) { locked.multi_threaded_local::lock(); }
    ~policy_lock() { locked.multi_threaded_local::unlock(); }
    policy_lock(const policy_lock&) = delete;
    policy_lock& operator=(const policy_lock&) = delete;

private:
    multi_threaded_local& locked;
};

} // namespace

multi_threaded_local::multi_threaded_local()
{
    check(pthread_mutexattr_init(&attributes));
    check(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE));
    check(pthread_mutex_init(&mutex, &attributes));
}

multi_threaded_local::~multi_threaded_local()
{
    pthread_mutex_destroy(&mutex);
    pthread_mutexattr_destroy(&attributes);
}

void multi_threaded_local::fail(int error) { throw std::system_error(error, std::generic_category(), "sigslot: lock"); }

/// A sender that cannot be destroyed meanwhile; it need not be connected any more.
class has_slots<multi_threaded_local>::pinned_sender
{
public:
    explicit pinned_sender(_signal_base<>* pinned) : sender(pinned)
    {
        if (sender != nullptr)
            sender->pin();
    }

    ~pinned_sender()
    {
        if (sender != nullptr)
            sender->unpin();
    }

    pinned_sender(const pinned_sender&) = delete;
    pinned_sender& operator=(const pinned_sender&) = delete;

    _signal_base<>* const sender;
};

has_slots<multi_threaded_local>::has_slots(const has_slots& other) : has_slots()
{
    const _signal_base<>* previous = nullptr;
    for (;;)
    {
        const pinned_sender pinned = other.sender_after(previous);
        if (pinned.sender == nullptr)
            return;
        pinned.sender->_signal_base<>::slot_duplicate(&other, this);
        previous = pinned.sender;
    }
}

has_slots<multi_threaded_local>::~has_slots() { has_slots::disconnect_all(); }

void has_slots<multi_threaded_local>::disconnect_all()
{
    for (;;)
    {
        const pinned_sender pinned = sender_after(nullptr);
        if (pinned.sender == nullptr)
            return;
        const policy_lock guard(*pinned.sender);
        pinned.sender->_signal_base<>::slot_disconnect(this);
        signal_disconnect(pinned.sender);
    }
}

void has_slots<multi_threaded_local>::signal_connect(_signal_base<>* sender)
{
    const policy_lock guard(*this);
    const auto place = std::lower_bound(senders.begin(), senders.end(), sender, std::less<>());
    if (place == senders.end() || *place != sender)
        senders.insert(place, sender);
}

void has_slots<multi_threaded_local>::signal_disconnect(_signal_base<>* sender)
{
    const policy_lock guard(*this);
    const auto place = std::lower_bound(senders.begin(), senders.end(), sender, std::less<>());
    if (place != senders.end() && *place == sender)
        senders.erase(place);
}

/// The first sender if `previous` is null, else the one after it; a null sender at the end.
has_slots<multi_threaded_local>::pinned_sender
has_slots<multi_threaded_local>::sender_after(const _signal_base<>* previous) const
{
    const policy_lock guard(const_cast<has_slots&>(*this));
    const auto place = previous == nullptr ? senders.begin()
                                           : std::upper_bound(senders.begin(), senders.end(), previous, std::less<>());
    return pinned_sender(place == senders.end() ? nullptr : *place);
}

_signal_base<multi_threaded_local>::~_signal_base()
{
    multi_threaded_local::lock();
    unhook_all();
    int held = 1;
    for (walk* abandoned = walks; abandoned != nullptr; abandoned = abandoned->outer)
    {
        abandoned->signal = nullptr;
        ++held;
    }
    for (; held > 0; --held)
        multi_threaded_local::unlock();
    wait_until_unpinned();
}

void _signal_base<multi_threaded_local>::disconnect(receiver_type* receiver)
{
    const policy_lock guard(*this);
    const std::size_t before = connections.size();
    drop(receiver);
    if (connections.size() != before)
        receiver->signal_disconnect(this);
}

void _signal_base<multi_threaded_local>::disconnect_all()
{
    const policy_lock guard(*this);
    unhook_all();
}

void _signal_base<multi_threaded_local>::slot_disconnect(receiver_type* receiver)
{
    const policy_lock guard(*this);
    drop(receiver);
}

void _signal_base<multi_threaded_local>::slot_duplicate(const receiver_type* oldReceiver, receiver_type* newReceiver)
{
    const policy_lock guard(*this);
    const std::size_t before = connections.size();
    for (std::size_t i = 0; i < before; ++i)
    {
        connection copy = connections[i];
        copy.receiver = newReceiver;
        if (connections[i].receiver == oldReceiver)
            append(copy);
    }
}

void _signal_base<multi_threaded_local>::append(const connection& added)
{
    const policy_lock guard(*this);
    push_back(added);
    try
    {
        added.receiver->signal_connect(this);
    }
    catch (...)
    {
        erase(connections.size() - 1);
        throw;
    }
}

/// A walk that has nothing left before its end does not see the new connection.
void _signal_base<multi_threaded_local>::push_back(const connection& added)
{
    const connection* const oldData = connections.data();
    connections.push_back(added);
    count.store(connections.size(), std::memory_order_relaxed);
    const connection* const end = connections.data() + connections.size();
    for (walk* each = walks; each != nullptr; each = each->outer)
    {
        each->next = each->next == each->end ? end : connections.data() + (each->next - oldData);
        each->end = end;
        each->changed = true;
    }
}

void _signal_base<multi_threaded_local>::erase(std::size_t index)
{
    const connection* const erased = connections.data() + index;
    for (walk* each = walks; each != nullptr; each = each->outer)
    {
        if (each->next > erased)
            --each->next;
        --each->end;
        each->changed = true;
    }
    connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(index));
    count.store(connections.size(), std::memory_order_relaxed);
}

void _signal_base<multi_threaded_local>::drop(const receiver_type* receiver)
{
    for (std::size_t i = connections.size(); i-- > 0;)
    {
        if (connections[i].receiver == receiver)
            erase(i);
    }
}

/// A receiver may be gone as soon as it has forgotten this signal, so each is told once, by its last connection.
void _signal_base<multi_threaded_local>::unhook_all()
{
    for (walk* each = walks; each != nullptr; each = each->outer)
    {
        each->next = each->end;
        each->changed = true;
    }
    count.store(0, std::memory_order_relaxed);
    const auto byReceiver = [](const connection& a, const connection& b) {
        return std::less<>()(a.receiver, b.receiver);
    };
    std::sort(connections.begin(), connections.end(), byReceiver);
    while (!connections.empty())
    {
        receiver_type* const receiver = connections.back().receiver;
        while (!connections.empty() && connections.back().receiver == receiver)
            connections.pop_back();
        receiver->signal_disconnect(this);
    }
}

void _signal_base<multi_threaded_local>::pin() { pins.fetch_add(1, std::memory_order_relaxed); }

void _signal_base<multi_threaded_local>::unpin()
{
    if (pins.fetch_sub(1, std::memory_order_acq_rel) == 1)
        sem_post(static_cast<sem_t*>(lastPin));
}

/// The signal has a pin of its own, which it returns here; whoever returns the last one after that wakes it.
void _signal_base<multi_threaded_local>::wait_until_unpinned()
{
    if (pins.load(std::memory_order_acquire) == 1)
        return;
    sem_t returned;
    sem_init(&returned, 0, 0);
    lastPin = &returned;
    if (pins.fetch_sub(1, std::memory_order_acq_rel) != 1)
    {
        while (sem_wait(&returned) != 0 && errno == EINTR)
        {}
    }
    sem_destroy(&returned);
}

} // namespace sigslot
// NOLINTEND(readability-identifier-naming)
