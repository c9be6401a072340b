#pragma once

extern "C" {
void __lsan_disable() __attribute__((weak));
void __lsan_enable() __attribute__((weak));
}

namespace varnock::test {

/// The leak sanitizer, if any, does not report leaks of this thread's allocations in the scope. For
/// tests of operations that deliberately keep memory.
class DeliberateLeak {
  public:
    DeliberateLeak() {
        if (__lsan_disable != nullptr) {
            __lsan_disable();
        }
    }
    ~DeliberateLeak() {
        if (__lsan_enable != nullptr) {
            __lsan_enable();
        }
    }
    DeliberateLeak(const DeliberateLeak&) = delete;
    DeliberateLeak& operator=(const DeliberateLeak&) = delete;
};

}  // namespace varnock::test
