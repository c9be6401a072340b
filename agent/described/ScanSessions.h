#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace varnock::agent {

/// The component scans that clients have opened, each with its token and cabinet.
class ScanSessions {
  public:
    /// The most scans that are open at a time; a further one closes the oldest.
    static constexpr std::size_t kLimit = 1024;

    /// A token other than 0.
    unsigned open(unsigned cabinet) {
        if (open_.size() >= kLimit) {
            open_.erase(open_.begin());
        }
        last_ = last_ % kLastToken + 1;
        open_.emplace_back(last_, cabinet);
        return last_;
    }
    bool isOpen(unsigned token, unsigned cabinet) const {
        return std::find(open_.begin(), open_.end(), std::pair(token, cabinet)) != open_.end();
    }
    /// False if there is no such scan.
    bool close(unsigned token, unsigned cabinet) {
        return std::erase(open_, std::pair(token, cabinet)) != 0;
    }
    std::size_t size() const { return open_.size(); }

    /// @name For a saved state
    /// @{
    using Scans = std::vector<std::pair<unsigned, unsigned>>;

    const Scans& all() const { return open_; }
    unsigned last() const { return last_; }
    void restore(Scans scans, unsigned last) {
        open_ = std::move(scans);
        last_ = last % (kLastToken + 1);
    }
    /// @}

  private:
    static constexpr unsigned kLastToken = 0xFFFF;

    Scans open_;
    unsigned last_ = 0;
};

}  // namespace varnock::agent
