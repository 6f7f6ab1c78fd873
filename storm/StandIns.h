/// A heap and a system that refuse what they are asked for.
#ifndef KIV_TESTS_STORM_STANDINS_H
#define KIV_TESTS_STORM_STANDINS_H

#include <atomic>

namespace Storm
{

/// While true, every second pthread_create() of the process fails.
extern std::atomic<bool> refuseThreads;

/// If not 0, every allocation of so many by `operator new` on the calling thread fails.
extern thread_local unsigned refuseMemoryEvery;

} // namespace Storm

#endif
