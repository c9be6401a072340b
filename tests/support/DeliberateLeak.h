#pragma once

extern "C" {
void __lsan_disable() __attribute__((weak));
void __lsan_enable() __attribute__((weak));
}

namespace varnock::test {

/// What this thread allocates in the scope may leak: the leak sanitizer, if there is one, does not
/// report it. For tests of operations that keep something for good, as they are meant to.
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
