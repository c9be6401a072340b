#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

/// Requests of a provider to the CIM server.
///
/// Thread-safety: any thread may call any operation.
class cimom {
  public:
    /// Sets whether the server may unload the provider when it is idle; initially it may. A
    /// provider with a subscription must forbid it: unloading ends its indications without
    /// informing the client.
    static void allow_unload(bool flag);
};

namespace detail {

/// The argument of the last cimom::allow_unload(), for code that acts as the server.
bool mayUnload();

}  // namespace detail

CIMPLE_NAMESPACE_END
