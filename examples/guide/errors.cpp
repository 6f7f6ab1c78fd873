// One number for every outcome, and its text.

// [errors]
#include <cerrno>
#include <cstdio>

#include <fcntl.h>

#include <kiv/ErrorToString.h>
#include <kiv/errno_translation.h>

int main()
{
    if (open("/nowhere", O_RDONLY) < 0)
    {
        const ErrCode code = errnoToErrCode(errno);
        std::printf("%u: %s\n", code, ErrorToString(code));
    }
    const int result = -16; // what a function of the library returned: negated codes have their text, too
    std::printf("%d: %s\n", result, ErrorToString(static_cast<ErrCode>(result)));
}
// [errors]
