#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/soak/Findings.h"
#include "tests/soak/Progress.h"
#include "tests/soak/Random.h"

namespace varnock::soak {

/// The requests of all threads: their number, and that of each failure.
class Tally {
  public:
    void add(unsigned long requests, const std::map<std::string, unsigned long>& failures);
    unsigned long requests() const;
    std::map<std::string, unsigned long> failures() const;

  private:
    mutable std::mutex mutex_;
    unsigned long requests_ = 0;
    std::map<std::string, unsigned long> failures_;
};

/// Threads that make random requests through the public interface, from construction to end(). The
/// destructor waits for their last requests. Every failure must be a documented one.
class Load {
  public:
    static constexpr unsigned int kThreads = 16;

    /// The places are those of the threads.
    Load(unsigned int seed, std::vector<Place*> places, Tally& tally, Findings& findings);
    ~Load();
    /// Lets no new request begin.
    void end() { isEnding_ = true; }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

  private:
    std::atomic<bool> isEnding_ = false;
    std::vector<Place*> places_;
    std::vector<std::thread> threads_;
};

}  // namespace varnock::soak
