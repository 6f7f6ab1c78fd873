#include "ErrnoNames.h"

#include <cerrno>
#include <cstring>

#include "KernelText.h"

namespace Sim
{

namespace
{

constexpr int mostErrno = 4095; // the kernel's MAX_ERRNO

} // namespace

std::string errnoName(int number)
{
    const char* name = strerrorname_np(number);
    return name != nullptr ? name : std::to_string(number);
}

int errnoValue(std::string_view name)
{
    std::uint64_t number = 0;
    if (parseUnsigned(name, mostErrno, number) == 0)
        return static_cast<int>(number);
    for (int candidate = 1; candidate <= mostErrno; ++candidate)
        if (const char* known = strerrorname_np(candidate); known != nullptr && name == known)
            return candidate;
    return 0;
}

} // namespace Sim
