#pragma once

/// Attributes for clang's thread-safety analysis, which checks at compile time that guarded data is
/// accessed only under its lock. Empty for other compilers.
#if defined(__clang__)
#define VARNOCK_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VARNOCK_THREAD_ANNOTATION(x)
#endif

/// A class whose objects are locks.
#define VARNOCK_LOCK VARNOCK_THREAD_ANNOTATION(capability("mutex"))
/// A class that holds a lock from construction to destruction.
#define VARNOCK_SCOPED_LOCK VARNOCK_THREAD_ANNOTATION(scoped_lockable)
/// Data that is accessed only while `lock` is held.
#define VARNOCK_GUARDED_BY(lock) VARNOCK_THREAD_ANNOTATION(guarded_by(lock))
/// A function whose caller holds the lock.
#define VARNOCK_REQUIRES(...) VARNOCK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// A function that takes the lock and keeps it.
#define VARNOCK_ACQUIRE(...) VARNOCK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// The same for readers, of whom there may be several.
#define VARNOCK_ACQUIRE_SHARED(...) \
    VARNOCK_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
/// A function that has taken the lock when it returns `...`, true or false.
#define VARNOCK_TRY_ACQUIRE(...) VARNOCK_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
/// A function that releases the lock.
#define VARNOCK_RELEASE(...) VARNOCK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// The same for a reader.
#define VARNOCK_RELEASE_SHARED(...) \
    VARNOCK_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
/// A function that the analysis cannot check; a comment says why.
#define VARNOCK_NOT_ANALYSED VARNOCK_THREAD_ANNOTATION(no_thread_safety_analysis)
