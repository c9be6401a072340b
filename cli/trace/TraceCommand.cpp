#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <utility>

#include "cli/Commands.h"
#include "cli/Interrupts.h"
#include "cli/output/Failure.h"
#include "cli/output/Sanitizing.h"
#include "cli/output/Table.h"
#include "cli/trace/TraceCalls.h"
#include "cli/trace/TraceFilter.h"
#include "cli/trace/TraceItems.h"
#include "cli/trace/TraceMerge.h"
#include "cli/trace/TraceReader.h"
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
/// The same if the last look came too late: looking more often would slow such a writer down, and
/// most of its entries would be lost nevertheless.
constexpr std::chrono::milliseconds kLookAfterLoss{1000};
/// The number of old entries that --follow shows first.
constexpr unsigned int kFollowedPast = 10;

constexpr char kTorn[] = "partly overwritten";
constexpr char kOverwritten[] = "overwritten before they could be read";

constexpr TracePlace kBeforeAll{std::numeric_limits<std::int64_t>::min(), 0};

/// One of the files to show.
struct Source {
    explicit Source(const std::string& path) : reader(path) {}

    std::string name() const { return reader.path().substr(reader.path().rfind('/') + 1); }
    /// The prefix of an entry that comes from one of several files: of the library's files the
    /// letter, else the name.
    std::string label(std::optional<pid_t> process, bool isNamed) const {
        const std::string& path = reader.path();
        char number[32];
        snprintf(number, sizeof number, " %7s ", process ? std::to_string(*process).c_str() : "-");
        return (isNamed ? name() : std::string{'_', path.back()}) + number;
    }

    TraceReader reader;
    TracePlace shownUpTo = kBeforeAll;
    TraceDescription description;
};

void addOrigin(Json& item, const Source& source, std::optional<pid_t> process,
               JsonAllocator& allocator) {
    add(item, "file", source.name(), allocator);
    add(item, "process", process ? Json(*process) : Json(), allocator);
}

/// A copy of each file; null if it could not be read or has not changed.
using Logs = std::vector<std::unique_ptr<TraceLog>>;

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

bool isLeftOut(const std::string& path, const std::vector<std::string>& unwanted) {
    return std::any_of(unwanted.begin(), unwanted.end(), [&](const std::string& text) {
        return path == text || path.substr(path.rfind('/') + 1) == text ||
               path.ends_with("_" + text);
    });
}

/// The existing files; all possible files if they are followed; the first path if none exists.
/// Throws Failure (usage) if all are left out.
std::vector<Source> sourcesOf(const TraceOptions& trace) {
    std::vector<std::string> paths = trace.files.empty() ? traceFilePaths() : trace.files;
    std::erase_if(paths, [&](const auto& path) { return isLeftOut(path, trace.notFiles); });
    if (paths.empty()) {
        throw Failure(ExitStatus::usage, "--not-file leaves out every file");
    }
    std::vector<Source> sources;
    for (const std::string& path : paths) {
        if (!trace.files.empty() || trace.follow || exists(path)) {
            sources.emplace_back(path);
        }
    }
    if (sources.empty()) {
        sources.emplace_back(paths.front());
    }
    return sources;
}

void writeFile(const std::string& path, const std::string& text) {
    const std::unique_ptr<FILE, decltype(&fclose)> file(fopen(path.c_str(), "we"), fclose);
    const bool isWritten = file != nullptr &&
                           fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
                           fflush(file.get()) == 0;
    if (!isWritten) {
        const bool isRefused = errno == EACCES || errno == EPERM || errno == EROFS;
        throw Failure(isRefused ? ExitStatus::permission : ExitStatus::notAvailable,
                      path + ": " + strerror(errno));
    }
}

/// Shows files, and the entries added to them.
class Trace {
  public:
    Trace(const Options& options, const TraceOptions& trace)
        : options_(options), trace_(trace), filter_(trace), sources_(sourcesOf(trace)) {}

    Answer info();
    Answer calls();
    Answer run();

  private:
    using SelectionFor = std::function<TraceSelection(Source& source)>;
    Logs readAll(const SelectionFor& selection);
    void tellDamage(const Source& source, const TraceLog& log);
    [[nodiscard]] bool show(const Logs& logs, std::optional<unsigned int> last, Flush flush);
    std::vector<MergedEntry> merged(const Logs& logs, std::optional<unsigned int> last);
    Logs readSelected(std::optional<unsigned int> last);
    [[nodiscard]] bool print(const MergedEntry& merged, Flush flush);
    [[nodiscard]] bool printGap(const Source& source, const TraceGap& gap, Flush flush);
    [[nodiscard]] bool printTo(const Source& source, std::optional<pid_t> process, Json item,
                               JsonAllocator& allocator, std::string line, Flush flush);
    [[nodiscard]] bool isWanted(Source& source, const TraceEntry& entry);
    [[nodiscard]] bool fulfilsCondition(const Source& source, const TraceEntry& entry);
    [[nodiscard]] bool isComplete() const { return trace_.first && shown_ >= *trace_.first; }
    TraceSelection selectionFor(Source& source);
    [[nodiscard]] bool canShowAtOnce() const;
    [[nodiscard]] bool showAtOnce();
    [[nodiscard]] bool showLossAtEnd(const Source& source, const TraceLog& log, Flush flush);
    [[nodiscard]] bool showAll();
    void follow();
    [[nodiscard]] bool wait(Clock::time_point started, const Wakeup& wakeup);
    [[nodiscard]] bool showChanges();
    TracePlace findPlace(Source& source, const TraceLog& log);

    const Options& options_;
    const TraceOptions& trace_;
    const TraceFilter filter_;
    /// The condition needs what is known after the last entry.
    const bool isJudgedLate_ = options_.selection.conditionNames("process");
    std::vector<Source> sources_;
    bool isOneOfSeveral_ = false;  ///< an entry is shown with its file and its process
    std::size_t shown_ = 0;
    bool isDamaged_ = false;
    bool hasReader_ = true;
    bool isTooLate_ = false;  ///< the last look found entries overwritten
    /// For one item at a time, so that none allocates memory.
    alignas(std::max_align_t) std::array<char, std::size_t{16} << 10> memory_;
    JsonAllocator pool_{memory_.data(), memory_.size()};
};

/// Reads all readable files. Throws Failure if there is none, unless files that appear are waited
/// for.
Logs Trace::readAll(const SelectionFor& selection) {
    Logs logs(sources_.size());
    std::vector<Failure> failures;
    std::size_t count = 0;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        const bool mayBeMissing = trace_.follow || (sources_.size() > 1 && trace_.files.empty());
        if (mayBeMissing && !exists(sources_[i].reader.path())) {
            continue;
        }
        try {
            logs[i] = sources_[i].reader.read(selection(sources_[i]));
            ++count;
        } catch (const Failure& failure) {
            if (!trace_.follow || failure.status() != ExitStatus::notAvailable) {
                failures.push_back(failure);
            }
        }
    }
    if (count == 0 && !failures.empty()) {
        throw Failure(failures.front());
    }
    if (count == 0 && !trace_.follow) {
        throw Failure(ExitStatus::notAvailable, "the trace files have been removed");
    }
    if (count == 0) {
        say(sources_.front().reader.path() + ": waiting for the file");
    }
    for (const Failure& failure : failures) {
        say(failure.what());
        isDamaged_ = true;
    }
    isOneOfSeveral_ = count > 1;
    return logs;
}

Answer Trace::info() {
    const Logs logs = readAll(
        [](Source&) { return TraceSelection{.passes = [](const TraceEntry&) { return false; }}; });
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    Json all(rapidjson::kArrayType);
    for (std::size_t i = 0; i < logs.size(); ++i) {
        if (logs[i] != nullptr) {
            Json info = infoJson(sources_[i].reader.path(), *logs[i], allocator);
            answer.table += (answer.table.empty() ? "" : "\n") + toTable(info);
            all.PushBack(info, allocator);
            isDamaged_ = isDamaged_ || !logs[i]->problems().empty();
        }
    }
    answer.shown = "files";
    answer.document.SetObject();
    add(answer.document, "files", std::move(all), allocator);
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

/// The entries that were selected, those of all files in the order of time.
std::vector<MergedEntry> Trace::merged(const Logs& logs, std::optional<unsigned int> last) {
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
    std::vector<MergedEntry> all = mergedByTime(wanted, time(nullptr));
    const std::size_t skipped = last && *last < all.size() ? all.size() - *last : 0;
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(skipped));
    return all;
}

/// False if nothing more is to be shown.
bool Trace::show(const Logs& logs, std::optional<unsigned int> last, Flush flush) {
    std::vector<MergedEntry> entries = merged(logs, last);
    if (trace_.first) {
        entries.resize(std::min(entries.size(), *trace_.first - shown_));
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        // A system call for each entry would take more time than all else.
        if (!print(entries[i], i + 1 == entries.size() ? flush : Flush::later)) {
            return false;
        }
        ++shown_;
    }
    return !isComplete();
}

bool Trace::printTo(const Source& source, std::optional<pid_t> process, Json item,
                    JsonAllocator& allocator, std::string line, Flush flush) {
    if (isOneOfSeveral_) {
        if (options_.format == Format::table) {
            line.insert(0, source.label(process, !trace_.files.empty()));
        } else {
            addOrigin(item, source, process, allocator);
        }
    }
    return printItem("entries", item, line, options_.format, flush);
}

bool Trace::printGap(const Source& source, const TraceGap& gap, Flush flush) {
    JsonDocument document;
    Json item = gapJson(gap, document.GetAllocator());
    if (options_.format == Format::csv) {
        // The columns of a table without cells for gaps do not change.
        item["message"] = text(gap.text(), document.GetAllocator());
        item.RemoveMember("gap");
    }
    return printTo(source, std::nullopt, std::move(item), document.GetAllocator(), gap.text(),
                   flush);
}

bool Trace::print(const MergedEntry& merged, Flush flush) {
    const Source& source = sources_[merged.source];
    const TraceEntry& entry = *merged.entry;
    if (options_.sanitize) {
        sanitizing::learnHost(entry.host);
    }
    if (entry.lostBefore > 0 && !printGap(source, {kTorn, entry.lostBefore}, flush)) {
        return false;
    }
    if (options_.format == Format::table) {
        return printTo(source, entry.process, Json(), pool_, std::string(entry.line), flush);
    }
    pool_.Clear();
    return printTo(source, entry.process, entryJson(entry, pool_), pool_, "", flush);
}

bool Trace::isWanted(Source& source, const TraceEntry& entry) {
    const bool isDescription = trace_.noHeader && source.description.holds(entry);
    return !isDescription && filter_.passes(entry) &&
           (isJudgedLate_ || fulfilsCondition(source, entry));
}

bool Trace::fulfilsCondition(const Source& source, const TraceEntry& entry) {
    if (!options_.selection.hasCondition()) {
        return true;
    }
    pool_.Clear();
    Json item = entryJson(entry, pool_);
    addOrigin(item, source, entry.process, pool_);
    return options_.selection.passes(item);
}

TraceSelection Trace::selectionFor(Source& source) {
    TraceSelection selection{
        .begin =
            [&](const TraceLog&) {
                source.description = {};
                return kBeforeAll;
            },
        .passes = [&](const TraceEntry& entry) { return isWanted(source, entry); }};
    if (isJudgedLate_) {
        selection.passesNamed = [&](const TraceEntry& entry) {
            return fulfilsCondition(source, entry);
        };
    }
    return selection;
}

/// Reads all files and tells what is damaged.
Logs Trace::readSelected(std::optional<unsigned int> last) {
    Logs logs = readAll([&](Source& source) {
        TraceSelection selection = selectionFor(source);
        selection.last = last;
        return selection;
    });
    for (std::size_t i = 0; i < logs.size(); ++i) {
        if (logs[i] != nullptr) {
            tellDamage(sources_[i], *logs[i]);
        }
    }
    return logs;
}

Answer Trace::calls() {
    const Logs logs = readSelected(trace_.last);
    std::vector<MergedEntry> entries = merged(logs, trace_.last);
    if (trace_.first && entries.size() > *trace_.first) {
        entries.resize(*trace_.first);
    }
    TraceCalls found;
    for (const MergedEntry& each : entries) {
        found.add(*each.entry, each.source);
    }
    if (found.calls().empty()) {
        throw Failure(ExitStatus::notAvailable,
                      "the trace shows no calls; calls are traced from level 5 on");
    }
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    answer.document.SetObject();
    if (!trace_.timeline.empty()) {
        JsonDocument timeline;
        writeFile(trace_.timeline,
                  sanitizing::text(
                      toString(timelineJson(found.calls(), timeline.GetAllocator()), false)) +
                      '\n');
        add(answer.document, "timeline", trace_.timeline, allocator);
    }
    add(answer.document, "spans", Json(static_cast<std::uint64_t>(found.calls().size())),
        allocator);
    if (trace_.stats) {
        answer.shown = "calls";
        add(answer.document, "calls", statisticsJson(found.calls(), allocator), allocator);
    }
    answer.status = isDamaged_ ? ExitStatus::partial : ExitStatus::done;
    return answer;
}

/// True if an entry can be shown before the ones behind it are known.
bool Trace::canShowAtOnce() const {
    return !trace_.follow && sources_.size() == 1 && !trace_.last && !isJudgedLate_;
}

/// Shows the entries of the only file while it is read. False if nothing more is to be shown.
bool Trace::showAtOnce() {
    Source& source = sources_.front();
    TraceSelection selection = selectionFor(source);
    selection.each = [&](const TraceEntry& entry) {
        hasReader_ = !isComplete() && print({&entry, 0}, Flush::later);
        shown_ += hasReader_ ? 1 : 0;
        return hasReader_ && !isComplete();
    };
    const std::unique_ptr<TraceLog> log = source.reader.read(selection);
    tellDamage(source, *log);
    return hasReader_ && !isComplete() && showLossAtEnd(source, *log, Flush::later);
}

bool Trace::showLossAtEnd(const Source& source, const TraceLog& log, Flush flush) {
    return log.lostAtEnd() == 0 || printGap(source, {kTorn, log.lostAtEnd()}, flush);
}

/// False if nothing more is to be shown.
bool Trace::showAll() {
    if (canShowAtOnce()) {
        return showAtOnce();
    }
    const bool isUnlimited = !trace_.follow || trace_.last || trace_.first || !trace_.since.empty();
    const std::optional<unsigned int> last = isUnlimited ? trace_.last : kFollowedPast;
    const Logs logs = readSelected(last);
    const Flush flush = trace_.follow ? Flush::now : Flush::later;
    if (!show(logs, last, flush)) {
        return false;
    }
    for (std::size_t i = 0; i < logs.size(); ++i) {
        if (logs[i] != nullptr && !trace_.follow && !showLossAtEnd(sources_[i], *logs[i], flush)) {
            return false;
        }
    }
    return true;
}

Answer Trace::run() {
    const bool isRead = showAll();
    if (isRead && trace_.follow) {
        follow();
    }
    Answer answer = listAnswer("entries");
    if (Interrupts::happened()) {
        throw Interrupts::failure();
    }
    if (isDamaged_) {
        answer.status = ExitStatus::partial;
    } else if (shown_ == 0 &&
               (filter_.selects() || trace_.noHeader || options_.selection.hasCondition())) {
        answer.status = ExitStatus::notAvailable;
        answer.problem = "no entry is selected";
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
    auto rest = std::exchange(isTooLate_, false) ? kLookAfterLoss : kLookForEntries;
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
    const auto present = std::count_if(sources_.begin(), sources_.end(), [](const Source& source) {
        return exists(source.reader.path());
    });
    // Older entries name the process of the new ones.
    const bool showsProcess = isJudgedLate_ || isOneOfSeveral_ || present > 1;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        Source& source = sources_[i];
        TraceSelection selection = selectionFor(source);
        selection.skipsOlder = !showsProcess;
        selection.begin = [&, isFound = false, place = TracePlace()](const TraceLog& log) mutable {
            source.description = {};
            // Once, though a file may be read again because it changes.
            if (!std::exchange(isFound, true)) {
                place = findPlace(source, log);
            }
            return place;
        };
        logs[i] = source.reader.readChanged(selection);
    }
    const auto files = std::count_if(sources_.begin(), sources_.end(),
                                     [](const Source& source) { return source.reader.hasRead(); });
    // All rows of CSV have the columns of the first one.
    const bool mayChange = options_.format != Format::csv || shown_ == 0;
    isOneOfSeveral_ = isOneOfSeveral_ || (files > 1 && mayChange);
    return hasReader_ && show(logs, std::nullopt, Flush::now);
}

/// The place after the entries already shown, or the first that is still in the file.
TracePlace Trace::findPlace(Source& source, const TraceLog& log) {
    const std::string& path = source.reader.path();
    TracePlace& shown = source.shownUpTo;
    if (source.reader.isReplaced() || log.end().round < shown.round) {
        say(path + ": a new file");
        shown = kBeforeAll;
    } else if (shown != kBeforeAll && shown < log.begin()) {
        say(path + ": entries were overwritten before they could be read");
        isTooLate_ = true;
        hasReader_ =
            printGap(source, {kOverwritten, log.bytesBetween(shown, log.begin())}, Flush::now);
    } else if (log.end() < shown) {
        say(path + ": the position moved back; two processes may be writing");
        shown = log.end();
    }
    return shown;
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
    if (trace.stats || !trace.timeline.empty()) {
        return shown.calls();
    }
    return trace.info ? shown.info() : shown.run();
}

}  // namespace varnockctl
