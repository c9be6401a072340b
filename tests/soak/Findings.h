#pragma once

#include <cstdio>
#include <mutex>
#include <string>

namespace varnock::soak {

/// The violations found so far. Thread-safety: any thread may call any operation.
class Findings {
  public:
    void add(const std::string& text) {
        const std::lock_guard lock(mutex_);
        if (++count_ <= kShown) {
            std::fprintf(stderr, "soak: %s\n", text.c_str());
        }
    }
    unsigned int count() const {
        const std::lock_guard lock(mutex_);
        return count_;
    }

  private:
    static constexpr unsigned int kShown = 50;

    mutable std::mutex mutex_;
    unsigned int count_ = 0;
};

}  // namespace varnock::soak
