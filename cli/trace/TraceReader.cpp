#include "cli/trace/TraceReader.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

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

    /// The first `count` bytes, or fewer if the file is shorter.
    std::string bytes(std::size_t count) const {
        std::string bytes(count, '\0');
        std::size_t got = 0;
        while (got < count) {
            const ssize_t more =
                pread(descriptor_, bytes.data() + got, count - got, static_cast<off_t>(got));
            if (more < 0 && errno == EINTR) {
                continue;
            }
            if (more <= 0) {
                break;
            }
            got += static_cast<std::size_t>(more);
        }
        bytes.resize(got);
        return bytes;
    }
    /// The used part of the file. Positions have 32 bits: a longer file whose header has no valid
    /// size is not a trace file.
    std::string all() const {
        constexpr std::int64_t longest = roundUpToRecords(kLargestSize);
        const TraceHeader header = this->header();
        const bool saysSize = header.isLabelled && header.size && *header.size >= kEntriesBegin;
        const std::int64_t length = status_.st_size;
        const std::int64_t used = saysSize ? std::min(*header.size, length) : length;
        return bytes(static_cast<std::size_t>(used <= longest ? used : kEntriesBegin));
    }
    TraceHeader header() const { return TraceHeader::parse(bytes(TraceHeader::kLength)); }

  private:
    int descriptor_;
    int error_;
    struct stat status_ {};
};

namespace {

/// A newline precedes every position, unless the position was read while it changed.
bool isPlausible(const std::string& bytes, const TraceHeader& header) {
    const std::int64_t position = header.position.value_or(0);
    const auto size = static_cast<std::int64_t>(bytes.size());
    return position <= kEntriesBegin || position > size ||
           bytes[static_cast<std::size_t>(position) - 1] == '\n';
}

}  // namespace

std::unique_ptr<TraceLog> TraceReader::copy(const File& file) {
    // A writer may wrap around the whole file during the copy; then it is copied again.
    constexpr int attempts = 20;
    for (int attempt = 1;; ++attempt) {
        std::string bytes = file.all();
        const TraceHeader before = TraceHeader::parse(bytes);
        const TraceHeader after = file.header();
        const bool isWhole = before.wraps == after.wraps && before.position <= after.position &&
                             isPlausible(bytes, before);
        if (isWhole || attempt == attempts) {
            last_ = before;
            return std::make_unique<TraceLog>(std::move(bytes), after.position);
        }
    }
}

std::unique_ptr<TraceLog> TraceReader::read() {
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
    auto log = copy(file);
    if (!log->header().isLabelled && log->entries().empty()) {
        throw Failure(ExitStatus::unintelligible, path_ + ": not a trace file");
    }
    return log;
}

std::unique_ptr<TraceLog> TraceReader::readChanged() {
    const File file(path_);
    if (file.error() != 0 || !file.isRegular()) {
        return nullptr;
    }
    isReplaced_ = inode_ != file.inode() || device_ != file.device();
    if (!isReplaced_ && !file.header().differsFrom(last_)) {
        return nullptr;
    }
    device_ = file.device();
    inode_ = file.inode();
    return copy(file);
}

}  // namespace varnockctl
