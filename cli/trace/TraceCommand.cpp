#include <poll.h>
#include <regex.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <utility>

#include "cli/Commands.h"
#include "cli/Interrupts.h"
#include "cli/output/Failure.h"
#include "cli/trace/TraceMerge.h"
#include "cli/trace/TraceReader.h"
#include "cli/trace/TraceTime.h"
#include "runtime/Debug.h"
#include "runtime/Registry.h"
#include "runtime/trace/TraceFileFormat.h"
#include "runtime/trace/TraceSettings.h"
#include "tools/Console.h"

namespace varnockctl {
namespace {

using Clock = std::chrono::steady_clock;

/// The polling interval of a followed file. Entries are stored without a system call, so there is
/// no notification about new ones.
constexpr std::chrono::milliseconds kLookForEntries{100};
/// The number of old entries that --follow shows first.
constexpr unsigned int kFollowedPast = 10;

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

/// Selects the entries to show.
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

/// One of the files to show.
struct Source {
    explicit Source(const std::string& path) : reader(path) {}

    std::string name() const { return reader.path().substr(reader.path().rfind('/') + 1); }
    /// The prefix of an entry that comes from one of several files.
    std::string label(std::optional<pid_t> process) const {
        char text[32];
        snprintf(text, sizeof text, "_%c %7s ", reader.path().back(),
                 process ? std::to_string(*process).c_str() : "-");
        return text;
    }

    TraceReader reader;
    TracePlace shownUpTo{std::numeric_limits<std::int64_t>::min(), 0};
};

/// A copy of each file; null if it could not be read or has not changed.
using Logs = std::vector<std::unique_ptr<TraceLog>>;

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

Json orNull(const std::optional<std::int64_t>& number) {
    return number ? Json(*number) : Json();
}

Json infoOf(const std::string& path, const TraceLog& log, JsonAllocator& allocator) {
    const TraceHeader& header = log.header();
    Json info(rapidjson::kObjectType);
    add(info, "file", path, allocator);
    add(info, "filePath", header.filePath, allocator);
    add(info, "firstOpen", header.firstOpen, allocator);
    add(info, "lastOpen", header.lastOpen, allocator);
    add(info, "opens", orNull(header.opens), allocator);
    add(info, "wraps", orNull(header.wraps), allocator);
    add(info, "size", orNull(header.size), allocator);
    add(info, "position", orNull(header.position), allocator);
    const bool isEmpty = log.count() == 0;
    add(info, "entries", Json(static_cast<std::uint64_t>(log.count())), allocator);
    add(info, "oldest", isEmpty ? Json() : text(log.oldestTime(), allocator), allocator);
    add(info, "newest", isEmpty ? Json() : text(log.newestTime(), allocator), allocator);
    add(info, "tornBytes", Json(log.tornBytes()), allocator);
    Json problems(rapidjson::kArrayType);
    for (const std::string& problem : log.problems()) {
        problems.PushBack(text(problem, allocator), allocator);
    }
    add(info, "problems", std::move(problems), allocator);
    return info;
}

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

/// The existing files; all possible files if at least one exists and they are followed; the first
/// path if none exists.
std::vector<Source> sourcesOf(const TraceOptions& trace) {
    std::vector<Source> sources;
    if (!trace.file.empty()) {
        sources.emplace_back(trace.file);
        return sources;
    }
    const std::vector<std::string> paths = traceFilePaths();
    const bool isThereAny = std::any_of(paths.begin(), paths.end(), exists);
    for (const std::string& path : paths) {
        if (exists(path) || (trace.follow && isThereAny)) {
            sources.emplace_back(path);
        }
    }
    if (sources.empty()) {
        sources.emplace_back(paths.front());
    }
    return sources;
}

/// Shows files, and the entries added to them.
class Trace {
  public:
    Trace(const Options& options, const TraceOptions& trace)
        : options_(options), trace_(trace), filter_(trace), sources_(sourcesOf(trace)) {}

    Answer info();
    Answer run();

  private:
    Logs readAll(const TraceSelection& selection);
    void tellDamage(const Source& source, const TraceLog& log);
    [[nodiscard]] bool show(const Logs& logs, std::optional<unsigned int> last, Flush flush);
    [[nodiscard]] bool print(const MergedEntry& merged, Flush flush);
    [[nodiscard]] bool showAll();
    void follow();
    [[nodiscard]] bool wait(Clock::time_point started, const Wakeup& wakeup);
    [[nodiscard]] bool showChanges();
    void findPlace(Source& source, const TraceLog& log);

    const Options& options_;
    const TraceOptions& trace_;
    const Filter filter_;
    std::vector<Source> sources_;
    bool isOneOfSeveral_ = false;  ///< an entry is shown with its file and its process
    std::size_t shown_ = 0;
    bool isDamaged_ = false;
};

/// Reads all readable files. Throws Failure if there is none.
Logs Trace::readAll(const TraceSelection& selection) {
    Logs logs(sources_.size());
    std::vector<Failure> failures;
    std::size_t count = 0;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        if (sources_.size() > 1 && !exists(sources_[i].reader.path())) {
            continue;
        }
        try {
            logs[i] = sources_[i].reader.read(selection);
            ++count;
        } catch (const Failure& failure) {
            failures.push_back(failure);
        }
    }
    if (count == 0) {
        throw failures.empty()
            ? Failure(ExitStatus::notAvailable, "the trace files have been removed")
            : failures.front();
    }
    for (const Failure& failure : failures) {
        say(failure.what());
        isDamaged_ = true;
    }
    isOneOfSeveral_ = count > 1;
    return logs;
}

Answer Trace::info() {
    const Logs logs = readAll({.passes = [](const TraceEntry&) { return false; }});
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    Json all(rapidjson::kArrayType);
    for (std::size_t i = 0; i < logs.size(); ++i) {
        if (logs[i] != nullptr) {
            Json info = infoOf(sources_[i].reader.path(), *logs[i], allocator);
            answer.table += (answer.table.empty() ? "" : "\n") + toTable(info);
            all.PushBack(info, allocator);
            isDamaged_ = isDamaged_ || !logs[i]->problems().empty();
        }
    }
    static_cast<Json&>(answer.document) = isOneOfSeveral_ ? std::move(all) : std::move(all[0]);
    answer.status = isDamaged_ ? ExitStatus::partial : ExitStatus::done;
    return answer;
}

void Trace::tellDamage(const Source& source, const TraceLog& log) {
    const std::string& path = source.reader.path();
    for (const std::string& problem : log.problems()) {
        say(std::string(path).append(": ").append(problem));
        isDamaged_ = true;
    }
    if (log.tornBytes() > 0) {
        say(path + ": left out " + std::to_string(log.tornBytes()) +
            " bytes of partly overwritten entries");
    }
}

/// False if the output has no reader any more.
bool Trace::show(const Logs& logs, std::optional<unsigned int> last, Flush flush) {
    std::vector<std::vector<MergedEntry>> wanted(logs.size());
    for (std::size_t i = 0; i < logs.size(); ++i) {
        if (logs[i] == nullptr) {
            continue;
        }
        for (const TraceEntry& entry : logs[i]->entries()) {
            wanted[i].push_back({&entry, i});
        }
        sources_[i].shownUpTo = logs[i]->end();
    }
    const std::vector<MergedEntry> merged = mergedByTime(wanted, time(nullptr));
    const std::size_t skipped = last && *last < merged.size() ? merged.size() - *last : 0;
    for (std::size_t i = skipped; i < merged.size(); ++i) {
        if (!print(merged[i], flush)) {
            return false;
        }
        ++shown_;
    }
    return true;
}

bool Trace::print(const MergedEntry& merged, Flush flush) {
    const Source& source = sources_[merged.source];
    JsonDocument document;
    Json item;
    if (options_.format != Format::table) {
        auto& allocator = document.GetAllocator();
        item = toJson(*merged.entry, allocator);
        if (isOneOfSeveral_) {
            add(item, "file", source.name(), allocator);
            const auto process = merged.entry->process;
            add(item, "process", process ? Json(*process) : Json(), allocator);
        }
    }
    const std::string line(merged.entry->line);
    return printItem(item, isOneOfSeveral_ ? source.label(merged.entry->process) + line : line,
                     options_.format, flush);
}

bool Trace::showAll() {
    const bool isUnlimited = !trace_.follow || trace_.last || !trace_.since.empty();
    const std::optional<unsigned int> last = isUnlimited ? trace_.last : kFollowedPast;
    const Logs logs = readAll(
        {.passes = [&](const TraceEntry& entry) { return filter_.passes(entry); }, .last = last});
    for (std::size_t i = 0; i < logs.size(); ++i) {
        if (logs[i] != nullptr) {
            tellDamage(sources_[i], *logs[i]);
        }
    }
    return show(logs, last, trace_.follow ? Flush::now : Flush::later);
}

Answer Trace::run() {
    const bool isRead = showAll();
    if (isRead && trace_.follow) {
        follow();
    }
    Answer answer;
    answer.streamed = true;
    answer.document.SetArray();
    const bool isFiltered =
        !trace_.grep.empty() || !trace_.exclude.empty() || !trace_.since.empty();
    if (Interrupts::happened()) {
        throw Interrupts::failure();
    }
    if (isDamaged_) {
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
        if (!showChanges()) {
            return;
        }
    }
}

/// False at the end of following.
bool Trace::wait(Clock::time_point started, const Wakeup& wakeup) {
    auto rest = kLookForEntries;
    if (trace_.timeout) {
        const auto end = started + *trace_.timeout;
        rest = std::min(rest, std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()));
    }
    if (rest.count() <= 0) {
        return false;
    }
    pollfd interrupted{wakeup.fd(), POLLIN, 0};
    poll(&interrupted, 1, static_cast<int>(rest.count()));
    return !Interrupts::happened() && !isOutputGone();
}

bool Trace::showChanges() {
    Logs logs(sources_.size());
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        Source& source = sources_[i];
        bool isFound = false;
        logs[i] = source.reader.readChanged({.begin =
                                                 [&](const TraceLog& log) {
                                                     // Once, though a file may be read again
                                                     // because it changes.
                                                     if (!std::exchange(isFound, true)) {
                                                         findPlace(source, log);
                                                     }
                                                 },
                                             .passes =
                                                 [&](const TraceEntry& entry) {
                                                     return entry.place >= source.shownUpTo &&
                                                            filter_.passes(entry);
                                                 }});
    }
    const auto files = std::count_if(sources_.begin(), sources_.end(),
                                     [](const Source& source) { return source.reader.hasRead(); });
    // All rows of CSV have the columns of the first one.
    const bool mayChange = options_.format != Format::csv || shown_ == 0;
    isOneOfSeveral_ = isOneOfSeveral_ || (files > 1 && mayChange);
    return show(logs, std::nullopt, Flush::now);
}

/// Finds the place after the entries already shown, if it is still in the file.
void Trace::findPlace(Source& source, const TraceLog& log) {
    const std::string& path = source.reader.path();
    if (source.reader.isReplaced() || log.end().round < source.shownUpTo.round) {
        say(path + ": a new file");
        source.shownUpTo = {std::numeric_limits<std::int64_t>::min(), 0};
    } else if (source.shownUpTo < log.begin()) {
        say(path + ": entries were overwritten before they could be read");
    } else if (log.end() < source.shownUpTo) {
        say(path + ": the position moved back; two processes may be writing");
        source.shownUpTo = log.end();
    }
}

}  // namespace

std::vector<std::string> traceFilePaths() {
    varnock::StoredTraceSettings stored = varnock::kNothingStored;
    try {
        char keyPath[sizeof stored.directory];
        varnock::makeTraceKeyPath(keyPath, TovQXObjectName);
        CRegistry key(keyPath, CRegistry::MLocalMachine);
        varnock::takeStoredDirectory(stored, key);
    } catch (int) {
        // The registry could not be saved. That does not matter here.
    }
    const varnock::TraceSettings settings = varnock::resolveSettings(stored);
    std::vector<std::string> paths;
    for (char letter = varnock::kFirstTraceLetter; letter <= varnock::kLastTraceLetter; ++letter) {
        char path[2 * sizeof settings.directory];
        varnock::tracefile::makePath(path, sizeof path, settings.directory, TovQXObjectName,
                                     letter);
        paths.emplace_back(path);
    }
    return paths;
}

Answer runTrace(const Options& options, const TraceOptions& trace) {
    Trace shown(options, trace);
    return trace.info ? shown.info() : shown.run();
}

}  // namespace varnockctl
