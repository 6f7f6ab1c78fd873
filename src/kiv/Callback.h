/// Callback values of fixed size for handlers and log sinks: cb::Callback0<R> and cb::Callback1<R, A>.
///
/// A callback holds what it calls in its own 40 bytes and never touches the heap, so it can be copied and stored on any
/// path. Use std::function where a handler owns more than three pointers or has a destructor to run.
#ifndef KIV_CALLBACK_H
#define KIV_CALLBACK_H

#include <cstddef>
#include <functional>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include <kiv/kiv_export.h>

namespace cb
{

/// What an empty callback throws in a std::runtime_error.
inline constexpr char unset_call_error[] = "Attempting to invoke null callback.";

namespace detail
{

/// What a callback calls, built inside the callback's storage; trivially destructible, so storage is simply reused.
template<class R, class... Args>
class Callable
{
public:
    virtual R invoke(Args... args) const = 0;

    /// Builds a copy at `storage` and returns it.
    virtual const Callable* copyTo(void* storage) const noexcept = 0;

protected:
    ~Callable() = default;
};

template<class F, class R, class... Args>
class FunctionCallable final : public Callable<R, Args...>
{
public:
    explicit FunctionCallable(const F& f) noexcept : function(f) {}

    R invoke(Args... args) const override
    {
        if constexpr (std::is_void_v<R>)
            std::invoke(function, std::forward<Args>(args)...);
        else
            return std::invoke(function, std::forward<Args>(args)...);
    }

    const Callable<R, Args...>* copyTo(void* storage) const noexcept override
    {
        return ::new (storage) FunctionCallable(function);
    }

private:
    F function;
};

/// An object with one of its member functions, called like a function.
template<class T, class Op>
struct BoundMember
{
    T* object;
    Op op;

    template<class... Args>
    auto operator()(Args&&... args) const
        -> decltype((std::declval<T&>().*std::declval<Op>())(std::forward<Args>(args)...))
    {
        return (object->*op)(std::forward<Args>(args)...);
    }
};

/// The common part of Callback0 and Callback1.
template<class R, class... Args>
class KIV_API CallbackBase
{
    template<class F>
    using IfCallable =
        std::enable_if_t<!std::is_base_of_v<CallbackBase, F> && std::is_invocable_r_v<R, const F&, Args...>>;

public:
    /// Empty.
    CallbackBase() noexcept = default;

    /// Calls a plain function; empty when `function` is null.
    CallbackBase(R (*function)(Args...)) noexcept
    {
        if (function != nullptr)
            hold(function);
    }

    /// Calls `op` on `object`, which the caller keeps alive; `op` may belong to a base of T. Empty when either is null.
    template<class T, class Owner>
    CallbackBase(T* object, R (Owner::*op)(Args...)) noexcept
    {
        bind(object, op);
    }

    /// The same for a const member function, on a const object too.
    template<class T, class Owner>
    CallbackBase(T* object, R (Owner::*op)(Args...) const) noexcept
    {
        bind(object, op);
    }

    /// Calls a copy of a small trivially copyable function object: a lambda that captures at most three pointers or
    /// references and is not `mutable`. Empty when `f` is a null function pointer.
    template<class F, class = IfCallable<F>>
    CallbackBase(F f) noexcept
    {
        if constexpr (std::is_pointer_v<F>)
        {
            if (f == nullptr)
                return;
        }
        hold(f);
    }

    CallbackBase(const CallbackBase& other) noexcept { copy(other); }

    CallbackBase& operator=(const CallbackBase& other) noexcept
    {
        if (this != &other)
            copy(other);
        return *this;
    }

    ~CallbackBase() = default;

    /// True when there is nothing to call.
    bool empty() const noexcept { return callable == nullptr; }

    /// True when there is something to call.
    explicit operator bool() const noexcept { return callable != nullptr; }

    /// Makes the callback empty.
    void clear() noexcept { callable = nullptr; }

    /// Calls what it holds and returns its result. Throws std::runtime_error with unset_call_error when empty, and
    /// whatever the callee throws.
    R operator()(Args... args) const
    {
        if (callable == nullptr)
            throw std::runtime_error(unset_call_error);
        return callable->invoke(std::forward<Args>(args)...);
    }

private:
    static constexpr std::size_t storageSize = 32;

    template<class T, class Op>
    void bind(T* object, Op op) noexcept
    {
        if (object != nullptr && op != nullptr)
            hold(BoundMember<T, Op>{object, op});
    }

    template<class F>
    void hold(const F& f) noexcept
    {
        using Held = FunctionCallable<F, R, Args...>;
        static_assert(sizeof(Held) <= storageSize,
                      "a callback holds at most 24 bytes: capture less, or a pointer to it");
        static_assert(alignof(Held) <= alignof(void*), "a callback holds nothing that is aligned beyond a pointer");
        static_assert(std::is_trivially_copyable_v<F>, "a callback holds only what is trivially copyable");
        callable = ::new (static_cast<void*>(storage)) Held(f);
    }

    void copy(const CallbackBase& other) noexcept
    {
        callable = other.callable == nullptr ? nullptr : other.callable->copyTo(storage);
    }

    alignas(void*) unsigned char storage[storageSize];
    const Callable<R, Args...>* callable = nullptr;
};

} // namespace detail

/// A callback without argument that returns R.
///
/// Threads: reentrant; changing or clearing a callback while another thread calls or copies it is the caller's race.
/// Errors: calling an empty callback throws std::runtime_error with cb::unset_call_error.
template<class R>
class KIV_API Callback0 : public detail::CallbackBase<R>
{
public:
    using detail::CallbackBase<R>::CallbackBase;
};

/// A callback with one argument of type A (a reference type is passed through as it is) that returns R.
///
/// Threads, errors: as Callback0.
template<class R, class A>
class KIV_API Callback1 : public detail::CallbackBase<R, A>
{
public:
    using detail::CallbackBase<R, A>::CallbackBase;
};

} // namespace cb

namespace Kiv
{
namespace cb = ::cb;
}

#endif
