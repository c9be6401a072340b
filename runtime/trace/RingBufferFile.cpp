#include "runtime/trace/RingBufferFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>

#include "runtime/files/FileLock.h"
#include "runtime/files/FileSizeSignal.h"
#include "runtime/files/FileStream.h"
#include "runtime/process/Clock.h"
#include "runtime/trace/Digits.h"

namespace varnock {

using namespace tracefile;

namespace {

constexpr const char* kOpeningFailed = "Error %d opening %s (%d), try logging to stderr.\n";
constexpr const char* kFieldsFailed = "(0) Error %d writing %s (%d), try logging to stderr.\n";
constexpr const char* kBlanksFailed = "(1) Error %d writing %s (%d), try logging to stderr.\n";
constexpr const char* kFillingFailed = "Error %d writing %s (%d), try logging to stderr.\n";
constexpr const char* kMappingFailed =
    "Error %d mmap'ing to log file %s (%d), try logging to stderr.\n";

constexpr std::size_t kLongestPath = 259;
/// A file of this length is used even if it cannot grow to the configured size.
constexpr std::int64_t kSmallestOldFile = std::int64_t{64} * 1024;

/// The wait for a process that creates the file.
constexpr int kMakingTries = 2000;
constexpr std::chrono::milliseconds kMakingPause{1};

constexpr std::size_t kRecordLength = static_cast<std::size_t>(kRecordSize);
/// The fields and the separator line.
constexpr std::size_t kFieldsLength = (kFieldCount + 1) * kLineLength;
constexpr std::size_t kBlankLineLength = kRecordLength - kFieldsLength;
/// One more than the width of the value: a long path overwrites the bar at the end of its line.
constexpr std::size_t kLongestText = kValueWidth + 1;
constexpr std::size_t kBlockRecords = 16;

char* valueOf(char* header, Field field) {
    return header + offsetOfValue(field);
}

void putText(char* header, Field field, std::string_view text) {
    memcpy(valueOf(header, field), text.data(), std::min(text.size(), kLongestText));
}

/// 16 digits and a blank, as "%016d " prints them. REQUIRES: value is not negative.
void putNumber(char* header, Field field, std::int32_t value) {
    // Every entry calls this while readers read the file, so the number is stored with two whole
    // words.
    const auto number = static_cast<std::uint32_t>(value);
    const EightCharacters digits[] = {eightDigits(number / 100'000'000), eightDigits(number)};
    static_assert(sizeof digits == kNumberDigits);
    char* const text = valueOf(header, field);
    memcpy(text, digits, kNumberDigits);
    text[kNumberDigits] = ' ';
}

/// The number of a field; 0 if this class cannot have written it.
std::int32_t readNumber(char* header, Field field) {
    char text[kValueWidth + 1];
    memcpy(text, valueOf(header, field), kValueWidth);
    text[kValueWidth] = '\0';
    const long value = strtol(text, nullptr, 10);
    return value < 0 || value > kLargestSize ? 0 : static_cast<std::int32_t>(value);
}

std::string_view withoutNewline(const char* text) {
    const std::string_view all(text);
    return all.substr(0, all.find('\n'));
}

/// Allocates every byte of the range on the disk. A store into a hole on a full disk would end the
/// process.
[[nodiscard]] bool allocate(int file, std::int64_t begin, std::int64_t end) {
    if (begin >= end) {
        return true;
    }
    int error = 0;
    do {
        error = posix_fallocate(file, begin, end - begin);
    } while (error == EINTR);
    errno = error != 0 ? error : errno;
    return error == 0;
}

bool isHeldByOthers(int error) {
    return error == EAGAIN || error == EACCES;
}

/// False for a file that could damage another file or be cut by another user. A file with a second
/// name can be any file of the owner, and a store into a mapping behind a cut ends the process.
bool isSafe(const struct stat& status) {
    return status.st_nlink == 1 && (status.st_uid == geteuid() || status.st_uid == 0) &&
           (status.st_mode & S_IWOTH) == 0;
}

/// Opens or creates a trace file, so that it can be mapped.
class Opening {
  public:
    Opening(const char* path, std::int64_t size, const char* startTime, std::string_view filler,
            bool isAlone)
        : path_(path), size_(size), startTime_(startTime), filler_(filler), isAlone_(isAlone) {}
    ~Opening() {
        if (file_) {
            undo();
        }
    }
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;

    [[nodiscard]] bool run() {
        return acceptsArguments() && openFile() && (isNew_ ? create() : reuse());
    }
    bool fail(const char* text, int error) {
        failure_ = text;
        error_ = error;
        return false;
    }
    void describeFailure(char* text, std::size_t size) const {
        snprintf(text, size, failure_, error_, path_, static_cast<int>(size_));
    }

    int descriptor() const { return file_.get(); }
    FileDescriptor release() { return std::move(file_); }
    bool isNew() const { return isNew_; }
    /// True if another process uses a file that is wanted alone.
    bool isInUse() const { return isInUse_; }
    /// The size in use: that of the file if it could not be extended.
    std::int64_t usedSize() const { return usedSize_; }

  private:
    void undo();
    [[nodiscard]] bool acceptsArguments();
    [[nodiscard]] bool openFile();
    [[nodiscard]] bool openOnce();
    [[nodiscard]] bool lock();
    [[nodiscard]] bool lockAlone();
    void lockWithOthers();
    [[nodiscard]] bool create();
    [[nodiscard]] bool reuse();
    [[nodiscard]] bool extend();
    bool isUnfinished() const;
    void makeHeader(char (&lines)[kFieldsLength]) const;
    [[nodiscard]] bool writeHeader(const char (&lines)[kFieldsLength]);
    [[nodiscard]] bool fill(std::int64_t begin, std::int64_t end);
    void makeRecord(char* record) const;

    const char* path_;
    std::int64_t size_;
    const char* startTime_;
    std::string_view filler_;
    bool isAlone_;
    bool isInUse_ = false;
    FileDescriptor file_;
    std::int64_t usedSize_ = size_;
    std::int64_t length_ = 0;
    bool created_ = false;
    bool isNew_ = false;
    bool isShort_ = false;
    bool hasHoles_ = false;
    const char* failure_ = "";
    int error_ = 0;
};

/// Removes a half-made file. Keeps a file that another process has finished in between and may have
/// mapped.
void Opening::undo() {
    if (created_) {
        unlink(path_);
    } else if (isNew_ && isUnfinished() && ftruncate(file_.get(), 0) != 0) {
        // The file stays, and the next open rewrites it.
    }
}

/// True if the first line of the header is missing. It is written last: without it, process or
/// machine have stopped half-way, and the rest of the file is undefined.
bool Opening::isUnfinished() const {
    constexpr char kMissing[kLineLength] = {};
    char line[kLineLength];
    return pread(file_.get(), line, sizeof line, 0) == static_cast<ssize_t>(sizeof line) &&
           memcmp(line, kMissing, sizeof line) == 0;
}

bool Opening::acceptsArguments() {
    if (size_ < 1) {
        return fail(kMappingFailed, EINVAL);
    }
    // Positions have 32 bits. A weight of -1 would ask for 4 PiB.
    if (size_ > kLargestSize) {
        return fail(kOpeningFailed, EFBIG);
    }
    return strlen(path_) <= kLongestPath || fail(kOpeningFailed, ENAMETOOLONG);
}

/// Opens and locks the file. Tries again if its creator has failed and removed it.
bool Opening::openFile() {
    constexpr int kTries = 10;
    struct stat status {};
    for (int tries = 1; status.st_nlink == 0; ++tries) {
        if (!openOnce() || !lock()) {
            return false;
        }
        if (fstat(file_.get(), &status) != 0) {
            return fail(kOpeningFailed, errno);
        }
        if (status.st_nlink == 0 && tries == kTries) {
            return fail(kOpeningFailed, ENOENT);
        }
    }
    if (!isSafe(status)) {
        return fail(kOpeningFailed, EPERM);
    }
    length_ = status.st_size;
    hasHoles_ = std::int64_t{status.st_blocks} * 512 < std::min(length_, size_);
    isShort_ = length_ < kEntriesBegin;
    isNew_ = isShort_ || isUnfinished();
    created_ = created_ && isNew_;  // another process may have finished the file meanwhile
    return true;
}

bool Opening::openOnce() {
    constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
    constexpr mode_t kMode = S_IFREG | S_IRWXU;
    file_ = awayFromStandardStreams(::open(path_, kFlags | O_EXCL, kMode));
    created_ = static_cast<bool>(file_);
    if (!file_ && errno == EEXIST) {
        file_ = awayFromStandardStreams(::open(path_, kFlags, kMode));
    }
    struct stat status {};
    if (!file_ || fstat(file_.get(), &status) != 0) {
        return fail(kOpeningFailed, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return fail(kOpeningFailed, EINVAL);
    }
    return true;
}

bool Opening::lock() {
    if (isAlone_) {
        return lockAlone();
    }
    lockWithOthers();
    return true;
}

bool Opening::lockAlone() {
    if (setLock(file_.get(), F_WRLCK)) {
        return true;
    }
    const int error = errno;
    isInUse_ = isHeldByOthers(error);
    created_ = false;  // another process has the file
    return fail(kOpeningFailed, error);
}

/// Takes a write lock if possible, because the file may have to be created. Waits while another
/// process creates it, but not for ever: a stopped process must not keep others from starting.
/// After the wait, and on file systems without locks, the processes share the file without a lock.
void Opening::lockWithOthers() {
    for (int tries = 1; tries <= kMakingTries; ++tries) {
        if (setLock(file_.get(), F_WRLCK) || !isHeldByOthers(errno) ||
            setLock(file_.get(), F_RDLCK)) {
            return;
        }
        Clock::instance().sleepFor(kMakingPause);
    }
}

bool Opening::create() {
    const std::int64_t end = roundUpToRecords(size_);
    // A file without length is not cut: another process may be creating it.
    const bool isCut = !isShort_ || length_ == 0 || ftruncate(file_.get(), 0) == 0;
    if (!isCut || !allocate(file_.get(), 0, end)) {
        return fail(kFillingFailed, errno);
    }
    char lines[kFieldsLength];
    makeHeader(lines);
    return writeHeader(lines) && (fill(kEntriesBegin, end) || fail(kFillingFailed, errno)) &&
           (writeAt(file_.get(), lines, kLineLength, 0) || fail(kFieldsFailed, errno));
}

void Opening::makeHeader(char (&lines)[kFieldsLength]) const {
    memset(lines, ' ', sizeof lines);
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        char* const line = lines + i * kLineLength;
        memcpy(line, kLabels[i].data(), kLabels[i].size());
        line[kLineLength - 2] = '|';
    }
    memset(lines + kFieldCount * kLineLength, '-', kLineLength - 2);
    lines[kFieldsLength - 2] = '+';
    for (std::size_t end = kLineLength - 1; end < kFieldsLength; end += kLineLength) {
        lines[end] = '\n';
    }
    putText(lines, kFilePath, path_);
    putText(lines, kFirstOpen, withoutNewline(startTime_));
    putText(lines, kLastOpen, withoutNewline(startTime_));
    putNumber(lines, kNumberOpens, 1);
    putNumber(lines, kWrapCount, 0);
    putNumber(lines, kRingBufferSize, static_cast<std::int32_t>(size_));
    putNumber(lines, kCurrentWritePosition, 0);
}

/// Writes everything before the entries, except the first line.
bool Opening::writeHeader(const char (&lines)[kFieldsLength]) {
    char unfinished[kFieldsLength] = {};
    memcpy(unfinished + kLineLength, lines + kLineLength, sizeof lines - kLineLength);
    if (!writeAt(file_.get(), unfinished, sizeof unfinished, 0)) {
        return fail(kFieldsFailed, errno);
    }
    char blanks[kBlankLineLength];
    memset(blanks, ' ', sizeof blanks);
    blanks[kBlankLineLength - 1] = '\n';
    return writeAt(file_.get(), blanks, sizeof blanks, kFieldsLength) || fail(kBlanksFailed, errno);
}

void Opening::makeRecord(char* record) const {
    memset(record, '_', kRecordLength);
    memcpy(record, filler_.data(), std::min(filler_.size(), kRecordLength - 1));
    record[kRecordLength - 1] = '\n';
}

/// Writes filler records up to `end`, a record boundary. A partial record at `begin` has no header.
bool Opening::fill(std::int64_t begin, std::int64_t end) {
    char block[kBlockRecords * kRecordLength];
    for (std::size_t i = 0; i < kBlockRecords; ++i) {
        makeRecord(block + i * kRecordLength);
    }
    if (const std::int64_t boundary = roundUpToRecords(begin); begin < boundary) {
        const auto part = static_cast<std::size_t>(boundary - begin);
        char rest[kRecordLength];
        memset(rest, '_', part);
        rest[part - 1] = '\n';
        if (!writeAt(file_.get(), rest, part, begin)) {
            return false;
        }
        begin = boundary;
    }
    while (begin < end) {
        const auto length = static_cast<std::size_t>(
            std::min(end - begin, static_cast<std::int64_t>(sizeof block)));
        if (!writeAt(file_.get(), block, length, begin)) {
            return false;
        }
        begin += static_cast<std::int64_t>(length);
    }
    return true;
}

bool Opening::reuse() {
    if (hasHoles_ && !allocate(file_.get(), 0, std::min(length_, size_))) {
        return fail(kMappingFailed, errno);
    }
    if (length_ >= size_ || extend()) {
        return true;
    }
    const int error = errno;
    if (length_ < kSmallestOldFile || ftruncate(file_.get(), length_) != 0) {
        return fail(kMappingFailed, error);
    }
    usedSize_ = length_;
    return true;
}

/// Extends a file whose creator has died or has used a smaller size. A mapping must not reach
/// beyond the end of the file.
bool Opening::extend() {
    const std::int64_t end = roundUpToRecords(size_);
    return allocate(file_.get(), length_, end) && fill(length_, end);
}

}  // namespace

constinit RingBufferFile* RingBufferFile::leftWhenForked_ = nullptr;
constinit std::atomic<bool> RingBufferFile::isLeftForGood_ = false;

std::unique_ptr<RingBufferFile> RingBufferFile::open(const char* path, std::int64_t size,
                                                     const char* startTime, std::string_view filler,
                                                     char* failure, std::size_t failureSize) {
    return openAs(path, size, startTime, filler, nullptr, failure, failureSize);
}

std::unique_ptr<RingBufferFile> RingBufferFile::openAlone(const char* path, std::int64_t size,
                                                          const char* startTime,
                                                          std::string_view filler, bool& isInUse,
                                                          char* failure, std::size_t failureSize) {
    return openAs(path, size, startTime, filler, &isInUse, failure, failureSize);
}

std::unique_ptr<RingBufferFile> RingBufferFile::openAs(const char* path, std::int64_t size,
                                                       const char* startTime,
                                                       std::string_view filler, bool* isInUse,
                                                       char* failure, std::size_t failureSize) {
    const FileSizeSignal limited;
    Opening opening(path, size, startTime, filler, isInUse != nullptr);
    std::unique_ptr<RingBufferFile> file(new (std::nothrow) RingBufferFile);
    const bool mapped =
        file == nullptr ? opening.fail(kMappingFailed, ENOMEM)
                        : opening.run() && (file->map(opening.descriptor(), opening.usedSize()) ||
                                            opening.fail(kMappingFailed, errno));
    if (isInUse != nullptr) {
        *isInUse = opening.isInUse();
    }
    if (!mapped) {
        opening.describeFailure(failure, failureSize);
        return nullptr;
    }
    file->takeOver(opening.isNew(), startTime);
    file->file_ = opening.release();
    // The file is ready: the read lock lets waiting processes in. Without locks there is none to
    // change.
    static_cast<void>(setLock(file->file_.get(), F_RDLCK));
    return file;
}

RingBufferFile::~RingBufferFile() {
    for (RingBufferFile** link = &leftWhenForked_; *link != nullptr; link = &(*link)->nextLeft_) {
        if (*link == this) {
            *link = nextLeft_;
            break;
        }
    }
    if (mapping_ != nullptr) {
        munmap(mapping_, mappedLength_);
    }
}

void RingBufferFile::leaveWhenForked() {
    nextLeft_ = std::exchange(leftWhenForked_, this);
}

void RingBufferFile::leaveToParent() {
    while (leftWhenForked_ != nullptr) {
        std::exchange(leftWhenForked_, leftWhenForked_->nextLeft_)->leave();
    }
}

void RingBufferFile::leave() {
    munmap(std::exchange(mapping_, nullptr), mappedLength_);
    // The host may have closed the descriptor, and its number may refer to another file.
    struct stat status {};
    if (fstat(file_.get(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
        file_.reset();
    } else {
        file_.release();
    }
}

bool RingBufferFile::map(int descriptor, std::int64_t size) {
    // The mapping holds the header even if the size is too small for an entry.
    const auto length = static_cast<std::size_t>(std::max(size, kEntriesBegin));
    void* address = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (address == MAP_FAILED) {
        return false;
    }
    struct stat status {};
    fstat(descriptor, &status);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    mapping_ = static_cast<char*>(address);
    mappedLength_ = length;
    size_ = size;
    position_ = kEntriesBegin;
    return true;
}

/// Counts the open in the header. Checks all values of an existing file.
void RingBufferFile::takeOver(bool isNew, const char* startTime) {
    if (isNew) {
        opens_ = 1;
        return;
    }
    putText(mapping_, kLastOpen, withoutNewline(startTime));
    opens_ = readNumber(mapping_, kNumberOpens);
    opens_ = opens_ == kLargestSize ? 1 : opens_ + 1;
    putNumber(mapping_, kNumberOpens, opens_);
    wraps_ = readNumber(mapping_, kWrapCount);
    if (readNumber(mapping_, kRingBufferSize) != size_) {
        putNumber(mapping_, kRingBufferSize, static_cast<std::int32_t>(size_));
    }
    const std::int64_t position = readNumber(mapping_, kCurrentWritePosition);
    resumes_ = position >= kEntriesBegin && position <= size_;
    position_ = resumes_ ? position : kEntriesBegin;
}

void RingBufferFile::append(const char* entry, std::size_t length) {
    memcpy(mapping_ + position_, entry, length);
    // The entry is stored before the position, so that a reader finds only whole entries before the
    // position. The processor keeps the order of stores, and the fence makes the compiler keep it.
    std::atomic_signal_fence(std::memory_order_release);
    position_ += toSigned(length);
    putNumber(mapping_, kCurrentWritePosition, static_cast<std::int32_t>(position_));
}

void RingBufferFile::beginWrap() {
    wrapping_ = true;
    ruleOffRound();
    wraps_ = wraps_ == kLargestSize ? 0 : wraps_ + 1;
    position_ = kEntriesBegin;
    // A reader that finds the new round with the old position would take the previous round for the
    // new one. So both are stored together, before the first entry.
    putNumber(mapping_, kWrapCount, wraps_);
    putNumber(mapping_, kCurrentWritePosition, static_cast<std::int32_t>(position_));
}

/// Overwrites the rest of older rounds behind the last entry, which a reader could take for newer
/// entries.
void RingBufferFile::ruleOffRound() {
    if (position_ < size_) {
        memset(mapping_ + position_, '_', static_cast<std::size_t>(size_ - position_));
        mapping_[size_ - 1] = '\n';
    }
}

void RingBufferFile::endWrap() {
    if (restart_ >= 1) {
        position_ = restart_;
    } else {
        skipGap();
    }
    wrapping_ = false;
}

}  // namespace varnock
