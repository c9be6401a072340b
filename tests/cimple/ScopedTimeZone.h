#pragma once

#include <stdlib.h>
#include <time.h>

#include <optional>
#include <string>

/// Another local time zone during a test. Not for tests with threads.
class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(const char* zone) {
        if (const char* old = ::getenv("TZ")) {
            old_ = old;
        }
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;
    ~ScopedTimeZone() {
        if (old_) {
            ::setenv("TZ", old_->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

  private:
    std::optional<std::string> old_;
};
