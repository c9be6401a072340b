#pragma once

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/trace/TraceBytes.h"
#include "cli/trace/TraceProcesses.h"
#include "runtime/trace/TraceFileFormat.h"

namespace varnockctl {

/// The header of a trace file. An invalid number is absent.
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
    /// Parses any bytes.
    static TraceHeader parse(std::string_view bytes);
    /// True if the writer has changed the file between the two.
    bool differsFrom(const TraceHeader& other) const {
        return wraps != other.wraps || position != other.position || opens != other.opens;
    }
};

/// A place in the history of a trace file: the number of wraps, and the offset.
struct TracePlace {
    std::int64_t round = 0;
    std::int64_t offset = 0;
    auto operator<=>(const TracePlace&) const =
        default;  // NOLINT(modernize-use-nullptr) -- not there
};

/// One entry. The texts are views into the log.
struct TraceEntry {
    TracePlace place;
    std::string_view line;  ///< the whole entry without the last newline
    std::string_view time;  ///< "Mmm dd hh:mm:ss"
    std::string_view host;
    std::string_view application;
    std::string_view thread;                      ///< 16 hexadecimal digits
    std::string_view message;                     ///< may contain newlines
    std::optional<pid_t> process = std::nullopt;  ///< nothing if the file does not name it
    std::int64_t lostBefore = 0;  ///< bytes of partly overwritten entries directly before this one
};

/// The entry that starts on a line, if any.
std::optional<TraceEntry> parseTraceEntry(std::string_view line);

/// True if a message holds bytes that no writer puts there: control characters, or the beginning of
/// another entry.
[[nodiscard]] bool isGarbled(std::string_view message);

class TraceLog;

/// The entries of a log that are kept. The others are read but need no memory.
struct TraceSelection {
    /// Called before the first entry; returns the place before which no entry is kept.
    std::function<TracePlace(const TraceLog& log)> begin = {};
    /// The entries before that place are not read at all: neither counted nor searched for the
    /// processes of later ones.
    bool skipsOlder = false;
    /// True for an entry to keep; empty: all. Its process is not known yet.
    std::function<bool(const TraceEntry& entry)> passes = {};
    /// The same of an entry whose process is known: that is so after the last entry of the file, so
    /// all entries need memory until then.
    std::function<bool(const TraceEntry& entry)> passesNamed = {};
    /// Keep only this many of the newest.
    std::optional<std::size_t> last = std::nullopt;
    /// Gets each entry that passes as soon as it is read, in place of keeping it. Its process is
    /// not known. False ends the reading.
    std::function<bool(const TraceEntry& entry)> each = {};
};

/// The entries of a ring-buffer file from the oldest to the newest, from a copy of its bytes. The
/// format is described in docs/trace-file.md. Of a damaged or truncated file, as many entries as
/// can be recognised.
class TraceLog {
  public:
    /// Returns the place before which a writer may have overwritten the file by now.
    using Overwritten = std::function<TracePlace()>;

    /// `written` is the position in the header after the bytes were copied: the entries between the
    /// two positions may be mixed with newer ones. `overwritten` is asked after each reading of
    /// bytes that were not copied; what stands before that place is lost. Empty: nothing is.
    explicit TraceLog(TraceBytes bytes, std::optional<std::int64_t> written = std::nullopt,
                      const TraceSelection& selection = {}, Overwritten overwritten = {});
    explicit TraceLog(std::string bytes, std::optional<std::int64_t> written = std::nullopt)
        : TraceLog(TraceBytes(std::move(bytes)), written) {}
    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    const TraceHeader& header() const { return header_; }
    /// The entries that are kept.
    const std::vector<TraceEntry>& entries() const { return entries_; }
    /// The number of all entries, and the times of the first and of the last one.
    std::size_t count() const { return count_; }
    const std::string& oldestTime() const { return oldestTime_; }
    const std::string& newestTime() const { return newestTime_; }
    /// Bytes of partly overwritten entries.
    std::int64_t tornBytes() const { return tornBytes_; }
    /// Those of them that stand behind the last entry that is kept.
    std::int64_t lostAtEnd() const { return lost_; }
    /// Descriptions of the damage.
    const std::vector<std::string>& problems() const { return problems_; }

    /// The place of the next entry, and the place before which all entries are overwritten.
    TracePlace end() const { return {round_, position_}; }
    TracePlace begin() const { return begin_; }
    /// About how many bytes were written between two places of this file.
    std::int64_t bytesBetween(TracePlace from, TracePlace to) const {
        return (to.round - from.round) * (size_ - kEntriesBegin) + to.offset - from.offset;
    }
    /// True if the position is after the description at the beginning of the round.
    bool isPastDescription() const { return isPastDescription_; }

    /// The maximum length of an entry.
    static constexpr std::int64_t kEntriesBegin = varnock::tracefile::kEntriesBegin;
    static constexpr std::int64_t kLongestEntry = varnock::tracefile::kLongestEntry;

  private:
    struct Piece {
        std::int64_t begin = 0;
        std::int64_t end = 0;
        std::int64_t round = 0;
        std::int64_t firstSeam =
            0;  ///< after it, an entry earlier than its predecessor is from an older round
        bool isKept = false;  ///< writers do not overwrite it
    };

    /// A line, of which the text is the beginning if it is longer than any entry.
    struct Line {
        std::string_view text;
        std::int64_t length;
        bool isWhole() const { return static_cast<std::int64_t>(text.size()) == length; }
    };
    /// An entry that is kept.
    struct Kept {
        std::string line;
        TracePlace place;
        std::size_t number;  ///< in the order of all entries
        std::int64_t lostBefore;
    };
    /// Gets an entry, valid during the call. Returns false to end the reading.
    using Sink = std::function<bool(TraceEntry& entry)>;

    std::vector<Piece> order(std::optional<std::int64_t> written);
    std::vector<Piece> orderAsItStands();
    std::int64_t behindUnfinished();
    std::string timeBefore(std::int64_t position);
    std::vector<Piece> piecesOf(std::int64_t oldest);
    std::pair<std::int64_t, bool> beginOfRound(std::int64_t described, std::int64_t end,
                                               const Piece& before);
    bool mayBeKept(std::int64_t described, const Piece& before);
    std::string firstTime(const Piece& piece);
    std::optional<std::int64_t> endOfLine(std::string_view message, std::int64_t begin,
                                          std::int64_t end);
    void skipOlder(std::vector<Piece>& pieces);
    void take(const Piece& piece, const Sink& sink);
    bool keep(TraceEntry& entry, const TraceSelection& selection);
    bool isLost(const Piece& piece, std::int64_t offset);
    Line lineAt(std::int64_t offset, std::int64_t end);

    TraceBytes bytes_;
    Overwritten overwritten_;
    std::size_t loadsSeen_ = 0;
    TracePlace lostBefore_{std::numeric_limits<std::int64_t>::min(), 0};
    TraceHeader header_;
    std::deque<Kept> kept_;
    std::vector<TraceEntry> entries_;
    TraceProcesses processes_;
    std::size_t count_ = 0;
    std::string oldestTime_;
    std::string newestTime_;
    std::vector<std::string> problems_;
    std::int64_t tornBytes_ = 0;
    std::int64_t tornSeen_ = 0;  ///< of tornBytes_, what the entries so far have accounted for
    std::int64_t lost_ = 0;
    std::size_t garbled_ = 0;
    TracePlace from_{std::numeric_limits<std::int64_t>::min(), 0};
    std::int64_t size_ = 0;  ///< of the used part
    std::int64_t position_ = 0;
    std::int64_t round_ = 0;
    TracePlace begin_;
    bool isPastDescription_ = false;
    bool isPartlySkipped_ = false;
};

}  // namespace varnockctl
