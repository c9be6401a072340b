#pragma once

#include <cstddef>

namespace varnock::test {

/// Makes one allocation of the calling thread fail: the n-th operator new from construction on (1
/// is the next) throws std::bad_alloc, or returns null in its nothrow form. A loop over n visits
/// every allocation of an operation:
///
///     for (std::size_t n = 1;; ++n) {
///         const FailingAllocation failure(n);
///         operation();
///         if (!failure.happened()) break;
///     }
///
/// One at a time in each thread. It replaces operator new in the whole program, so tests link it by
/// name: varnock_test(... LIBRARIES varnock_failing_allocation). Sanitizers still see every block.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t n);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    bool happened() const;
};

}  // namespace varnock::test
