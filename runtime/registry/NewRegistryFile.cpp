#include "runtime/registry/NewRegistryFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "runtime/files/FileLock.h"

namespace varnock {
namespace {

constexpr mode_t kModeInWriting = 0600;
constexpr mode_t kFinalMode = 0644;
constexpr mode_t kRightsOfOthers = 077;
constexpr mode_t kOthersMayWrite = 022;

void unlinkAndKeepErrno(const char* path) {
    const int error = errno;
    unlink(path);
    errno = error;
}

bool isTrusted(const struct stat& status) {
    return (status.st_uid == geteuid() || status.st_uid == 0) &&
           (status.st_mode & kOthersMayWrite) == 0;
}

/// True if nobody but the owner and root can have the file open.
bool isPrivate(const struct stat& status) {
    return isTrusted(status) && (status.st_mode & kRightsOfOthers) == 0 && status.st_nlink == 1;
}

/// True if the name is that of the open file. False with errno otherwise, ENOENT for another file.
bool isStillAt(int file, const char* path) {
    struct stat opened {};
    struct stat named {};
    if (fstat(file, &opened) != 0 || lstat(path, &named) != 0) {
        return false;
    }
    errno = ENOENT;
    return opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

}  // namespace

NewRegistryFile::NewRegistryFile(const char* path) : path_(path), state_(acquire()) {}

NewRegistryFile::~NewRegistryFile() {
    // Before the lock is released with the stream. Another saver may have the name by now.
    if (isThere_ && isStillAt(fileno(stream_.get()), path_)) {
        unlinkAndKeepErrno(path_);
    }
}

/// A second pass creates the file that replaces a left-over.
NewRegistryFile::State NewRegistryFile::acquire() {
    for (int pass = 0; pass < 2; ++pass) {
        FileDescriptor file = openOnce();
        if (!file) {
            return errno == EAGAIN ? State::busy : State::cannotOpen;
        }
        const Look look = lookAt(file.get());
        if (look == Look::usable) {
            return makeStream(std::move(file));
        }
        if (look == Look::busy) {
            return State::busy;
        }
        if (look == Look::leftOver) {
            unlink(path_);
            continue;
        }
        if (isCreated_) {
            unlinkAndKeepErrno(path_);
        }
        return look == Look::cannotOpen ? State::cannotOpen : State::cannotLock;
    }
    return State::busy;
}

/// EAGAIN if another saver has renamed the file in between.
FileDescriptor NewRegistryFile::openOnce() {
    constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int opened = open(path_, kFlags | O_CREAT | O_EXCL, kModeInWriting);
    isCreated_ = opened >= 0;
    FileDescriptor file = awayFromStandardStreams(opened);
    if (isCreated_ && !file) {
        unlinkAndKeepErrno(path_);
    }
    if (!isCreated_ && errno == EEXIST) {
        file = awayFromStandardStreams(open(path_, kFlags));
        if (!file && errno == ENOENT) {
            errno = EAGAIN;
        }
    }
    return file;
}

/// Locks the file if it is free.
NewRegistryFile::Look NewRegistryFile::lookAt(int file) const {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        return Look::cannotOpen;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return Look::cannotOpen;
    }
    if (flock(file, LOCK_EX | LOCK_NB) == 0) {
        return lookAtLocked(file);
    }
    if (errno != EWOULDBLOCK) {
        return Look::cannotLock;
    }
    if (isCreated_ || isPrivate(status) || (isTrusted(status) && isWriteLocked(file))) {
        return Look::busy;
    }
    // Another saver may have renamed the file in between.
    return isStillAt(file, path_) ? Look::leftOver : Look::busy;
}

/// Another saver may have renamed the file just before the lock was free, so looks at it again.
NewRegistryFile::Look NewRegistryFile::lookAtLocked(int file) const {
    if (!isStillAt(file, path_)) {
        return errno == ENOENT ? Look::busy : Look::cannotLock;
    }
    // Where this lock fails, the other one still keeps savers apart.
    static_cast<void>(setLock(file, F_WRLCK));
    struct stat status {};
    if (fstat(file, &status) != 0) {
        return Look::cannotLock;
    }
    if (!isPrivate(status)) {
        return Look::leftOver;
    }
    return ftruncate(file, 0) == 0 ? Look::usable : Look::cannotLock;
}

NewRegistryFile::State NewRegistryFile::makeStream(FileDescriptor file) {
    stream_.reset(fdopen(file.get(), "we"));
    if (!stream_) {
        unlinkAndKeepErrno(path_);
        return State::cannotOpen;
    }
    file.release();
    isThere_ = true;
    return State::open;
}

bool NewRegistryFile::finish() {
    return ferror(stream_.get()) == 0 && fflush(stream_.get()) == 0 &&
           fsync(fileno(stream_.get())) == 0 && isStillAt(fileno(stream_.get()), path_);
}

bool NewRegistryFile::renameTo(const char* target) {
    const int file = fileno(stream_.get());
    if (!isStillAt(file, path_) || fchmod(file, kFinalMode) != 0 || rename(path_, target) != 0) {
        return false;
    }
    isThere_ = false;
    return true;
}

}  // namespace varnock
