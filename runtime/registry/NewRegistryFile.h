#pragma once

#include <stdio.h>

#include "runtime/files/FileDescriptor.h"
#include "runtime/files/FileSizeSignal.h"
#include "runtime/files/FileStream.h"

// Internal, not installed.
namespace varnock {

/// The file "registry.new", opened and locked by one saver. The saver writes the tree to it and
/// renames it to "registry".
///
/// The lock (flock) keeps savers apart. The file has mode 0600 until just before the rename, so
/// that only its owner and root can open and lock it. Between the change of the mode and the
/// rename, a write lock of the open file shows that the holder is a saver: it needs the right to
/// write.
///
/// A left-over of a saver that was killed is used again if only its owner can open it. Otherwise it
/// is replaced, locked or not: any user may hold that lock, for ever.
///
/// Thread-safety: callers hold CRegistry::MSpinlock, so that no fork() shares the lock.
class NewRegistryFile {
  public:
    enum class State {
        open,        ///< opened and locked
        busy,        ///< another saver has the file: try again later
        cannotOpen,  ///< errno says why
        cannotLock,  ///< errno says why
    };

    /// Tries once to open and lock the file. Does not wait. Leaves no new file after a failure.
    explicit NewRegistryFile(const char* path);
    /// Closes the file, and removes it unless it has been renamed.
    ~NewRegistryFile();
    NewRegistryFile(const NewRegistryFile&) = delete;
    NewRegistryFile& operator=(const NewRegistryFile&) = delete;

    State state() const { return state_; }
    /// The empty file. REQUIRES: state() is open.
    FILE* stream() const { return stream_.get(); }
    /// Flushes and syncs the file. False with errno on failure, also if the name is another file's.
    [[nodiscard]] bool finish();
    /// Lets everyone read the file and renames it. False with errno on failure.
    [[nodiscard]] bool renameTo(const char* target);

  private:
    enum class Look { usable, leftOver, busy, cannotOpen, cannotLock };

    State acquire();
    FileDescriptor openOnce();
    Look lookAt(int file) const;
    Look lookAtLocked(int file) const;
    State makeStream(FileDescriptor file);

    const FileSizeSignal limited_;
    const char* const path_;
    bool isCreated_ = false;
    bool isThere_ = false;  ///< under this name, as the file of this saver
    FileStream stream_;
    State state_;
};

}  // namespace varnock
