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
#include <utility>

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
    explicit policy_lock(const multi_threaded_local& policy) : locked(const_cast<multi_threaded_local&>(policy))
    {
        locked.multi_threaded_local::lock();
    }

    ~policy_lock() { locked.multi_threaded_local::unlock(); }
    policy_lock(const policy_lock&) = delete;
    policy_lock& operator=(const policy_lock&) = delete;

private:
    multi_threaded_local& locked;
};

} // namespace

multi_threaded_local::multi_threaded_local()
{
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    if (const int error = pthread_mutex_init(&mutex, &attributes))
        throw std::system_error(error, std::generic_category(), "sigslot: mutex");
}

multi_threaded_local::~multi_threaded_local()
{
    pthread_mutex_destroy(&mutex);
    pthread_mutexattr_destroy(&attributes);
}

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
    const policy_lock guard(*this);
    const auto place = previous == nullptr ? senders.begin()
                                           : std::upper_bound(senders.begin(), senders.end(), previous, std::less<>());
    return pinned_sender(place == senders.end() ? nullptr : *place);
}

_signal_base<multi_threaded_local>::~_signal_base()
{
    multi_threaded_local::lock();
    unhook_all();
    int locks = 1;
    while (walks != nullptr)
    {
        walks = std::exchange(walks->outer, walks);
        ++locks;
    }
    for (; locks > 0; --locks)
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

bool _signal_base<multi_threaded_local>::is_connected(const receiver_type* receiver)
{
    const policy_lock guard(*this);
    return std::any_of(connections.begin(), connections.end(),
                       [receiver](const link& to) { return to.receiver == receiver; });
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
        link copy = connections[i];
        if (copy.receiver != oldReceiver)
            continue;
        copy.receiver = newReceiver;
        append(copy);
    }
}

void _signal_base<multi_threaded_local>::enter_unusual(walk& position)
{
    position.outer = walks;
    position.next = nullptr;
    position.nextIndex = 0;
    walks = &position;
}

void _signal_base<multi_threaded_local>::leave(_signal_base& signal, const walk& position)
{
    if (position.next == nullptr && position.outer == &position)
        return;
    signal.walks = position.outer;
    signal.multi_threaded_local::unlock();
}

void _signal_base<multi_threaded_local>::append(const link& added)
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

/// A walk that is at its end stays there.
void _signal_base<multi_threaded_local>::push_back(const link& added)
{
    use_indices();
    const std::size_t index = connections.size();
    connections.push_back(added);
    relayed = relayed || added.relay != nullptr;
    note_connected();
    for (walk* each = walks; each != nullptr; each = each->outer)
    {
        if (each->nextIndex == index)
            ++each->nextIndex;
    }
}

void _signal_base<multi_threaded_local>::erase(std::size_t index)
{
    use_indices();
    connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(index));
    note_connected();
    for (walk* each = walks; each != nullptr; each = each->outer)
    {
        if (each->nextIndex > index)
            --each->nextIndex;
    }
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
    use_indices();
    for (walk* each = walks; each != nullptr; each = each->outer)
        each->nextIndex = 0;
    const auto byReceiver = [](const link& a, const link& b) { return std::less<>()(a.receiver, b.receiver); };
    std::sort(connections.begin(), connections.end(), byReceiver);
    while (!connections.empty())
    {
        receiver_type* const receiver = connections.back().receiver;
        while (!connections.empty() && connections.back().receiver == receiver)
            connections.pop_back();
        receiver->signal_disconnect(this);
    }
    relayed = false;
    note_connected();
}

/// Comes before any change of the connections: unlike a pointer, an index outlives their storage.
void _signal_base<multi_threaded_local>::use_indices()
{
    for (walk* each = walks; each != nullptr; each = each->outer)
    {
        if (each->next == nullptr)
            continue;
        each->nextIndex = static_cast<std::size_t>(each->next - connections.data());
        each->next = nullptr;
    }
}

const _signal_base<multi_threaded_local>::link* _signal_base<multi_threaded_local>::step(const _signal_base& signal,
                                                                                         walk& position)
{
    if (position.outer == &position || position.nextIndex == signal.connections.size())
        return nullptr;
    return &signal.connections[position.nextIndex++];
}

void _signal_base<multi_threaded_local>::note_connected()
{
    connected.store(!connections.empty(), std::memory_order_relaxed);
    if (announcedIn != nullptr && !connections.empty())
        announcedIn->fetch_or(announcedBit, std::memory_order_relaxed);
}

void _signal_base<multi_threaded_local>::pin() { pins.fetch_add(1, std::memory_order_relaxed); }

void _signal_base<multi_threaded_local>::unpin()
{
    if (pins.fetch_sub(1, std::memory_order_acq_rel) == 1)
        sem_post(static_cast<sem_t*>(lastUnpin));
}

/// The signal has a pin of its own, which it returns here; whoever returns the last one after that wakes it.
void _signal_base<multi_threaded_local>::wait_until_unpinned()
{
    if (pins.load(std::memory_order_acquire) == 1)
        return;
    int cancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    lastUnpin = &semaphore;
    if (pins.fetch_sub(1, std::memory_order_acq_rel) != 1)
    {
        while (sem_wait(&semaphore) != 0 && errno == EINTR)
        {}
    }
    sem_destroy(&semaphore);
    pthread_setcancelstate(cancelState, nullptr);
}

} // namespace sigslot
// NOLINTEND(readability-identifier-naming)
