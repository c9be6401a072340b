#pragma once

namespace varnock::test {

/// How many calls of malloc by this thread succeed before one fails, which sets it back to -1.
/// Below 0: all of them.
extern constinit thread_local int allocationsLeft;

}  // namespace varnock::test
