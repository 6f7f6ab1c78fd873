/// Words for clang, which checks with -Wthread-safety that what a mutex guards is touched under it only; nothing for
/// other compilers.
#ifndef KIV_THREADSAFETY_H
#define KIV_THREADSAFETY_H

#if defined(__clang__)
#define KIV_CAPABILITY __attribute__((capability("mutex")))
#define KIV_SCOPED_CAPABILITY __attribute__((scoped_lockable))
#define KIV_GUARDED_BY(mutex) __attribute__((guarded_by(mutex)))
#define KIV_REQUIRES(...) __attribute__((requires_capability(__VA_ARGS__)))
#define KIV_ACQUIRES(...) __attribute__((acquire_capability(__VA_ARGS__)))
#define KIV_RELEASES(...) __attribute__((release_capability(__VA_ARGS__)))
#define KIV_UNCHECKED __attribute__((no_thread_safety_analysis))
#else
#define KIV_CAPABILITY
#define KIV_SCOPED_CAPABILITY
#define KIV_GUARDED_BY(mutex)
#define KIV_REQUIRES(...)
#define KIV_ACQUIRES(...)
#define KIV_RELEASES(...)
#define KIV_UNCHECKED
#endif

#endif
