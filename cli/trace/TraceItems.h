#pragma once

#include <cstdint>
#include <string>

#include "cli/output/Json.h"
#include "cli/trace/TraceLog.h"

namespace varnockctl {

/// Entries that are missing from a trace, and how many bytes they had.
struct TraceGap {
    const char* reason;
    std::int64_t bytes;

    std::string text() const;
};

/// An entry as an item of the output.
Json entryJson(const TraceEntry& entry, JsonAllocator& allocator);
/// A gap as an item: the members of an entry, which are null, and "gap".
Json gapJson(const TraceGap& gap, JsonAllocator& allocator);
/// The header of a file, and what can be said about its entries.
Json infoJson(const std::string& path, const TraceLog& log, JsonAllocator& allocator);

}  // namespace varnockctl
