/// Iterators over the code points of a utf8_string, and the stand-in for a code point that can be assigned.
#ifndef KIV_TINYUTF8_ITERATORS_H
#define KIV_TINYUTF8_ITERATORS_H

#include <cstddef>
#include <iterator>
#include <type_traits>

#include <kiv/kiv_export.h>

class utf8_string;

namespace tiny_utf8_detail
{

/// Stands for one code point of a string: reads as a char32_t, and assigning replaces the code point in the string.
///
/// It keeps the place by its byte index: assigning moves the bytes behind it when the new code point is longer or
/// shorter, and stand-ins and iterators for later places go astray then. They stay harmless: no access leaves the
/// string's data.
class KIV_API CCodePointReference
{
public:
    CCodePointReference(utf8_string& owner, std::size_t byteIndex) noexcept : string(&owner), place(byteIndex) {}
    CCodePointReference(const CCodePointReference&) noexcept = default;
    ~CCodePointReference() = default;

    operator char32_t() const noexcept;

    CCodePointReference& operator=(char32_t codePoint);

    /// Assigns the code point, not the place; to itself it changes nothing, because it reads before it writes.
    CCodePointReference& operator=(const CCodePointReference& other) // NOLINT(bugprone-unhandled-self-assignment)
    {
        return *this = static_cast<char32_t>(other);
    }

private:
    utf8_string* string;
    std::size_t place;
};

/// Walks the code points of a string in both directions; String is utf8_string or const utf8_string.
///
/// An edit of the string invalidates its iterators, except an assignment through one of them of a code point with as
/// many bytes. The end cannot be passed: stepping beyond either end stays there.
template<class String>
class CCodePointIterator
{
    static constexpr bool isConst = std::is_const_v<String>;

public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char32_t;
    using difference_type = std::ptrdiff_t;
    using reference = std::conditional_t<isConst, char32_t, CCodePointReference>;
    using pointer = void;

    CCodePointIterator() noexcept = default;
    CCodePointIterator(String& owner, std::size_t byteIndex) noexcept : string(&owner), place(byteIndex) {}

    /// An iterator is also a const_iterator.
    template<class Other, class = std::enable_if_t<isConst && std::is_same_v<const Other, String>>>
    CCodePointIterator(const CCodePointIterator<Other>& other) noexcept
        : string(other.owner()), place(other.raw_index())
    {}

    reference operator*() const noexcept { return string->raw_get(place); }

    CCodePointIterator& operator++() noexcept
    {
        place = string->raw_next(place);
        return *this;
    }

    CCodePointIterator& operator--() noexcept
    {
        place = string->raw_previous(place);
        return *this;
    }

    CCodePointIterator operator++(int) noexcept
    {
        const CCodePointIterator before = *this;
        ++*this;
        return before;
    }

    CCodePointIterator operator--(int) noexcept
    {
        const CCodePointIterator before = *this;
        --*this;
        return before;
    }

    /// The string that it walks; null for an iterator without one.
    String* owner() const noexcept { return string; }

    /// The byte index at which its code point begins.
    std::size_t raw_index() const noexcept { return place; }

private:
    String* string = nullptr;
    std::size_t place = 0;
};

/// Iterators of one string compare by their places.
template<class A, class B>
bool operator==(const CCodePointIterator<A>& a, const CCodePointIterator<B>& b) noexcept
{
    return a.raw_index() == b.raw_index();
}

template<class A, class B>
bool operator!=(const CCodePointIterator<A>& a, const CCodePointIterator<B>& b) noexcept
{
    return a.raw_index() != b.raw_index();
}

template<class A, class B>
bool operator<(const CCodePointIterator<A>& a, const CCodePointIterator<B>& b) noexcept
{
    return a.raw_index() < b.raw_index();
}

template<class A, class B>
bool operator>(const CCodePointIterator<A>& a, const CCodePointIterator<B>& b) noexcept
{
    return b < a;
}

template<class A, class B>
bool operator<=(const CCodePointIterator<A>& a, const CCodePointIterator<B>& b) noexcept
{
    return !(b < a);
}

template<class A, class B>
bool operator>=(const CCodePointIterator<A>& a, const CCodePointIterator<B>& b) noexcept
{
    return !(a < b);
}

/// Number of code points from `b` to `a`, negative when `a` comes first. Faster than counting steps.
template<class A, class B>
std::ptrdiff_t operator-(const CCodePointIterator<A>& a, const CCodePointIterator<B>& b) noexcept
{
    if (a < b)
        return -(b - a);
    if (a == b)
        return 0;
    return static_cast<std::ptrdiff_t>(a.owner()->get_num_codepoints(b.raw_index(), a.raw_index() - b.raw_index()));
}

} // namespace tiny_utf8_detail

#endif
