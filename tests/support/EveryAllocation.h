#pragma once

#include <gtest/gtest.h>

#include "tests/support/FailingMalloc.h"

namespace varnock::test {

/// The failing call of one round.
struct FailingCallNumber {
    std::size_t n;
    FailingMalloc::Times times;
};

/// Repeats a round for every allocation of an operation, once with this call alone failing and once
/// with all calls from it on. The round makes a FailingMalloc with the given numbers, runs the
/// operation and returns what happened() tells. A round without a failure is the last one. Returns
/// the number of failures.
template <class Round>
std::size_t forEveryAllocation(const Round& round) {
    constexpr std::size_t kLimit = 10'000;
    std::size_t failures = 0;
    for (const auto times : {FailingMalloc::Times::once, FailingMalloc::Times::always}) {
        for (std::size_t n = 1; n <= kLimit; ++n, ++failures) {
            SCOPED_TRACE(testing::Message()
                         << "allocation " << n
                         << (times == FailingMalloc::Times::once ? "" : " and all after it"));
            if (!round(FailingCallNumber{n, times}) || testing::Test::HasFatalFailure()) {
                break;
            }
            EXPECT_LT(n, kLimit);
        }
    }
    return failures;
}

}  // namespace varnock::test
