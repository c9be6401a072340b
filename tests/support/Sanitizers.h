#pragma once

namespace varnock::test {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
inline constexpr bool kAddressSanitizer = false;
#endif

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kThreadSanitizer = __has_feature(thread_sanitizer);
#else
inline constexpr bool kThreadSanitizer = false;
#endif

/// A sanitizer intercepts system functions, and makes calls of its own.
inline constexpr bool kSanitized = kAddressSanitizer || kThreadSanitizer;

#if defined(VARNOCK_COVERAGE)
inline constexpr bool kCountsCoverage = true;
#else
inline constexpr bool kCountsCoverage = false;
#endif

}  // namespace varnock::test

/// The same for the preprocessor: the sanitizers replace the C allocator.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VARNOCK_MALLOC_IS_REPLACED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VARNOCK_MALLOC_IS_REPLACED 1
#endif
#endif
#ifndef VARNOCK_MALLOC_IS_REPLACED
#define VARNOCK_MALLOC_IS_REPLACED 0
#endif

/// For the first line of a test that sanitizers cannot handle.
#define SKIP_IF_THREAD_EXIT_IS_MISREAD()                                                      \
    if (varnock::test::kAddressSanitizer)                                                     \
    GTEST_SKIP() << "the address sanitizer takes the stack of a thread that is unwound by a " \
                    "cancellation or pthread_exit for overwritten"

#define SKIP_IF_LEAKS_CANNOT_BE_SOUGHT()  \
    if (varnock::test::kAddressSanitizer) \
    GTEST_SKIP() << "the leak sanitizer needs a thread and ptrace at the end of a program"

#define SKIP_IF_FORKED_THREADS_ARE_LOST()                                                    \
    if (varnock::test::kSanitized)                                                           \
    GTEST_SKIP() << "the thread sanitizer lets the forked child of several threads neither " \
                    "join nor start any; with the others it may find locks of theirs taken"

#define SKIP_IF_FORKED_CHILDREN_ARE_MISREAD() \
    if (varnock::test::kAddressSanitizer)     \
    GTEST_SKIP() << "the address sanitizer leaves its locks taken in the child of several threads"

#define SKIP_IF_CANCELLATION_IS_MISREAD()                                                 \
    if (varnock::test::kThreadSanitizer)                                                  \
    GTEST_SKIP() << "once a thread was cancelled in a system call, the thread sanitizer " \
                    "takes what is done under one and the same lock for a race"

#define SKIP_IF_SIGNALS_ARE_HELD_BACK()  \
    if (varnock::test::kThreadSanitizer) \
    GTEST_SKIP() << "the thread sanitizer keeps a signal back while a call waits in the kernel"

#define SKIP_IF_COVERAGE_NEEDS_A_FILE() \
    if (varnock::test::kCountsCoverage) \
    GTEST_SKIP() << "a program that counts coverage makes a file for its counters when it starts"

#define SKIP_IF_THE_START_WRITES_A_FILE() \
    if (varnock::test::kThreadSanitizer)  \
    GTEST_SKIP() << "a program with the thread sanitizer writes a file when it starts"

#define SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS()                                          \
    if (varnock::test::kAddressSanitizer)                                                      \
    GTEST_SKIP() << "the undefined-behaviour sanitizer asks the system whether an object can " \
                    "be read, and takes a failing call for a wrong object"

#define SKIP_IF_MALLOC_IS_REPLACED() \
    if (varnock::test::kSanitized)   \
    GTEST_SKIP() << "the sanitizers replace the allocator that this test makes fail"
