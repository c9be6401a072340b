#include "cli/trace/TraceReader.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "cli/output/Failure.h"
#include "runtime/trace/TraceFileFormat.h"

namespace varnockctl {

using namespace varnock::tracefile;

/// An open trace file.
class TraceReader::File {
  public:
    explicit File(const std::string& path)
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
        error_ = descriptor_ < 0 || fstat(descriptor_, &status_) != 0 ? errno : 0;
    }
    ~File() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int error() const { return error_; }
    bool isRegular() const { return S_ISREG(status_.st_mode); }
    unsigned long device() const { return status_.st_dev; }
    unsigned long inode() const { return status_.st_ino; }

    /// The bytes at an offset, or fewer at the end.
    std::string bytes(std::int64_t offset, std::size_t count) const {
        std::string bytes(count, '\0');
        std::size_t got = 0;
        while (got < count) {
            const std::size_t more =
                readSome(offset + static_cast<std::int64_t>(got), bytes.data() + got, count - got);
            if (more == 0) {
                break;
            }
            got += more;
        }
        bytes.resize(got);
        return bytes;
    }
    /// Reads up to `count` bytes; 0 at the end or after an error.
    std::size_t readSome(std::int64_t offset, char* to, std::size_t count) const {
        ssize_t got = -1;
        do {
            got = pread(descriptor_, to, count, offset);
        } while (got < 0 && errno == EINTR);
        return static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    /// readSome() of a file that outlives the function.
    TraceBytes::Read reading() const {
        return [this](std::int64_t offset, char* to, std::size_t count) {
            return readSome(offset, to, count);
        };
    }
    /// The used part of the file. Positions have 32 bits: a longer file whose header has no valid
    /// size is not a trace file.
    std::int64_t usedSize() const {
        constexpr std::int64_t kLongest = roundUpToRecords(kLargestSize);
        const TraceHeader header = this->header();
        const bool saysSize = header.isLabelled && header.size && *header.size >= kEntriesBegin;
        const std::int64_t length = status_.st_size;
        const std::int64_t used = saysSize ? std::min(*header.size, length) : length;
        return used <= kLongest ? used : std::min(kEntriesBegin, length);
    }
    /// True before the writer of a new file has put its header there.
    bool isUnfinished() const {
        const std::string first = bytes(0, 1);
        return first.empty() || first[0] == '\0';
    }
    TraceHeader header() const { return TraceHeader::parse(bytes(0, TraceHeader::kLength)); }

  private:
    int descriptor_;
    int error_;
    struct stat status_ {};
};

namespace {

constexpr int kAttempts = 20;

/// Files up to this size are copied before they are read.
constexpr std::int64_t kLargestCopy = std::int64_t{16} << 20;

/// A newline precedes every position, unless the position was read while it changed.
[[nodiscard]] bool isPlausible(TraceBytes& bytes, const TraceHeader& header) {
    const std::int64_t position = header.position.value_or(0);
    return position <= kEntriesBegin || position > bytes.size() ||
           bytes.view(position - 1, 1) == "\n";
}

/// A writer may wrap around the whole file while it is read.
[[nodiscard]] bool isSameRound(const TraceHeader& before, const TraceHeader& after) {
    return before.wraps == after.wraps && before.position <= after.position;
}

}  // namespace

/// The contents from a copy, or from a file that is too large for one.
std::unique_ptr<TraceLog> TraceReader::readStable(const File& file,
                                                  const TraceSelection& selection) {
    std::int64_t margin = 0;
    for (int attempt = 1;; ++attempt) {
        const bool isLast = attempt == kAttempts;
        const std::int64_t used = file.usedSize();
        std::unique_ptr<TraceLog> log;
        if (used <= kLargestCopy) {
            log = readCopied(file, used, selection, isLast);
        } else if (selection.each) {
            log = readOnce(file, used, selection, isLast);
        } else {
            log = readAgain(file, used, selection, margin, isLast);
        }
        if (log != nullptr) {
            last_ = log->header();
            return log;
        }
    }
}

/// Null if the writer has wrapped while the file was copied, unless this is the last attempt.
std::unique_ptr<TraceLog> TraceReader::readCopied(const File& file, std::int64_t used,
                                                  const TraceSelection& selection, bool isLast) {
    TraceBytes bytes(file.bytes(0, static_cast<std::size_t>(used)));
    const TraceHeader before = TraceHeader::parse(bytes.view(0, TraceHeader::kLength));
    const TraceHeader after = file.header();
    const bool isWhole = isPlausible(bytes, before) && isSameRound(before, after);
    return isWhole || isLast
               ? std::make_unique<TraceLog>(std::move(bytes), after.position, selection)
               : nullptr;
}

/// What the writer overwrites meanwhile is lost.
std::unique_ptr<TraceLog> TraceReader::readOnce(const File& file, std::int64_t used,
                                                const TraceSelection& selection, bool isLast) {
    TraceBytes bytes(file.reading(), used);
    const TraceHeader before = TraceHeader::parse(bytes.view(0, TraceHeader::kLength));
    if (!isPlausible(bytes, before) && !isLast) {
        return nullptr;
    }
    const auto overwritten = [&file, before] {
        const TraceHeader now = file.header();
        // An entry is stored before the position shows it.
        return now.differsFrom(before)
                   ? TracePlace{now.wraps.value_or(0) - 1,
                                now.position.value_or(0) + TraceLog::kLongestEntry}
                   : TracePlace{std::numeric_limits<std::int64_t>::min(), 0};
    };
    return std::make_unique<TraceLog>(std::move(bytes), std::nullopt, selection, overwritten);
}

/// Null if the writer has advanced by more than the margin while the file was read, which then
/// becomes larger, unless this is the last attempt.
std::unique_ptr<TraceLog> TraceReader::readAgain(const File& file, std::int64_t used,
                                                 const TraceSelection& selection,
                                                 std::int64_t& margin, bool isLast) {
    constexpr std::int64_t kLeastMargin = std::int64_t{1} << 20;
    TraceBytes bytes(file.reading(), used);
    const TraceHeader before = TraceHeader::parse(bytes.view(0, TraceHeader::kLength));
    const bool plausible = isPlausible(bytes, before);
    const std::int64_t position = before.position.value_or(0);
    auto log = std::make_unique<TraceLog>(
        std::move(bytes), margin > 0 ? std::optional(position + margin) : std::nullopt, selection);
    const TraceHeader after = file.header();
    const std::int64_t advance = after.position.value_or(0) - position;
    if ((plausible && isSameRound(before, after) && advance <= margin) || isLast) {
        return log;
    }
    margin = std::max(kLeastMargin, 2 * advance);
    return nullptr;
}

std::unique_ptr<TraceLog> TraceReader::read(const TraceSelection& selection) {
    const File file(path_);
    if (file.error() != 0) {
        const bool refused = file.error() == EACCES || file.error() == EPERM;
        throw Failure(refused ? ExitStatus::permission : ExitStatus::notAvailable,
                      path_ + ": " + strerror(file.error()));
    }
    if (!file.isRegular()) {
        throw Failure(ExitStatus::unintelligible, path_ + ": not a regular file");
    }
    isReplaced_ = inode_ != 0 && (inode_ != file.inode() || device_ != file.device());
    device_ = file.device();
    inode_ = file.inode();
    auto log = readStable(file, selection);
    if (!log->header().isLabelled && log->count() == 0) {
        if (file.isUnfinished()) {
            throw Failure(ExitStatus::notAvailable,
                          path_ + ": is being made, or its writer died while making it");
        }
        throw Failure(ExitStatus::unintelligible, path_ + ": not a trace file");
    }
    return log;
}

std::unique_ptr<TraceLog> TraceReader::readChanged(const TraceSelection& selection) {
    const File file(path_);
    if (file.error() != 0 || !file.isRegular()) {
        return nullptr;
    }
    if (file.isUnfinished()) {
        return nullptr;
    }
    isReplaced_ = inode_ != file.inode() || device_ != file.device();
    if (!isReplaced_ && !file.header().differsFrom(last_)) {
        return nullptr;
    }
    device_ = file.device();
    inode_ = file.inode();
    for (int attempt = 1;; ++attempt) {
        if (auto log = readOnce(file, file.usedSize(), selection, attempt == kAttempts)) {
            last_ = log->header();
            return log;
        }
    }
}

}  // namespace varnockctl
