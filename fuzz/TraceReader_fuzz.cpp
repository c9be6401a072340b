#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "cli/output/Failure.h"
#include "cli/trace/TraceLog.h"
#include "cli/trace/TraceReader.h"
#include "fuzz/FuzzedTraceFile.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/PrivateFile.h"

// Reads any bytes as a trace file: from a copy, through a window, from a file, and with a limit.
// All give the same entries.
//
// Input: the position after the copy as a line, empty for none; then the file, see traceFileIn().

namespace {

using varnock::fuzz::Input;
using varnock::fuzz::PrivateFile;
using varnock::fuzz::require;
using varnockctl::TraceBytes;
using varnockctl::TraceEntry;
using varnockctl::TraceLog;
using varnockctl::TraceSelection;

/// Of the lines that the reader takes for entries.
constexpr std::size_t kLongestLine = 4096;

using Position = std::optional<std::int64_t>;

Position positionIn(Input& input) {
    const std::string line = input.line();
    char* end = nullptr;
    const long long position = std::strtoll(line.c_str(), &end, 10);
    return end == line.c_str() ? Position() : Position(position);
}

bool isSame(const TraceEntry& one, const TraceEntry& other) {
    return one.place == other.place && one.line == other.line && one.time == other.time &&
           one.host == other.host && one.application == other.application &&
           one.thread == other.thread && one.message == other.message &&
           one.process == other.process;
}

void requireSame(const TraceLog& one, const TraceLog& other) {
    require(one.count() == other.count(), "the number of entries");
    require(std::equal(one.entries().begin(), one.entries().end(), other.entries().begin(),
                       other.entries().end(), isSame),
            "the entries");
    require(one.tornBytes() == other.tornBytes(), "the torn bytes");
    require(one.problems() == other.problems(), "the problems");
    require(one.oldestTime() == other.oldestTime() && one.newestTime() == other.newestTime(),
            "the times");
    require(one.begin() == other.begin() && one.end() == other.end(), "the places");
    require(one.isPastDescription() == other.isPastDescription(), "the description");
}

/// The rules for the entries of any log.
void checkEntries(const TraceLog& log) {
    require(log.count() == log.entries().size(), "not all entries are kept");
    for (const TraceEntry& entry : log.entries()) {
        require(entry.line.size() <= kLongestLine, "an entry that is too long");
        const auto again = varnockctl::parseTraceEntry(entry.line);
        require(again && again->message == entry.message && again->time == entry.time,
                "an entry that is none");
    }
}

void checkWindow(const std::string& file, Position written, const TraceLog& whole) {
    const auto read = [&file](std::int64_t offset, char* to, std::size_t length) {
        const std::string_view rest =
            std::string_view(file).substr(static_cast<std::size_t>(offset), length);
        std::memcpy(to, rest.data(), rest.size());
        return rest.size();
    };
    const TraceLog window(TraceBytes(read, static_cast<std::int64_t>(file.size())), written);
    requireSame(window, whole);
}

void checkLast(const std::string& file, Position written, const TraceLog& whole) {
    constexpr std::size_t kLast = 3;
    TraceSelection selection;
    selection.last = kLast;
    const TraceLog newest(TraceBytes(file), written, selection);
    require(newest.count() == whole.count(), "the number with a limit");
    const std::size_t kept = std::min(kLast, whole.entries().size());
    require(std::equal(newest.entries().begin(), newest.entries().end(),
                       whole.entries().end() - static_cast<std::ptrdiff_t>(kept),
                       whole.entries().end(), isSame),
            "the newest entries");
}

/// The file may be longer than its header says.
void checkFile(const std::string& file) {
    static const PrivateFile written("log.fuzz_a");
    written.write(file);
    varnockctl::TraceReader reader(written.path());
    try {
        const auto log = reader.read();
        checkEntries(*log);
        require(reader.readChanged() == nullptr, "an unchanged file has changed");
    } catch (const varnockctl::Failure&) {
        // Not a trace file.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Position written = positionIn(input);
    const std::string file = varnock::fuzz::traceFileIn(input);
    const TraceLog whole(file, written);
    checkEntries(whole);
    checkWindow(file, written, whole);
    checkLast(file, written, whole);
    checkFile(file);
    return 0;
}
