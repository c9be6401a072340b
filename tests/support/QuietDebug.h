#pragma once

#include <new>

#include "tests/support/DebugTestAccess.h"

namespace varnock::test {

/// A trace object in its state before construction: all zeros. Destroyed normally.
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
