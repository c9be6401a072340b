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

/// The trace file: plain text of fixed length, mapped into memory. At the end of the file the
/// entries continue behind the header.
///
/// The first 1024 bytes are lines of 80 characters: path, first and last open, number of opens and
/// of wraps, size, current write position. They show a reader where the newest entry ends, also
/// after a crash. Every change is a plain store into the mapping. If another process truncates the
/// file, the next store ends this process; preventing that would cost a system call per entry.
///
/// A process that has the file mapped holds a read lock on it. A process that creates the file, or
/// takes it over alone, holds a write lock meanwhile. These are locks of the open file
/// (F_OFD_SETLK), and the mapping keeps the file open. So, unlike a record lock of a process, they
/// survive a host that closes another descriptor of the file, or all descriptors that it does not
/// know; and they work between two copies of the library in one process. A forked child shares
/// them, like the mapping, until it unmaps the file with leaveToParent().
///
/// Thread-safety: callers hold the trace lock. Processes that share a file are not coordinated;
/// each has its own write position.
class RingBufferFile {
  public:
    /// Opens or creates the file and counts the open in it. The records of a new file begin with
    /// the entry header `filler`. Returns null, with the reason in `failure`, if the file cannot be
    /// used; a file that this call has created is removed then.
    ///
    /// A shorter existing file is extended. Of a longer one, `size` bytes are used.
    [[nodiscard]] static std::unique_ptr<RingBufferFile> open(const char* path, std::int64_t size,
                                                              const char* startTime,
                                                              std::string_view filler,
                                                              char* failure,
                                                              std::size_t failureSize);
    /// The same for a file that no other process uses. If one does, returns null at once, sets
    /// `isInUse` and does not change the file.
    [[nodiscard]] static std::unique_ptr<RingBufferFile> openAlone(
        const char* path, std::int64_t size, const char* startTime, std::string_view filler,
        bool& isInUse, char* failure, std::size_t failureSize);
    ~RingBufferFile();
    RingBufferFile(const RingBufferFile&) = delete;
    RingBufferFile& operator=(const RingBufferFile&) = delete;

    /// From now on a forked child does not share the file. To be called at most once.
    void leaveWhenForked();
    /// For a forked child: unmaps and closes the files that it does not share, so that they are
    /// free when the parent ends. Takes no lock that another thread of the parent may have held.
    static void leaveToParent();
    /// True if leaveToParent() has closed the file. Nothing can be appended then.
    bool isLeft() const { return mapping_ == nullptr; }
    /// From now on no other file replaces one that is left.
    static void beLeftForGood() { isLeftForGood_ = true; }
    /// True after beLeftForGood().
    static bool isLeftForGood() { return isLeftForGood_; }

    /// True if writing continues at the position in the file. False if the file is new or its
    /// position is invalid, so that entries begin behind the header.
    bool resumes() const { return resumes_; }

    /// True if an entry of this length fits before the end of the file.
    [[nodiscard]] bool fits(std::size_t length) const {
        return position_ + toSigned(length) <= size_;
    }
    /// Appends one entry. REQUIRES: fits(length), and not isLeft().
    void append(const char* entry, std::size_t length);
    /// Moves the position forward by more than 1024 and at most 2048 bytes, to a record boundary.
    void skipGap() { position_ = tracefile::behindDescription(position_); }
    /// From now on a wrap returns to the current position, and keeps the entries before it.
    void keepWhatIsThere() { restart_ = position_; }

    /// A new round, from its start until its header has been written.
    class Wrap {
      public:
        /// Counts the round and returns to the start of the entries.
        explicit Wrap(RingBufferFile& file) : file_(file) { file_.beginWrap(); }
        ~Wrap() { file_.endWrap(); }
        Wrap(const Wrap&) = delete;
        Wrap& operator=(const Wrap&) = delete;

      private:
        RingBufferFile& file_;
    };
    /// True while a Wrap exists: an entry that does not fit now never will.
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
