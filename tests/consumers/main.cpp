#include <cstdio>
#include <mutex>

#include <kiv/Mutex.h>
#include <kiv/err_codes.h>

int main()
{
    Kiv::CMutex mutex;
    const std::lock_guard<Kiv::CMutex> guard(mutex);
    const ErrCode result = 0;
    std::printf("kiv works: %u\n", static_cast<unsigned>(result));
}
