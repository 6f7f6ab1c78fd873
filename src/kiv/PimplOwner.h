/// Owners that copy what they own with its dynamic type, and a base for classes with such a private implementation.
#ifndef KIV_PIMPLOWNER_H
#define KIV_PIMPLOWNER_H

#include <cassert>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include <kiv/kiv_export.h>

namespace Kiv
{

namespace detail
{

/// Holds one object and knows its type, so that it can make another one like it.
template<class T>
class control_block
{
public:
    control_block() = default;
    control_block(const control_block&) = delete;
    control_block& operator=(const control_block&) = delete;
    virtual ~control_block() = default;

    virtual std::unique_ptr<control_block> clone() const = 0;
    virtual T* ptr() = 0;
};

/// Owns an object that somebody else created.
template<class T, class U>
class pointer_control_block final : public control_block<T>
{
public:
    explicit pointer_control_block(std::unique_ptr<U> ownedObject) : object(std::move(ownedObject)) {}

    std::unique_ptr<control_block<T>> clone() const override
    {
        return std::make_unique<pointer_control_block>(std::make_unique<U>(*object));
    }

    T* ptr() override { return object.get(); }

private:
    std::unique_ptr<U> object;
};

/// Has the object within itself: one allocation for both.
template<class T, class U>
class direct_control_block final : public control_block<T>
{
public:
    template<class... Args>
    explicit direct_control_block(std::in_place_t /*tag*/, Args&&... args) : object(std::forward<Args>(args)...)
    {}

    std::unique_ptr<control_block<T>> clone() const override
    {
        return std::make_unique<direct_control_block>(std::in_place, object);
    }

    T* ptr() override { return &object; }

private:
    U object;
};

} // namespace detail

template<class T>
class polymorphic_value;

/// A polymorphic_value<T> with a new U, made from `args` in one allocation together with its owner's bookkeeping.
template<class T, class U = T, class... Args>
polymorphic_value<T> make_polymorphic_value(Args&&... args);

/// Owns an object of T or of a class derived from it; a copy owns a copy of the object, of the same dynamic type.
///
/// For members that are polymorphic and yet values. What is only moved or shared is better off with a standard smart
/// pointer. T needs no virtual function: the object is copied and deleted as the type that it was handed over as.
///
/// | state | bool  | `->`, `*`  | copied or moved from          |
/// |-------|-------|------------|-------------------------------|
/// | empty | false | undefined  | the target is empty           |
/// | full  | true  | the object | moved from: this one is empty |
///
/// Threads: reentrant.
/// Errors: none of its own; exceptions of the object's copy constructor pass and change nothing. An exception of the
/// object's destructor ends the process.
template<class T>
class polymorphic_value
{
public:
    /// Empty.
    polymorphic_value() noexcept = default;

    /// Takes over `p`, an object whose dynamic type is U and which U's copy constructor copies; null leaves it empty.
    template<class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    explicit polymorphic_value(U* p)
    {
        std::unique_ptr<U> owned(p);
        if (!owned)
            return;
        assert(typeid(*p) == typeid(U)); // a class derived from U would be cut off by each copy
        block = std::make_unique<detail::pointer_control_block<T, U>>(std::move(owned));
        object = block->ptr();
    }

    /// Copies and moves as the table says.
    polymorphic_value(const polymorphic_value& other) : block(other.block ? other.block->clone() : nullptr)
    {
        if (block)
            object = block->ptr();
    }

    /// Leaves `other` empty.
    polymorphic_value(polymorphic_value&& other) noexcept
        : object(std::exchange(other.object, nullptr)), block(std::move(other.block))
    {}

    ~polymorphic_value() = default;

    /// The former object goes after the new one is in its place. Assigned to itself, it keeps its object.
    polymorphic_value& operator=(const polymorphic_value& other)
    {
        if (this != &other)
            *this = polymorphic_value(other);
        return *this;
    }

    /// Leaves `other` empty.
    polymorphic_value& operator=(polymorphic_value&& other) noexcept
    {
        if (this == &other)
            return *this;
        object = std::exchange(other.object, nullptr);
        block = std::move(other.block);
        return *this;
    }

    /// True while it owns something.
    explicit operator bool() const noexcept { return object != nullptr; }

    /// The object; not of an empty one.
    T* operator->() noexcept { return object; }
    const T* operator->() const noexcept { return object; }
    T& operator*() noexcept { return *object; }
    const T& operator*() const noexcept { return *object; }

private:
    template<class V, class U, class... Args>
    friend polymorphic_value<V> make_polymorphic_value(Args&&... args);

    explicit polymorphic_value(std::unique_ptr<detail::control_block<T>> ownedBlock)
        : object(ownedBlock->ptr()), block(std::move(ownedBlock))
    {}

    T* object = nullptr;
    std::unique_ptr<detail::control_block<T>> block;
};

template<class T, class U, class... Args>
polymorphic_value<T> make_polymorphic_value(Args&&... args)
{
    std::unique_ptr<detail::control_block<T>> block =
        std::make_unique<detail::direct_control_block<T, U>>(std::in_place, std::forward<Args>(args)...);
    return polymorphic_value<T>(std::move(block));
}

class CPimplOwner;

/// Base of every private implementation that a CPimplOwner owns; it knows its owner.
///
/// Threads: reentrant, together with its owner.
/// Errors: none.
class KIV_API CPimpl
{
public:
    /// Of an owner to come, null if it is not known yet.
    explicit CPimpl(CPimplOwner* owner = nullptr) : ownerObject(owner) {}
    virtual ~CPimpl();

    /// Who owns it: the one named to the constructor, since the first copy, move or assignment the one that holds it.
    CPimplOwner* owner() const { return ownerObject; }

protected:
    /// Only within a derived class: a copy of the base alone would have lost its data.
    CPimpl(const CPimpl&) = default;
    CPimpl& operator=(const CPimpl&) = delete;

private:
    friend class CPimplOwner;

    CPimplOwner* ownerObject;
};

/// Base of classes that keep their data in a private implementation and are copied with it.
///
/// A class derives from it, hands its implementation to the constructor, and reaches it by pimpl<...>(). Its header
/// does not need to know the implementation; its source does it so:
///
///     class CLampPrivate : public CPimpl { public: using CPimpl::CPimpl; int level = 0; };
///     CLamp::CLamp() : CPimplOwner(make_polymorphic_value<CPimpl, CLampPrivate>(this)) {}
///     int CLamp::level() const { return pimpl<CLampPrivate>()->level; }
///
/// Copies have implementations of their own; a moved-from owner is empty, and so are its copies. Deriving classes are
/// not meant to be deleted through this base: its destructor is not virtual.
///
/// Threads: reentrant.
/// Errors: none of its own; what copying the implementation throws passes.
class KIV_API CPimplOwner
{
public:
    /// Takes the implementation over. Its owner() stays as it is: create it with the owner that it will have.
    explicit CPimplOwner(polymorphic_value<CPimpl>&& value);

    /// These make owner() of the implementation name this object.
    CPimplOwner(const CPimplOwner& other);
    CPimplOwner(CPimplOwner&& other) noexcept;
    CPimplOwner& operator=(const CPimplOwner& other);
    CPimplOwner& operator=(CPimplOwner&& other) noexcept;

protected:
    /// The implementation as what it is, null in an empty owner.
    template<class Impl>
    Impl* pimpl()
    {
        return static_cast<Impl*>(implementation.operator->());
    }

    /// As above, from a constant owner.
    template<class Impl>
    const Impl* pimpl() const
    {
        return static_cast<const Impl*>(implementation.operator->());
    }

private:
    KIV_LOCAL void becomeOwner();

    polymorphic_value<CPimpl> implementation;
};

} // namespace Kiv

#endif
