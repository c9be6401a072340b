#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace varnockctl {

/// The process that wrote each entry of a log; nothing if the file does not name it. A description
/// names the process of its work cycle. Needs no memory for the entries.
class TraceProcesses {
  public:
    /// The message of the next entry.
    void add(std::string_view message);
    /// The process of an entry that has been added, by its number from 0. It is known when all
    /// entries have been added.
    std::optional<pid_t> of(std::size_t number) const;

  private:
    /// Entries of one process, up to the next range.
    struct Range {
        std::size_t begin;
        std::optional<pid_t> process;
    };

    void begin(std::size_t number);

    std::vector<Range> ranges_{{0, std::nullopt}};
    std::size_t count_ = 0;
    bool isUndecided_ = false;  ///< the last entry begins another process if a description follows
    bool isDescribed_ = false;  ///< the last entry ends a description
};

}  // namespace varnockctl
