/// The local time under the lock that all of the library's calls of localtime share; private.
#ifndef KIV_LOCALTIME_H
#define KIV_LOCALTIME_H

#include <ctime>

#include <kiv/Mutex.h>

namespace Kiv
{

/// The lock; created on first use and never destroyed.
CMutex& timeLibraryLock();

/// The broken-down local time of `moment`. A year that does not fit into an int gives all zeros. Another TZ counts from
/// the next call on; without TZ, another file of the system's zone does within a second.
///
/// Threads: safe from any thread.
std::tm localTime(std::time_t moment);

} // namespace Kiv

#endif
