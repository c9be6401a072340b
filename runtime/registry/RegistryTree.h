#pragma once

/// Internal, not installed.
namespace varnock {

/// Tells that the root of the registry is gone, at the end of the process: from now on nothing is
/// loaded or saved.
void endRegistry();

}  // namespace varnock
