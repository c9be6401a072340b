#pragma once

namespace varnock::test {

/// The number of malloc calls of this thread that succeed before one fails and resets it to -1.
/// Below 0: all calls succeed.
extern constinit thread_local int allocationsLeft;

}  // namespace varnock::test
