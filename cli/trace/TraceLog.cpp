#include "cli/trace/TraceLog.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "tools/PlainText.h"
#include "util/Ascii.h"

namespace varnockctl {
namespace {

using varnock::isDigit;
using namespace varnock::tracefile;

/// Longer than any entry and than the ruled line before a record boundary.
constexpr std::int64_t kLongestLine = 4096;

constexpr std::int64_t kNoSeam = std::numeric_limits<std::int64_t>::max();

std::string valueOf(std::string_view header, std::size_t field) {
    const std::size_t begin = offsetOfValue(field);
    std::string_view value =
        begin < header.size() ? header.substr(begin, kValueWidth) : std::string_view();
    value = value.substr(0, value.find_last_not_of(' ') + 1);
    return std::string(value);
}

/// A writer replaces the digits and the blank behind them, and keeps whatever follows in a damaged
/// field.
std::optional<std::int64_t> numberOf(std::string_view header, std::size_t field) {
    const std::string text = valueOf(header, field);
    const char* const end = text.data() + text.size();
    std::int64_t value = 0;
    const auto parsed = std::from_chars(text.data(), end, value);
    const bool isWhole = parsed.ec == std::errc{} && (parsed.ptr == end || *parsed.ptr == ' ');
    return isWhole && value >= 0 ? std::optional(value) : std::nullopt;
}

constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// The month that a time of at least three characters begins with, or the end. Characters are
/// compared here, because calls that compare texts would take a fifth of the time for an entry.
const std::string_view* monthOf(std::string_view time) {
    return std::find_if(kMonths.begin(), kMonths.end(), [&](std::string_view name) {
        return name[0] == time[0] && name[1] == time[1] && name[2] == time[2];
    });
}

bool isThreadDigit(char c) {
    return isDigit(c) || (c >= 'A' && c <= 'F');
}

bool isTime(std::string_view text) {
    if (text == kNoTime) {
        return true;
    }
    constexpr std::string_view form = "... dd dd:dd:dd";
    for (std::size_t i = 3; i < kTimeLength; ++i) {
        const bool fits =
            form[i] == 'd' ? isDigit(text[i]) || (i == 4 && text[i] == ' ') : text[i] == form[i];
        if (!fits) {
            return false;
        }
    }
    return monthOf(text) != kMonths.end();
}

/// Seconds since the beginning of the year, with months of 31 days; -1 if there is no time.
std::int64_t secondsOf(std::string_view time) {
    const auto* const month = monthOf(time);
    if (month == kMonths.end()) {
        return -1;
    }
    const auto number = [&](std::size_t at) {
        return (time[at] == ' ' ? 0 : time[at] - '0') * 10 + (time[at + 1] - '0');
    };
    const std::int64_t days = (month - kMonths.begin()) * 31 + number(4);
    return ((days * 24 + number(7)) * 60 + number(10)) * 60 + number(13);
}

/// Times have no year: a time that appears more than half a year earlier is later.
bool isEarlier(std::string_view time, std::string_view than) {
    constexpr std::int64_t halfAYear = 183LL * 24 * 3600;
    const std::int64_t first = secondsOf(time);
    const std::int64_t second = secondsOf(than);
    return first >= 0 && first < second && second - first < halfAYear;
}

bool isRuled(std::string_view text) {
    return !text.empty() && text.find_first_not_of('_') == text.npos;
}

/// True for the filler entries of a new file.
bool isFiller(const TraceEntry& entry) {
    return entry.line.size() == kRecordSize - 1 && isRuled(entry.message);
}

/// An entry whose message may have several lines, with a text of its own.
class EntryInParts {
  public:
    bool isBegun() const { return isBegun_; }
    TraceEntry& entry() { return entry_; }

    void begin(const TraceEntry& entry, TracePlace place) {
        text_.assign(entry.line);
        const auto own = [&](std::string_view part) {
            return std::string_view(text_).substr(
                static_cast<std::size_t>(part.data() - entry.line.data()), part.size());
        };
        entry_ = entry;
        entry_.place = place;
        entry_.line = text_;
        entry_.time = own(entry.time);
        entry_.host = own(entry.host);
        entry_.application = own(entry.application);
        entry_.thread = own(entry.thread);
        entry_.message = own(entry.message);
        isBegun_ = true;
    }
    void append(std::string_view line) {
        text_.append(1, '\n').append(line);
        const TracePlace place = entry_.place;
        entry_ = parseTraceEntry(text_).value();
        entry_.place = place;
    }
    /// False if there was none. The entry remains valid until the next one begins.
    bool end() { return std::exchange(isBegun_, false); }

  private:
    std::string text_;
    TraceEntry entry_;
    bool isBegun_ = false;
};

}  // namespace

TraceHeader TraceHeader::parse(std::string_view bytes) {
    TraceHeader header;
    header.isLabelled = true;
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        const std::size_t begin = std::min(i * kLineLength, bytes.size());
        header.isLabelled = header.isLabelled && bytes.substr(begin).starts_with(kLabels[i]);
    }
    header.filePath = valueOf(bytes, kFilePath);
    header.firstOpen = valueOf(bytes, kFirstOpen);
    header.lastOpen = valueOf(bytes, kLastOpen);
    header.opens = numberOf(bytes, kNumberOpens);
    header.wraps = numberOf(bytes, kWrapCount);
    header.size = numberOf(bytes, kRingBufferSize);
    header.position = numberOf(bytes, kCurrentWritePosition);
    return header;
}

std::optional<TraceEntry> parseTraceEntry(std::string_view line) {
    constexpr std::string_view behindThread = kBehindThread;
    if (line.size() < kTimeLength + 2 || !isTime(line.substr(0, kTimeLength)) ||
        line[kTimeLength] != ' ') {
        return std::nullopt;
    }
    TraceEntry entry;
    entry.line = line;
    entry.time = line.substr(0, kTimeLength);
    std::string_view rest = line.substr(kTimeLength + 1);
    const std::size_t blank = rest.find(' ');
    const std::size_t bracket = rest.find('[');
    if (bracket == rest.npos || blank > bracket ||
        !rest.substr(std::min(bracket + 1 + kThreadDigits, rest.size()))
             .starts_with(behindThread)) {
        return std::nullopt;
    }
    entry.host = rest.substr(0, blank);
    entry.application = rest.substr(blank + 1, bracket - blank - 1);
    entry.thread = rest.substr(bracket + 1, kThreadDigits);
    entry.message = rest.substr(bracket + 1 + kThreadDigits + behindThread.size());
    const bool isThread = std::all_of(entry.thread.begin(), entry.thread.end(), isThreadDigit);
    return isThread ? std::optional(entry) : std::nullopt;
}

bool isGarbled(std::string_view message) {
    for (std::size_t at = varnock::plainLength(message); at < message.size();
         at += 1 + varnock::plainLength(message.substr(at + 1))) {
        const char c = message[at];
        const bool isShown =
            static_cast<unsigned char>(c) >= 0x80 || c == '\n' || c == '\t' || c == '\r';
        if (!isShown) {
            return true;
        }
    }
    for (std::size_t at = message.find(kBehindThread); at != message.npos;
         at = message.find(kBehindThread, at + 1)) {
        // "Mmm dd hh:mm:ss host application[thread" precedes it.
        const std::size_t name = message.rfind(' ', at);
        const std::size_t host =
            name != message.npos && name > 0 ? message.rfind(' ', name - 1) : message.npos;
        if (host != message.npos && host >= kTimeLength &&
            parseTraceEntry(message.substr(host - kTimeLength))) {
            return true;
        }
    }
    return false;
}

TraceLog::TraceLog(TraceBytes bytes, std::optional<std::int64_t> written,
                   const TraceSelection& selection, Overwritten overwritten)
    : bytes_(std::move(bytes)),
      overwritten_(std::move(overwritten)),
      header_(TraceHeader::parse(bytes_.view(0, TraceHeader::kLength))) {
    std::vector<Piece> pieces = order(written);
    if (selection.begin) {
        from_ = selection.begin(*this);
    }
    if (selection.skipsOlder) {
        skipOlder(pieces);
    }
    bool goesOn = true;
    const Sink kept = [&](TraceEntry& entry) {
        goesOn = keep(entry, selection);
        return goesOn;
    };
    for (auto piece = pieces.begin(); piece != pieces.end() && goesOn; ++piece) {
        take(*piece, kept);
    }
    entries_.reserve(kept_.size());
    std::int64_t lost = 0;
    for (const Kept& each : kept_) {
        TraceEntry entry = parseTraceEntry(each.line).value();
        entry.place = each.place;
        entry.process = processes_.of(each.number);
        lost += each.lostBefore;
        if (!selection.passesNamed || selection.passesNamed(entry)) {
            entry.lostBefore = std::exchange(lost, 0);
            entries_.push_back(entry);
        }
    }
    if (selection.last && entries_.size() > *selection.last) {
        entries_.erase(entries_.begin(),
                       entries_.end() - static_cast<std::ptrdiff_t>(*selection.last));
    }
    lost_ += lost + tornBytes_ - tornSeen_;
    if (garbled_ > 0) {
        problems_.push_back("entries mixed with other bytes: " + std::to_string(garbled_));
    }
    bytes_ = TraceBytes(std::string());
}

/// The place is that of an entry, so the rest of a piece begins with an entry.
void TraceLog::skipOlder(std::vector<Piece>& pieces) {
    std::erase_if(pieces, [&](Piece& piece) {
        const bool isCut = TracePlace{piece.round, piece.begin} < from_;
        isPartlySkipped_ = isPartlySkipped_ || isCut;
        const bool isOlder = TracePlace{piece.round, piece.end} <= from_;
        piece.begin = isCut && !isOlder ? from_.offset : piece.begin;
        return isOlder;
    });
}

/// False to end the reading.
bool TraceLog::keep(TraceEntry& entry, const TraceSelection& selection) {
    processes_.add(entry.message);
    newestTime_ = entry.time;
    if (count_ == 0) {
        oldestTime_ = entry.time;
    }
    lost_ += tornBytes_ - std::exchange(tornSeen_, tornBytes_);
    const std::size_t number = count_++;
    if (number == 0 && !isPartlySkipped_) {
        lost_ = 0;  // the oldest entry follows the rest of one that is mostly overwritten
    }
    if (entry.place < from_) {
        lost_ = 0;
        return true;
    }
    garbled_ += isGarbled(entry.message) ? 1U : 0U;
    const bool passes = !selection.passes || selection.passes(entry);
    if (passes && selection.each) {
        entry.lostBefore = std::exchange(lost_, 0);
        return selection.each(entry);
    }
    if (passes) {
        kept_.push_back({std::string(entry.line), entry.place, number, std::exchange(lost_, 0)});
    }
    if (selection.last && !selection.passesNamed && kept_.size() > *selection.last) {
        kept_.pop_front();
    }
    return true;
}

/// True for an offset of which the bytes read last may be newer ones.
bool TraceLog::isLost(const Piece& piece, std::int64_t offset) {
    if (overwritten_ && loadsSeen_ != bytes_.loads()) {
        loadsSeen_ = bytes_.loads();
        lostBefore_ = overwritten_();
    }
    return !piece.isKept && TracePlace{piece.round, offset} < lostBefore_;
}

TraceLog::Line TraceLog::lineAt(std::int64_t offset, std::int64_t end) {
    const std::int64_t length = bytes_.findNewline(offset, end) - offset;
    const auto shown = static_cast<std::size_t>(std::min(length, kLongestLine));
    return {bytes_.view(offset, shown), length};
}

std::vector<TraceLog::Piece> TraceLog::order(std::optional<std::int64_t> written) {
    const std::int64_t length = bytes_.size();
    if (!header_.isLabelled) {
        problems_.emplace_back("the header fields do not have their labels");
    }
    if (!header_.size || *header_.size < kEntriesBegin) {
        problems_.emplace_back("the size in the header is invalid");
    } else if (*header_.size > length) {
        problems_.emplace_back("the file is shorter than its header says");
    }
    size_ =
        std::min(header_.size && *header_.size >= kEntriesBegin ? *header_.size : length, length);
    round_ = header_.wraps.value_or(0);
    if (!header_.wraps) {
        problems_.emplace_back("the number of wraps in the header is invalid");
    }
    if (!header_.position || *header_.position < kEntriesBegin || *header_.position > size_) {
        problems_.emplace_back(
            "the position in the header is invalid: the entries are shown in file order");
        return orderAsItStands();
    }
    position_ = *header_.position;
    // Entries written during the copy are neither old nor new.
    const bool moved = written && *written != position_;
    const std::int64_t oldest =
        moved ? std::min(std::max(*written, position_) + kLongestEntry, size_) : behindUnfinished();
    begin_ = {round_ - 1, oldest};
    return piecesOf(oldest);
}

/// The end of a partial entry at the position, left by a writer that died. Its time distinguishes
/// it from an old entry at the same place.
std::int64_t TraceLog::behindUnfinished() {
    const std::string newest = timeBefore(position_);
    const Line line = lineAt(position_, size_);
    const auto entry = line.isWhole() ? parseTraceEntry(line.text) : std::nullopt;
    if (!entry || isFiller(*entry) || newest.empty() || isEarlier(entry->time, newest)) {
        return position_;
    }
    tornBytes_ += line.length + 1;
    return std::min(position_ + line.length + 1, size_);
}

/// The time of the last entry before the position, empty if there is none.
std::string TraceLog::timeBefore(std::int64_t position) {
    for (std::int64_t end = position; end > kEntriesBegin;) {
        // The line that ends before `end` begins after the newline before it.
        const std::int64_t first = std::max(end - 1 - kLongestLine, kEntriesBegin);
        const std::string_view text = bytes_.view(first, static_cast<std::size_t>(end - 1 - first));
        // memrchr() is much faster than rfind().
        const void* const found = memrchr(text.data(), '\n', text.size());
        const std::size_t newline =
            found != nullptr
                ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data())
                : text.npos;
        const std::string_view line = text.substr(newline == text.npos ? 0 : newline + 1);
        const bool isWhole = newline != text.npos || first == kEntriesBegin;
        if (const auto entry = isWhole ? parseTraceEntry(line) : std::nullopt) {
            return std::string(entry->time);
        }
        end = newline == text.npos ? first : first + static_cast<std::int64_t>(newline) + 1;
    }
    return {};
}

std::vector<TraceLog::Piece> TraceLog::orderAsItStands() {
    // A writer starts there in such a file, as in a file that is just being created.
    position_ = kEntriesBegin;
    begin_ = {round_, kEntriesBegin};
    if (size_ <= kEntriesBegin) {
        return {};
    }
    return {{kEntriesBegin, size_, round_, kNoSeam}};
}

/// The offset of the first entry of a round, given the end of its description: after a kept
/// initialisation, else at a record boundary. If the round ends before that boundary, no writer has
/// left out a gap. The second value is true if an initialisation is kept.
std::pair<std::int64_t, bool> TraceLog::beginOfRound(std::int64_t described, std::int64_t end,
                                                     const Piece& before) {
    constexpr std::int64_t kUsualInitialisation = std::int64_t{4} << 20;
    const std::int64_t usual = std::min(end, described + kUsualInitialisation);
    auto kept = round_ > 0 ? endOfLine(kEndOfInitialisation, described, usual) : std::nullopt;
    if (!kept && round_ > 0 && mayBeKept(described, before)) {
        kept = endOfLine(kEndOfInitialisation, std::max(described, usual - kLongestEntry), end);
    }
    const std::int64_t boundary = behindDescription(described);
    return {kept.value_or(boundary <= end ? boundary : described), kept.has_value()};
}

std::vector<TraceLog::Piece> TraceLog::piecesOf(std::int64_t oldest) {
    const Piece wholeRound{kEntriesBegin, position_, round_, kNoSeam};
    // A round ends where the next entry did not fit. Most writers, but not all, overwrite the rest
    // of older rounds after it with a ruled line.
    Piece before{oldest, size_, round_ - 1, round_ > 0 ? size_ - kLongestEntry : kNoSeam};
    const bool isBefore = !firstTime(before).empty();
    const auto described = endOfLine(kEndOfDescription, kEntriesBegin, position_);
    isPastDescription_ = described.has_value();
    const auto [begin, isKept] =
        described ? beginOfRound(*described, position_, before) : std::pair(position_, false);
    std::vector<Piece> pieces;
    if (described) {
        if (isKept) {
            pieces.push_back({*described, begin, round_ - 1, kNoSeam, true});
        }
        if (isBefore) {
            pieces.push_back(before);
        }
        pieces.push_back({kEntriesBegin, *described, round_, kNoSeam});
        pieces.push_back({begin, position_, round_, kNoSeam});
        return pieces;
    }
    if (!isBefore) {
        return {wholeRound};
    }
    // The description of the new round is incomplete and has partly overwritten the previous one.
    if (const auto previous = endOfLine(kEndOfDescription, oldest, size_)) {
        const auto [previousBegin, wasKept] = beginOfRound(*previous, size_, {});
        if (wasKept) {
            pieces.push_back({*previous, previousBegin, round_ - 1, kNoSeam, true});
        }
        pieces.push_back({oldest, *previous, round_ - 1, kNoSeam});
        before.begin = previousBegin;
    }
    pieces.push_back(before);
    pieces.push_back(wholeRound);
    return pieces;
}

/// The time of the first entry of a piece, empty if it has none.
std::string TraceLog::firstTime(const Piece& piece) {
    std::string time;
    const std::int64_t torn = tornBytes_;
    take(piece, [&](const TraceEntry& entry) {
        time = entry.time;
        return false;
    });
    tornBytes_ = torn;
    return time;
}

/// True unless the entries behind the description are newer than the oldest ones of the round
/// before: then they are not those of an initialisation that was kept. Else the whole round would
/// be searched before the first entry of a large file is shown.
bool TraceLog::mayBeKept(std::int64_t described, const Piece& before) {
    const std::string oldest = firstTime(before);
    const std::string first = firstTime({described, position_, round_, kNoSeam});
    return oldest.empty() || first.empty() || !isEarlier(oldest, first);
}

/// The offset after the first entry with this message.
std::optional<std::int64_t> TraceLog::endOfLine(std::string_view message, std::int64_t begin,
                                                std::int64_t end) {
    const std::string ending = kBehindThread + std::string(message) + "\n";
    constexpr auto kStep = static_cast<std::int64_t>(TraceBytes::kLongestView / 2);
    for (; begin < end; begin += kStep) {
        const auto length =
            std::min(end - begin, kStep + static_cast<std::int64_t>(ending.size()) - 1);
        const std::size_t found = bytes_.view(begin, static_cast<std::size_t>(length)).find(ending);
        if (found != std::string_view::npos) {
            return begin + static_cast<std::int64_t>(found + ending.size());
        }
    }
    return std::nullopt;
}

void TraceLog::take(const Piece& piece, const Sink& sink) {
    EntryInParts current;
    const auto isWanted = [&] { return !current.end() || sink(current.entry()); };
    for (std::int64_t offset = piece.begin; offset < piece.end;) {
        const Line line = lineAt(offset, piece.end);
        if (isLost(piece, offset)) {
            if (!isWanted()) {
                return;
            }
            const std::int64_t rest =
                lostBefore_.round == piece.round ? lostBefore_.offset : piece.end;
            tornBytes_ += std::min(rest, piece.end) - offset;
            offset = std::min(rest, piece.end);
            continue;
        }
        const std::int64_t next = offset + line.length + 1;
        const bool isWhole = next <= piece.end && line.isWhole();
        // Only the last line of the file can consist of just a newline.
        const bool isNoText =
            (line.isWhole() && isRuled(line.text)) || (line.length == 0 && next == size_);
        const auto entry = isWhole ? parseTraceEntry(line.text) : std::nullopt;
        if (entry && current.isBegun() && offset > piece.firstSeam &&
            isEarlier(entry->time, current.entry().time)) {
            break;
        }
        if (!entry && isWhole && current.isBegun() &&
            next - current.entry().place.offset <= kLongestEntry && !isNoText) {
            current.append(line.text);
        } else {
            if (!isWanted()) {
                return;
            }
            if (entry && !isFiller(*entry)) {
                current.begin(*entry, {piece.round, offset});
            }
            tornBytes_ += entry || isNoText ? 0 : std::min(next, piece.end) - offset;
        }
        offset = next;
    }
    static_cast<void>(isWanted());
}

}  // namespace varnockctl
