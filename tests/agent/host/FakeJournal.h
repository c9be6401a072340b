#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace varnock::agent {

/// Entries for the functions of the journal, which in this program see them instead of the host's.
/// With no such object there is no journal. One object at a time.
class FakeJournal {
  public:
    struct Entry {
        std::uint64_t microseconds;
        std::map<std::string, std::string> fields;
    };

    FakeJournal();
    ~FakeJournal();
    FakeJournal(const FakeJournal&) = delete;
    FakeJournal& operator=(const FakeJournal&) = delete;

    static FakeJournal* current();

    std::vector<Entry> entries;
    bool hasTimes = true;
    bool seeks = true;
    std::string directory;  ///< that was opened
    int open = 0;
};

}  // namespace varnock::agent
