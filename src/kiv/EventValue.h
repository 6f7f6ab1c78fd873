/// What events of a state machine are called in a program: numbers of any enumeration, and values that travel with
/// them.
#ifndef KIV_EVENTVALUE_H
#define KIV_EVENTVALUE_H

#include <cstddef>
#include <cstring>
#include <optional>
#include <type_traits>
#include <typeinfo>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// The number of an event from 0 to 255; nothing for an enumerator that is no such number.
template<class Event>
constexpr std::optional<unsigned char> eventNumber(Event event)
{
    static_assert(std::is_enum_v<Event> || std::is_integral_v<Event>, "an event is an enumerator or a number");
    const auto number = static_cast<long long>(event);
    if (number < 0 || number > 255)
        return std::nullopt;
    return static_cast<unsigned char>(number);
}

/// A value of up to 16 bytes of any trivially copyable type, or none: what an event carries through the queue.
///
/// Threads: reentrant.
/// Errors: none; who asks for another type than was put in gets nothing.
class KIV_API CEventValue
{
public:
    CEventValue() = default;
    /// Copies the bytes that are used.
    CEventValue(const CEventValue& other) : type(other.type) { copyBytes(other); }
    /// The same.
    CEventValue& operator=(const CEventValue& other)
    {
        if (this != &other)
        {
            type = other.type;
            copyBytes(other);
        }
        return *this;
    }
    ~CEventValue() = default;

    /// Holds a copy of the value.
    template<class T>
    static CEventValue of(const T& value)
    {
        static_assert(std::is_trivially_copyable_v<T>, "an event carries only what is trivially copyable");
        static_assert(sizeof(T) <= size, "an event carries at most 16 bytes: send a number or a pointer instead");
        CEventValue made;
        made.type = &typeid(T);
        std::memcpy(made.bytes, &value, sizeof value);
        return made;
    }

    /// The value, if one of exactly this type was put in.
    template<class T>
    std::optional<T> as() const
    {
        if (!type || *type != typeid(T))
            return std::nullopt;
        std::aligned_storage_t<sizeof(T), alignof(T)> value;
        return *static_cast<const T*>(std::memcpy(&value, bytes, sizeof value));
    }

    /// True if it holds nothing.
    bool isEmpty() const { return type == nullptr; }

private:
    static constexpr std::size_t size = 16;

    void copyBytes(const CEventValue& other)
    {
        if (type)
            std::memcpy(bytes, other.bytes, size);
    }

    const std::type_info* type = nullptr;
    unsigned char bytes[size] = {};
};

} // namespace Kiv

#endif
