/// Typed one-argument signals that call member functions of their receivers.
///
/// A signal keeps its connections in the order in which they were made and calls them in that order, on the thread that
/// emits. A receiver derives from sigslot::has_slots<> and is unhooked when it is destroyed; a signal may be destroyed
/// first just as well.
///
///     class CLamp : public sigslot::has_slots<>
///     {
///     public:
///         void onEntered(Kiv::CAbstractState* state);
///     };
///     state.sigEntered.connect(&lamp, &CLamp::onEntered);
///
/// Anything else that can be called is connected as well: a lambda, a function, a member function of any object. The
/// connection lasts as long as what connect() returns:
///
///     sigslot::connection lit = state.sigEntered.connect([] { std::puts("on"); });
///
/// Locks: every signal and every receiver has a recursive lock of its own, and there is no other. An emission holds its
/// signal's lock while the receivers run, so connecting to that signal from another thread, disconnecting from it or
/// destroying either side waits until the emission has ended. The order is signal before receiver: call nothing of a
/// signal while you hold a receiver's lock.
///
/// During an emission a receiver may do all of this on the emitting thread:
///
/// | it does                            | the emission in progress                                              |
/// |------------------------------------|-----------------------------------------------------------------------|
/// | disconnect or destroy a receiver   | does not call it any more                                             |
/// | connect                            | calls the new connection, unless the last receiver made it            |
/// | emit the same signal               | goes on after the inner emission                                      |
/// | throw                              | ends: the lock is released, the exception reaches the emitter         |
/// | destroy the signal                 | ends: no further receiver is called                                   |
///
/// Destroying a receiver while another thread may be emitting to it: by the time the base class unhooks it, the derived
/// part is gone already. Call disconnect_all() first in the most derived destructor; once it has returned, no other
/// thread is inside the receiver on behalf of a signal, and none will come. A signal must not be used by another thread
/// any more when it is destroyed; only its receivers may be destroyed at the same time.
#ifndef KIV_SIGSLOT_H
#define KIV_SIGSLOT_H

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include <kiv/kiv_export.h>
#include <kiv/sigslot_base.h>

// Qt defines `emit` as nothing; inside this header it is a name.
#pragma push_macro("emit")
#undef emit

// All names of this namespace are lower_case, like those of its users.
// NOLINTBEGIN(readability-identifier-naming)
namespace sigslot
{

/// Lasts as long as the call of something that is no receiver is connected: ends the connection when it goes.
///
/// Signal and connection may go in any order. When the connection has gone, no other thread is inside what was
/// connected, and none will come; it may also go while the signal calls it.
///
/// Threads: reentrant.
/// Errors: none.
class KIV_API connection
{
public:
    /// Of nothing.
    connection() = default;
    connection(connection&&) noexcept = default;
    connection& operator=(connection&& other) noexcept
    {
        if (this != &other)
        {
            disconnect();
            receiver = std::move(other.receiver);
        }
        return *this;
    }
    ~connection() { disconnect(); }

    /// Ends the connection now; nothing if it has ended already.
    void disconnect()
    {
        if (const auto ended = std::move(receiver))
            ended->disconnect_all();
    }

private:
    template<class Arg, class Policy>
    friend class signal1;

    explicit connection(std::shared_ptr<has_slots<>> connected) : receiver(std::move(connected)) {}

    std::shared_ptr<has_slots<>> receiver;
};

/// The receiver that stands for something callable; it keeps itself alive while it is called.
template<class Call, class Arg>
class callable_receiver final : public has_slots<>, public std::enable_shared_from_this<callable_receiver<Call, Arg>>
{
public:
    /// Takes over what is called.
    explicit callable_receiver(Call&& connected) : function(std::move(connected)) {}
    ~callable_receiver() override { disconnect_all(); }

    /// Calls it.
    void receive(Arg arg)
    {
        const auto kept = this->shared_from_this(); // it may be disconnected by what it calls
        if constexpr (std::is_invocable_v<Call&, Arg>)
            function(arg);
        else
            function();
    }

private:
    Call function;
};

/// What all signals share: the connections and the emissions in progress, whatever the argument's type.
template<>
class KIV_API _signal_base<multi_threaded_local> : public multi_threaded_local
{
public:
    using receiver_type = has_slots<multi_threaded_local>;

    _signal_base(const _signal_base&) = delete;
    _signal_base& operator=(const _signal_base&) = delete;

    /// Ends every connection; an emission in progress on this thread ends after the receiver that it is calling.
    ~_signal_base() override;

    /// For the signal's owner, who has many and wants one look at all: from the next connection on, `flags` has `bit`.
    /// It keeps it when the receivers have gone. `flags` outlives the signal.
    void announce_in(std::atomic<unsigned char>& flags, unsigned char bit)
    {
        announcedIn = &flags;
        announcedBit = bit;
    }

    /// Ends every connection to `receiver`; null or a receiver that is not connected is ignored.
    void disconnect(receiver_type* receiver);

    /// Ends every connection.
    void disconnect_all();

    /// True when an emission would call `receiver`.
    bool is_connected(const receiver_type* receiver);

    /// True when an emission would call anybody; asked without the lock, as every emission does first.
    bool is_connected() const { return connected.load(std::memory_order_relaxed); }

    /// Called for a receiver that is unhooking itself: drops its connections without calling it back.
    virtual void slot_disconnect(receiver_type* receiver);

    /// Called for a receiver that is being copied: connects `newReceiver` to whatever `oldReceiver` is connected to.
    virtual void slot_duplicate(const receiver_type* oldReceiver, receiver_type* newReceiver);

protected:
    using erased_relay = void (*)();

    /// A receiver with the bytes of a pointer to member function: of receiver_type, or of the class that the relay
    /// knows.
    struct link
    {
        receiver_type* receiver;
        erased_relay relay;
        alignas(void*) unsigned char op[2 * sizeof(void*)];
    };

    /// How far an emission has come, linked from the signal, so that whoever changes the connections keeps it right.
    struct walk
    {
        walk* outer;           // itself once the signal was destroyed
        const link* next;      // comes after the call in progress; null once the connections were changed
        std::size_t nextIndex; // the same from then on
    };

    _signal_base() = default;

    bool has_relays() const { return relayed; }

    const std::vector<link>& in_order() const { return connections; }

    /// Begins an emission: takes the lock and links its walk. True in the usual case of an outermost emission to
    /// anybody, false if step() has to lead the walk from the beginning.
    bool enter(walk& position)
    {
        multi_threaded_local::lock();
        if (walks != nullptr || connections.empty())
        {
            enter_unusual(position);
            return false;
        }
        position.outer = nullptr;
        walks = &position;
        return true;
    }

    /// Ends an emission that was usual to its end.
    static void leave_usual(_signal_base& signal)
    {
        signal.walks = nullptr;
        signal.multi_threaded_local::unlock();
    }

    /// Ends any emission. If the signal was destroyed meanwhile, nothing is left to end.
    [[gnu::cold]] static void leave(_signal_base& signal, const walk& position);

    /// Adds a connection at the end and tells its receiver.
    void append(const link& added);

    /// Steps to the next connection of a walk whose `next` is null; null at the end or if the signal was destroyed.
    [[gnu::cold]] static const link* step(const _signal_base& signal, walk& position);

private:
    friend class has_slots<multi_threaded_local>;

    [[gnu::cold]] void enter_unusual(walk& position);
    KIV_LOCAL void push_back(const link& added);
    KIV_LOCAL void erase(std::size_t index);
    KIV_LOCAL void drop(const receiver_type* receiver);
    KIV_LOCAL void unhook_all();
    KIV_LOCAL void use_indices();
    KIV_LOCAL void note_connected();
    KIV_LOCAL void pin();
    KIV_LOCAL void unpin();
    KIV_LOCAL void wait_until_unpinned();

    std::atomic<bool> connected{false};
    bool relayed = false; // some connection has had a relay
    unsigned char announcedBit = 0;
    std::atomic<unsigned char>* announcedIn = nullptr;
    std::vector<link> connections;
    walk* walks = nullptr;         // the innermost emission
    std::atomic<unsigned> pins{1}; // one of them the signal's own
    void* lastUnpin = nullptr;     // the semaphore that a destructor waits for
};

/// Tells the operations that a signal cannot call: has `type` for them.
template<class Op, class Arg>
struct operation_traits;
template<class Member, class Owner, class Arg>
struct operation_traits<Member Owner::*, Arg>
    : std::enable_if<!std::is_convertible_v<Member Owner::*, void (Owner::*)(Arg)> &&
                     !std::is_convertible_v<Member Owner::*, void (Owner::*)(Arg) const>>
{};

/// What signals with an argument of type Arg share: connections as calls with that argument.
template<class Arg, class Policy = multi_threaded_local>
class KIV_API _signal_base1 : public _signal_base<Policy>
{
protected:
    using base = _signal_base<Policy>;
    using receiver_type = typename base::receiver_type;

    /// Connects `op`, a pointer to member function of Owner.
    template<class Owner, class Dest, class Op>
    void append_op(Dest* receiver, Op op)
    {
        static_assert(std::is_base_of_v<receiver_type, Dest>, "a receiver derives from sigslot::has_slots<>");
        static_assert(std::is_base_of_v<Owner, Dest>, "the operation belongs to the receiver or to one of its bases");
        if (receiver == nullptr || op == nullptr)
            return;
        if constexpr (std::is_base_of_v<receiver_type, Owner> && std::is_same_v<Op, void (Owner::*)(Arg)>)
        {
            // On ARM a pointer to member holds its offset doubled; the compiler warns of the shift that it adds itself.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshift-negative-value"
            base::append(connect_to(receiver, static_cast<direct_op>(op), nullptr));
#pragma GCC diagnostic pop
        }
        else
            base::append(connect_to(receiver, op, reinterpret_cast<erased_relay>(&relay<Dest, Op>)));
    }

    void call_all(Arg arg)
    {
        walk position;
        const bool is_usual = this->enter(position);
        if (__builtin_expect(is_usual && (this->has_relays() ? call_usual<call_any>(position, arg)
                                                             : call_usual<call_direct>(position, arg)),
                             true))
            base::leave_usual(*this);
        else
            call_rest(*this, position, arg);
    }

private:
    using link = typename base::link;
    using walk = typename base::walk;
    using erased_relay = typename base::erased_relay;
    using direct_op = void (receiver_type::*)(Arg);
    using relay_op = void (*)(const link&, Arg);

    template<class Op>
    static link connect_to(receiver_type* receiver, Op op, erased_relay relay)
    {
        link made{receiver, relay, {}};
        static_assert(sizeof(op) <= sizeof(made.op));
        std::memcpy(made.op, &op, sizeof(op));
        return made;
    }

    template<class Op>
    static Op operation(const link& of)
    {
        Op op;
        std::memcpy(&op, of.op, sizeof(op));
        return op;
    }

    /// Calls from the first connection on until somebody changes the connections; true at the end. Nothing of the
    /// signal is touched after a call, which may have destroyed it.
    template<void (*call)(const link&, Arg)>
    bool call_usual(walk& position, Arg arg)
    {
        const link* current = this->in_order().data();
        const link* const end = current + this->in_order().size();
        const auto step = [&] {
            const link& called = *current++;
            position.next = current;
            call(called, arg);
            return position.next != nullptr && current != end;
        };
        try
        {
            // Most signals have one receiver. Four calls a round for the others: a processor foresees the end of few
            // rounds better than that of many.
            if (__builtin_expect(step(), false))
            {
                while (step() && step() && step() && step())
                {}
            }
        }
        catch (...)
        {
            base::leave(*this, position);
            throw;
        }
        return position.next != nullptr;
    }

    /// Calls what is left, and ends the emission.
    [[gnu::cold, gnu::noinline]] static void call_rest(base& signal, walk& position, Arg arg)
    {
        try
        {
            while (const link* called = base::step(signal, position))
                call_any(*called, arg);
        }
        catch (...)
        {
            base::leave(signal, position);
            throw;
        }
        base::leave(signal, position);
    }

    // GCC's vptr check expects an object of receiver_type at the address where the operation's own class begins.
    __attribute__((no_sanitize("vptr"))) static void call_direct(const link& to, Arg arg)
    {
        (to.receiver->*operation<direct_op>(to))(arg);
    }

    static void call_any(const link& to, Arg arg)
    {
        if (to.relay == nullptr)
            call_direct(to, arg);
        else
            reinterpret_cast<relay_op>(to.relay)(to, arg);
    }

    /// Calls an operation that cannot be cast to one of receiver_type: of a base beside it, or a const one.
    template<class Dest, class Op>
    static void relay(const link& to, Arg arg)
    {
        (static_cast<Dest*>(to.receiver)->*operation<Op>(to))(arg);
    }
};

/// A signal with one argument.
///
/// Threads: safe from any thread; receivers run on the emitting thread with the signal's lock held.
/// Errors: connect throws std::bad_alloc and then changes nothing; an emission throws what a receiver throws, and the
/// receivers after that one are not called.
template<class Arg, class Policy = multi_threaded_local>
class KIV_API signal1 : public _signal_base1<Arg, Policy>
{
    template<class T>
    static constexpr bool is_receiver = std::is_base_of_v<has_slots<Policy>, T>;

public:
    /// Calls `(receiver->*op)(arg)` on each emission from now on; the same pair connected twice is called twice. `op`
    /// may belong to any base of the receiver's class. A null receiver or operation connects nothing.
    template<class Dest, class Owner, std::enable_if_t<is_receiver<Dest>, int> = 0>
    void connect(Dest* receiver, void (Owner::*op)(Arg))
    {
        this->template append_op<Owner>(receiver, op);
    }

    /// The same for a const member function.
    template<class Dest, class Owner, std::enable_if_t<is_receiver<Dest>, int> = 0>
    void connect(Dest* receiver, void (Owner::*op)(Arg) const)
    {
        this->template append_op<Owner>(receiver, op);
    }

    /// For the message only: no other operation can be connected.
    template<class Dest, class Op, class = typename operation_traits<Op, Arg>::type,
             std::enable_if_t<is_receiver<Dest>, int> = 0>
    void connect(Dest* /*receiver*/, Op /*op*/)
    {
        static_assert(
            sizeof(Op) == 0,
            "an operation that a signal calls returns void and takes one argument, of exactly the signal's type");
    }

    /// Calls anything that can be called with the signal's argument or with none, a copy of it, as long as the
    /// connection lasts. It may be destroyed in its own call, which it outlives.
    template<class Call>
    [[nodiscard]] connection connect(Call callable)
    {
        static_assert(std::is_invocable_v<Call&, Arg> || std::is_invocable_v<Call&>,
                      "what is connected takes the signal's argument, or none");
        if constexpr (std::is_invocable_v<Call&, Arg> || std::is_invocable_v<Call&>)
        {
            using receiver = callable_receiver<Call, Arg>;
            auto made = std::make_shared<receiver>(std::move(callable));
            this->template append_op<receiver>(made.get(), &receiver::receive);
            return connection(std::move(made));
        }
        else
            return connection();
    }

    /// Calls a member function of an object that is no receiver and outlives the connection.
    template<class Object, class Op, std::enable_if_t<!is_receiver<Object>, int> = 0>
    [[nodiscard]] connection connect(Object* object, Op op)
    {
        static_assert(std::is_invocable_v<Op, Object*, Arg> || std::is_invocable_v<Op, Object*>,
                      "the member function takes the signal's argument, or none");
        if constexpr (std::is_invocable_v<Op, Object*, Arg>)
            return connect([object, op](Arg arg) { std::invoke(op, object, arg); });
        else if constexpr (std::is_invocable_v<Op, Object*>)
            return connect([object, op] { std::invoke(op, object); });
        else
            return connection();
    }

    /// Calls every connection in order. Allocates nothing. Without connections it returns at once, without the lock:
    /// there is nothing then that the lock would keep in order.
    void operator()(Arg arg)
    {
        if (this->is_connected())
            this->call_all(arg);
    }

    /// The same; code that includes Qt's keyword `emit` uses the call operator.
    void emit(Arg arg) { (*this)(arg); }
};

} // namespace sigslot
// NOLINTEND(readability-identifier-naming)

namespace Kiv
{
namespace sigslot = ::sigslot;
}

#pragma pop_macro("emit")

#endif
