/// What signals and receivers are made of: the lock policy, the receivers' base, and the connections of a signal.
/// Include sigslot.h, which says how it is used.
#ifndef KIV_SIGSLOT_BASE_H
#define KIV_SIGSLOT_BASE_H

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <vector>

#include <kiv/kiv_export.h>

// All names of this namespace are lower_case, like those of its users.
// NOLINTBEGIN(readability-identifier-naming)
namespace sigslot
{

/// The lock policy: a recursive mutex in every signal and every receiver. A copy gets a mutex of its own.
///
/// Threads: safe from any thread; unlock() belongs to the thread that locked.
/// Errors: construction throws std::system_error when the system has no mutex left.
class KIV_API multi_threaded_local
{
public:
    multi_threaded_local();
    /// A mutex of its own, unlocked.
    multi_threaded_local(const multi_threaded_local&) : multi_threaded_local() {}
    /// Changes nothing.
    multi_threaded_local& operator=(const multi_threaded_local&) { return *this; }
    virtual ~multi_threaded_local();

    /// Waits until the mutex is free or already the caller's, then takes it once more.
    virtual void lock() { pthread_mutex_lock(&mutex); }

    /// Gives up one of the caller's locks; the last one frees the mutex.
    virtual void unlock() { pthread_mutex_unlock(&mutex); }

private:
    pthread_mutex_t mutex;
    pthread_mutexattr_t attributes;
};

template<class Policy = multi_threaded_local>
class has_slots;
template<class Policy = multi_threaded_local>
class _signal_base;

/// The base of everything that receives signals; it remembers the signals that are connected to it.
///
/// A copy is connected wherever its source was, to the same member functions: copy only into an object of the same
/// class, and while no other thread emits to the source, since the copy is connected before its derived part exists.
/// Connections belong to the object, so there is no assignment.
///
/// Threads: safe from any thread, see the top of this file for destruction.
/// Errors: connecting and copying throw std::bad_alloc and then change nothing.
template<>
class KIV_API has_slots<multi_threaded_local> : public multi_threaded_local
{
public:
    has_slots() = default;
    /// Connected wherever `other` is.
    has_slots(const has_slots& other);
    has_slots& operator=(const has_slots&) = delete;
    ~has_slots() override;

    /// Ends every connection to this receiver, waiting for emissions on other threads that are in progress.
    void disconnect_all();

    /// Called by a signal, with its lock held: notes that `sender` is connected to this receiver.
    void signal_connect(_signal_base<>* sender);

    /// Called by a signal, with its lock held: forgets `sender`.
    void signal_disconnect(_signal_base<>* sender);

private:
    class pinned_sender;

    KIV_LOCAL pinned_sender sender_after(const _signal_base<>* previous) const;

    std::vector<_signal_base<>*> senders; // sorted by address, without duplicates
};

} // namespace sigslot
// NOLINTEND(readability-identifier-naming)

#endif
