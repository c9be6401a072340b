#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "runtime/files/FileDescriptor.h"
#include "runtime/trace/TraceFileFormat.h"

namespace varnock {

/// The trace file: plain text of fixed length, mapped into memory, whose entries begin again behind
/// the header when the end is reached.
///
/// The first 1024 bytes are lines of 80 characters that tell a reader, also after a crash, where
/// the newest entry ends: path, first and last open, number of opens and of wraps, size, current
/// write position. Every change is a plain store into the mapping. Another process may truncate the
/// file under us, which nobody can prevent without a system call per entry.
///
/// Whoever has the file mapped holds a read lock on it, and whoever makes it or takes it over alone
/// holds a write lock meanwhile. These are locks of the open file (F_OFD_SETLK), which the mapping
/// keeps open: unlike a record lock of the process they are not lost when the host closes another
/// descriptor of the file, or all descriptors that it does not know, and they keep apart two copies
/// of the library in one process. Like the mapping itself, a forked child shares them until it has
/// unmapped the file, see leaveToParent().
///
/// Thread-safety: callers hold the trace lock. Two processes that share a file are not coordinated;
/// each keeps a write position of its own.
class RingBufferFile {
  public:
    /// Opens or creates the file and counts the open in it. `filler` is the entry header that the
    /// records of a new file begin with. Returns null and the reason in `failure` when the file
    /// cannot be used; a file made by this call is then gone again.
    ///
    /// A shorter existing file is extended, a longer one used as far as `size` goes.
    [[nodiscard]] static std::unique_ptr<RingBufferFile> open(const char* path, std::int64_t size,
                                                              const char* startTime,
                                                              std::string_view filler,
                                                              char* failure,
                                                              std::size_t failureSize);
    /// The same for a file that nobody else uses. Returns null with `isInUse` set when somebody
    /// does, at once and without a change to the file.
    [[nodiscard]] static std::unique_ptr<RingBufferFile> openAlone(
        const char* path, std::int64_t size, const char* startTime, std::string_view filler,
        bool& isInUse, char* failure, std::size_t failureSize);
    ~RingBufferFile();
    RingBufferFile(const RingBufferFile&) = delete;
    RingBufferFile& operator=(const RingBufferFile&) = delete;

    /// From now on a forked child does not share the file. Once at most.
    void leaveWhenForked();
    /// In a forked child: unmaps and closes the files that it does not share, so that they are free
    /// as soon as the parent ends. Calls nothing that another thread of the parent may have locked.
    static void leaveToParent();
    /// True when leaveToParent() has done so. Nothing can be appended then.
    bool isLeft() const { return mapping_ == nullptr; }
    /// From now on nobody takes another file in place of one that is left.
    static void beLeftForGood() { isLeftForGood_ = true; }
    /// True once that has been said.
    static bool isLeftForGood() { return isLeftForGood_; }

    /// True when writing goes on where the file's last user stopped; false when the file is new or
    /// its position means nothing, and entries begin right behind the header.
    bool resumes() const { return resumes_; }

    /// True when an entry of this length ends before the end of the file.
    [[nodiscard]] bool fits(std::size_t length) const {
        return position_ + toSigned(length) <= size_;
    }
    /// Appends one entry. REQUIRES: fits(length), and not isLeft().
    void append(const char* entry, std::size_t length);
    /// Moves the position to a record boundary more than 1024 and at most 2048 bytes further on.
    void skipGap() { position_ = tracefile::behindDescription(position_); }
    /// From now on a wrap returns to the current position and keeps what lies before it.
    void keepWhatIsThere() { restart_ = position_; }

    /// A new round, from its start until its header has been written.
    class Wrap {
      public:
        /// Counts the round and goes back to the start of the entries.
        explicit Wrap(RingBufferFile& file) : file_(file) { file_.beginWrap(); }
        ~Wrap() { file_.endWrap(); }
        Wrap(const Wrap&) = delete;
        Wrap& operator=(const Wrap&) = delete;

      private:
        RingBufferFile& file_;
    };
    /// True while a Wrap lives: an entry that does not fit now never will.
    bool isWrapping() const { return wrapping_; }

    int descriptor() const { return file_.get(); }                ///< of the open file
    int opens() const { return opens_; }                          ///< this one included
    int wraps() const { return wraps_; }                          ///< of all processes so far
    std::int64_t size() const { return size_; }                   ///< bytes in use
    std::int64_t position() const { return position_; }           ///< of the next entry
    std::int64_t freeBytes() const { return size_ - position_; }  ///< before the next wrap

  private:
    RingBufferFile() = default;

    [[nodiscard]] static std::unique_ptr<RingBufferFile> openAs(const char* path, std::int64_t size,
                                                                const char* startTime,
                                                                std::string_view filler,
                                                                bool* isInUse, char* failure,
                                                                std::size_t failureSize);
    static std::int64_t toSigned(std::size_t length) { return static_cast<std::int64_t>(length); }
    [[nodiscard]] bool map(int descriptor, std::int64_t size);
    void takeOver(bool isNew, const char* startTime);
    void beginWrap();
    void ruleOffRound();
    void endWrap();
    void leave();

    static RingBufferFile* leftWhenForked_;  ///< the first of them
    static std::atomic<bool> isLeftForGood_;

    FileDescriptor file_;
    RingBufferFile* nextLeft_ = nullptr;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    char* mapping_ = nullptr;
    std::size_t mappedLength_ = 0;
    std::int64_t size_ = 0;
    std::int64_t position_ = 0;
    std::int64_t restart_ = 0;  ///< where a wrap returns to; 0: behind the rewritten header
    int opens_ = 0;
    int wraps_ = 0;
    bool resumes_ = false;
    bool wrapping_ = false;
};

}  // namespace varnock
