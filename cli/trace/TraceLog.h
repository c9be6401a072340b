#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/trace/TraceFileFormat.h"

namespace varnockctl {

/// The fields at the beginning of a trace file; a number that is none is absent.
struct TraceHeader {
    std::string filePath;
    std::string firstOpen;
    std::string lastOpen;
    std::optional<std::int64_t> opens;
    std::optional<std::int64_t> wraps;
    std::optional<std::int64_t> size;
    std::optional<std::int64_t> position;
    bool isLabelled = false;  ///< every field has its label

    static constexpr auto kLength = static_cast<std::size_t>(varnock::tracefile::kEntriesBegin);
    /// Reads whatever bytes there are.
    static TraceHeader parse(std::string_view bytes);
    /// True when the writer has done something between the two.
    bool differsFrom(const TraceHeader& other) const {
        return wraps != other.wraps || position != other.position || opens != other.opens;
    }
};

/// A place in the life of a trace file: how often it had wrapped, and the offset.
struct TracePlace {
    std::int64_t round = 0;
    std::int64_t offset = 0;
    auto operator<=>(const TracePlace&) const = default;
};

/// One entry; the texts belong to the log.
struct TraceEntry {
    TracePlace place;
    std::string_view line;  ///< all of it without the last newline
    std::string_view time;  ///< "Mmm dd hh:mm:ss"
    std::string_view host;
    std::string_view application;
    std::string_view thread;   ///< 16 hexadecimal digits
    std::string_view message;  ///< may hold newlines
};

/// The entry that a line begins, if it begins one.
std::optional<TraceEntry> parseTraceEntry(std::string_view line);

/// The entries of a ring-buffer file from the oldest to the newest, as docs/trace-file.md describes
/// it, from a copy of its bytes: of a file that was wrapped, torn, cut short or damaged as much as
/// can be told.
class TraceLog {
  public:
    /// `written` is the position in the header after the bytes had been copied: what lies between
    /// may be mixed with newer entries.
    explicit TraceLog(std::string bytes, std::optional<std::int64_t> written = std::nullopt);
    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    const TraceHeader& header() const { return header_; }
    const std::vector<TraceEntry>& entries() const { return entries_; }
    /// Bytes of entries of which a part was overwritten.
    std::int64_t tornBytes() const { return tornBytes_; }
    /// What could not be understood, in words.
    const std::vector<std::string>& problems() const { return problems_; }

    /// Where the next entry will begin, and before what place entries were overwritten.
    TracePlace end() const { return {round_, position_}; }
    TracePlace begin() const { return begin_; }
    /// True when the position lies behind the description that each round begins with.
    bool isPastDescription() const { return isPastDescription_; }

    /// An entry is never longer.
    static constexpr std::int64_t kLongestEntry = varnock::tracefile::kLongestEntry;

  private:
    struct Piece {
        std::int64_t begin;
        std::int64_t end;
        std::int64_t round;
        std::int64_t firstSeam;  ///< behind it, what is earlier than what it follows is older
    };

    void order(std::optional<std::int64_t> written);
    void orderAsItStands();
    std::int64_t behindUnfinished();
    std::string_view newestTime() const;
    void orderRounds(std::int64_t oldest);
    std::vector<Piece> piecesOf(std::int64_t oldest);
    std::pair<std::int64_t, bool> beginOfRound(std::int64_t described, std::int64_t end) const;
    bool holdsEntries(const Piece& piece);
    std::optional<std::int64_t> endOfLine(std::string_view message, std::int64_t begin,
                                          std::int64_t end) const;
    void take(const Piece& piece, std::vector<TraceEntry>& entries);
    std::string_view lineAt(std::int64_t offset, std::int64_t end) const;

    std::string bytes_;
    TraceHeader header_;
    std::vector<TraceEntry> entries_;
    std::vector<std::string> problems_;
    std::int64_t tornBytes_ = 0;
    std::int64_t size_ = 0;  // of what is used
    std::int64_t position_ = 0;
    std::int64_t round_ = 0;
    TracePlace begin_;
    bool isPastDescription_ = false;
};

}  // namespace varnockctl
