#pragma once

// Internal, not installed.
namespace varnock {

/// Frees the keys that were removed. From now on nothing is loaded or saved: the process ends, and
/// the root of the tree is destroyed next.
void endRegistry();

}  // namespace varnock
