#include <poll.h>
#include <regex.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <utility>

#include "cli/Commands.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/Interrupts.h"
#include "cli/Printable.h"
#include "cli/TraceReader.h"
#include "cli/TraceTime.h"
#include "runtime/Debug.h"
#include "runtime/Registry.h"

namespace varnockctl {
namespace {

using Clock = std::chrono::steady_clock;

// How often a file that is followed is looked at. Entries are stored without a system call, so
// nothing tells that there are new ones.
constexpr std::chrono::milliseconds lookAgain{100};
// What a person who follows the file sees of the past.
constexpr unsigned int followedPast = 10;

void say(const std::string& text) {
    varnock::console::say("varnockctl: " + text);
}

/// An extended regular expression.
class Pattern {
  public:
    /// Throws Failure (usage).
    Pattern(const std::string& text, const char* option) {
        const int error = regcomp(&expression_, text.c_str(), REG_EXTENDED | REG_NOSUB);
        if (error != 0) {
            char reason[200];
            regerror(error, &expression_, reason, sizeof reason);
            throw Failure(ExitStatus::usage, std::string(option) + ": \"" + text + "\": " + reason);
        }
    }
    ~Pattern() { regfree(&expression_); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    bool matches(std::string_view text) const {
        regmatch_t range{};
        range.rm_eo = static_cast<regoff_t>(text.size());
        return regexec(&expression_, text.data(), 1, &range, REG_STARTEND) == 0;
    }

  private:
    regex_t expression_{};
};

/// Which entries are wanted.
class Filter {
  public:
    explicit Filter(const TraceOptions& trace) : now_(time(nullptr)) {
        for (const std::string& text : trace.grep) {
            wanted_.emplace_back(text, "--grep");
        }
        for (const std::string& text : trace.exclude) {
            unwanted_.emplace_back(text, "--exclude");
        }
        if (!trace.since.empty()) {
            since_ = parseMoment(trace.since, now_);
        }
    }

    bool passes(const TraceEntry& entry) const {
        const auto matches = [&](const Pattern& pattern) { return pattern.matches(entry.message); };
        return isRecent(entry) &&
               (wanted_.empty() || std::any_of(wanted_.begin(), wanted_.end(), matches)) &&
               std::none_of(unwanted_.begin(), unwanted_.end(), matches);
    }

  private:
    bool isRecent(const TraceEntry& entry) const {
        if (!since_) {
            return true;
        }
        const auto moment = traceTime(entry.time, time(nullptr));
        return moment && *moment >= *since_;
    }

    time_t now_;
    std::optional<time_t> since_;
    std::deque<Pattern> wanted_;
    std::deque<Pattern> unwanted_;
};

Json toJson(const TraceEntry& entry, JsonAllocator& allocator) {
    const auto moment = traceTime(entry.time, time(nullptr));
    Json item(rapidjson::kObjectType);
    add(item, "time", moment ? text(isoTime(*moment), allocator) : Json(), allocator);
    add(item, "host", entry.host, allocator);
    add(item, "application", entry.application, allocator);
    add(item, "thread", entry.thread, allocator);
    add(item, "message", entry.message, allocator);
    return item;
}

/// Shows a file, and what is added to it.
class Trace {
  public:
    Trace(const Options& options, const TraceOptions& trace)
        : options_(options),
          trace_(trace),
          filter_(trace),
          reader_(trace.file.empty() ? traceFilePath() : trace.file) {}

    Answer info();
    Answer run();

  private:
    bool show(const TraceLog& log, TracePlace from, std::optional<unsigned int> last, Flush flush);
    void follow();
    bool wait(Clock::time_point started, const Wakeup& wakeup);
    bool showNew(const TraceLog& log);

    const Options& options_;
    const TraceOptions& trace_;
    const Filter filter_;
    TraceReader reader_;
    TracePlace shownUpTo_;
    std::size_t shown_ = 0;
    bool isDamaged_ = false;
};

Json orNull(const std::optional<std::int64_t>& number) {
    return number ? Json(*number) : Json();
}

Answer Trace::info() {
    const auto log = reader_.read();
    const TraceHeader& header = log->header();
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    Json& document = answer.document.SetObject();
    add(document, "file", reader_.path(), allocator);
    add(document, "filePath", header.filePath, allocator);
    add(document, "firstOpen", header.firstOpen, allocator);
    add(document, "lastOpen", header.lastOpen, allocator);
    add(document, "opens", orNull(header.opens), allocator);
    add(document, "wraps", orNull(header.wraps), allocator);
    add(document, "size", orNull(header.size), allocator);
    add(document, "position", orNull(header.position), allocator);
    const auto& entries = log->entries();
    add(document, "entries", Json(static_cast<std::uint64_t>(entries.size())), allocator);
    add(document, "oldest", entries.empty() ? Json() : text(entries.front().time, allocator),
        allocator);
    add(document, "newest", entries.empty() ? Json() : text(entries.back().time, allocator),
        allocator);
    add(document, "tornBytes", Json(log->tornBytes()), allocator);
    Json problems(rapidjson::kArrayType);
    for (const std::string& problem : log->problems()) {
        problems.PushBack(text(problem, allocator), allocator);
    }
    answer.status = problems.Empty() ? ExitStatus::done : ExitStatus::partial;
    add(document, "problems", std::move(problems), allocator);
    return answer;
}

// False when nobody reads what is printed any more.
bool Trace::show(const TraceLog& log, TracePlace from, std::optional<unsigned int> last,
                 Flush flush) {
    std::vector<const TraceEntry*> wanted;
    for (const TraceEntry& entry : log.entries()) {
        if (entry.place >= from && filter_.passes(entry)) {
            wanted.push_back(&entry);
        }
    }
    const std::size_t skipped = last && *last < wanted.size() ? wanted.size() - *last : 0;
    for (std::size_t i = skipped; i < wanted.size(); ++i) {
        JsonDocument document;
        Json item;
        if (options_.format != Format::table) {
            item = toJson(*wanted[i], document.GetAllocator());
        }
        if (!printItem(item, printable(wanted[i]->line), options_.format, flush)) {
            return false;
        }
        ++shown_;
    }
    shownUpTo_ = log.end();
    return true;
}

Answer Trace::run() {
    const auto log = reader_.read();
    for (const std::string& problem : log->problems()) {
        say(reader_.path() + ": " + problem);
    }
    if (log->tornBytes() > 0) {
        say(reader_.path() + ": left out " + std::to_string(log->tornBytes()) +
            " bytes of entries that are overwritten in part");
    }
    isDamaged_ = !log->problems().empty();
    const bool isUnlimited = !trace_.follow || trace_.last || !trace_.since.empty();
    const bool isRead =
        show(*log, {std::numeric_limits<std::int64_t>::min(), 0},
             isUnlimited ? trace_.last : followedPast, trace_.follow ? Flush::now : Flush::later);
    if (isRead && trace_.follow) {
        follow();
    }
    Answer answer;
    answer.streamed = true;
    answer.document.SetArray();
    const bool isFiltered =
        !trace_.grep.empty() || !trace_.exclude.empty() || !trace_.since.empty();
    if (Interrupts::happened()) {
        answer.status = ExitStatus::interrupted;
    } else if (isDamaged_ || !isRead) {
        answer.status = ExitStatus::partial;
    } else if (shown_ == 0 && isFiltered) {
        answer.status = ExitStatus::notAvailable;
    }
    return answer;
}

void Trace::follow() {
    const Wakeup wakeup;
    const Interrupts interrupts(wakeup);
    const auto started = Clock::now();
    while (wait(started, wakeup)) {
        const auto log = reader_.readChanged();
        if (log != nullptr && !showNew(*log)) {
            return;
        }
    }
}

// False when following is over.
bool Trace::wait(Clock::time_point started, const Wakeup& wakeup) {
    auto rest = lookAgain;
    if (trace_.timeout) {
        const auto end = started + *trace_.timeout;
        rest = std::min(rest, std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()));
    }
    if (rest.count() <= 0) {
        return false;
    }
    pollfd interrupted{wakeup.fd(), POLLIN, 0};
    poll(&interrupted, 1, static_cast<int>(rest.count()));
    return !Interrupts::happened();
}

bool Trace::showNew(const TraceLog& log) {
    if (reader_.isReplaced() || log.end().round < shownUpTo_.round) {
        say(reader_.path() + ": a new file");
        shownUpTo_ = {std::numeric_limits<std::int64_t>::min(), 0};
    } else if (shownUpTo_ < log.begin()) {
        say(reader_.path() + ": entries were overwritten before they could be read");
    } else if (log.end() < shownUpTo_) {
        say(reader_.path() + ": the position went back; two processes may be writing");
        shownUpTo_ = log.end();
    }
    return show(log, shownUpTo_, std::nullopt, Flush::now);
}

}  // namespace

std::string traceFilePath() {
    char stored[260] = "";
    try {
        CRegistry key((std::string(REGPATH_DBGTRACE) + "\\" + TovQXObjectName).c_str(),
                      CRegistry::MLocalMachine);
        if (key.QueryValue(stored, REGVAL_RINGBUF_DIR, sizeof stored) != 0) {
            stored[0] = '\0';
        }
    } catch (int) {
        // The registry could not be saved, which does not matter here.
    }
    char directory[260];
    Debug.SetConfiguredValue("QX_LOG_RINGBUF_DIR", stored, "/var/log/qxmond", directory,
                             sizeof directory);
    return std::string(directory) + "/log." + TovQXObjectName + "_a";
}

Answer runTrace(const Options& options, const TraceOptions& trace) {
    Trace shown(options, trace);
    return trace.info ? shown.info() : shown.run();
}

}  // namespace varnockctl
