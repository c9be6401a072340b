#pragma once

#include <new>

#include "tests/support/DebugTestAccess.h"

namespace varnock::test {

/// A trace object in the state it has before its constructor has run: all zeros. Destroyed at the
/// end like any other.
class QuietDebug {
  public:
    QuietDebug() = default;
    ~QuietDebug() { (*this)->~CDebug(); }
    QuietDebug(const QuietDebug&) = delete;
    QuietDebug& operator=(const QuietDebug&) = delete;

    CDebug& operator*() { return *std::launder(reinterpret_cast<CDebug*>(storage_)); }
    CDebug* operator->() { return &**this; }

  private:
    alignas(CDebug) unsigned char storage_[sizeof(CDebug)] = {};
};

}  // namespace varnock::test
