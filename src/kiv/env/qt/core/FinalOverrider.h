/// A virtual function looked up now, and called when the object may be in its destructor.
#ifndef KIV_FINALOVERRIDER_H
#define KIV_FINALOVERRIDER_H

#include <cstddef>
#include <cstring>
#include <type_traits>

#ifndef __GXX_ABI_VERSION
#error "the look-up needs the vtables of the Itanium C++ ABI"
#endif

namespace Kiv
{

/// The function that a virtual call of `member` would reach now, for a call when the object may be in its destructor.
///
/// A virtual call reads the object, and finds a pure function while the base's destructor runs. Itanium C++ ABI,
/// section 2.3: a pointer to a virtual member function begins with its vtable offset in bytes, plus 1 on most machines.
template<class Object, class Result>
auto finalOverrider(const Object& object, Result (Object::*member)()) -> Result (*)(Object*)
{
    static_assert(sizeof member == 2 * sizeof(std::ptrdiff_t), "the offset and an adjustment of `this`");
    static_assert(std::is_polymorphic_v<Object>, "the object begins with the pointer to its vtable");
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    const char* vtable = nullptr;
    std::memcpy(&vtable, static_cast<const void*>(&object), sizeof vtable);
    Result (*function)(Object*) = nullptr;
    std::memcpy(&function, vtable + (offset & ~std::ptrdiff_t{1}), sizeof function);
    return function;
}

} // namespace Kiv

#endif
