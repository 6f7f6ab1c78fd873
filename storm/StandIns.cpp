#include "StandIns.h"

#include <cerrno>
#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <pthread.h>

namespace Storm
{

std::atomic<bool> refuseThreads{false};
thread_local unsigned refuseMemoryEvery = 0;

namespace
{

void* allocate(std::size_t size)
{
    thread_local unsigned count = 0;
    if (refuseMemoryEvery != 0 && ++count % refuseMemoryEvery == 0)
        return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

} // namespace

} // namespace Storm

void* operator new(std::size_t size)
{
    if (void* const memory = Storm::allocate(size))
        return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Storm::allocate(size); }

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument) noexcept
{
    using Function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_create"));
    static std::atomic<unsigned> count{0};
    if (Storm::refuseThreads && count++ % 2 == 0)
        return EAGAIN;
    return real(thread, attributes, routine, argument);
}
