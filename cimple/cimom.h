#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

/// What a provider asks of the CIM server.
///
/// Thread-safety: any thread may call any operation.
class cimom {
  public:
    /// Whether the server may unload the provider when nobody has called it for a while, as it may
    /// at first. A provider with a subscription forbids it: being unloaded ends its indications,
    /// and the client is not told.
    static void allow_unload(bool flag);
};

namespace detail {

/// What the last cimom::allow_unload() said: for whoever plays the server.
bool mayUnload();

}  // namespace detail

CIMPLE_NAMESPACE_END
