#pragma once

#include <cstddef>

namespace varnock::test {

/// Makes calls of the C allocator fail, and operator new with it: malloc, calloc, realloc,
/// posix_memalign, aligned_alloc and memalign. The n-th call from construction on (1 is the next; 0
/// is none) returns no memory. A loop over n visits every allocation of an operation:
///
///     for (std::size_t n = 1;; ++n) {
///         FailingMalloc failure(n);
///         operation();
///         failure.end();
///         EXPECT_EQ(failure.blocksLeft(), 0u);
///         if (!failure.happened()) break;
///     }
///
/// One object at a time in a process; any thread may read it. It replaces the allocator in the
/// whole program, so tests link it by name: varnock_test(... LIBRARIES varnock_failing_malloc). The
/// sanitizers have their own allocator: begin such a test with SKIP_IF_MALLOC_IS_REPLACED().
///
/// The shared object failing_malloc.so does the same to a whole process from its first allocation
/// on. Preload it and set these variables:
///
///     VARNOCK_FAILING_MALLOC=N        the number of the call, over all threads
///     VARNOCK_FAILING_MALLOC_TIMES    "once", which is the default, or "always"
///     VARNOCK_FAILING_MALLOC_REPORT   file to create when a call has failed
///
/// Linking varnock_failing_malloc_preload defines VARNOCK_FAILING_MALLOC_SO, the file to preload.
class FailingMalloc {
  public:
    enum class Times {
        once,
        always,  ///< the n-th call and all after it
    };
    /// The threads whose calls are counted.
    enum class Threads {
        thisOne,
        thisAndNewOnes,  ///< also those that make their first allocation after the construction
        all,
    };

    explicit FailingMalloc(std::size_t n, Times times = Times::once,
                           Threads threads = Threads::thisOne);
    ~FailingMalloc();
    FailingMalloc(const FailingMalloc&) = delete;
    FailingMalloc& operator=(const FailingMalloc&) = delete;

    /// From now on all calls succeed, and new blocks are not counted.
    void end();
    /// True if a call has failed.
    bool happened() const;
    /// The number of blocks that were allocated by the counted calls and are not freed yet.
    std::size_t blocksLeft() const;
};

}  // namespace varnock::test
