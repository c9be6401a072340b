#include "runtime/files/FileStream.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "runtime/files/FileDescriptor.h"

namespace varnock {

FileStream openRegularFile(const char* path, const char* mode) {
    const int access = strchr(mode, '+') != nullptr ? O_RDWR : O_RDONLY;
    FileDescriptor file(open(path, access | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) {
        return nullptr;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return nullptr;
    }
    FileStream stream(fdopen(file.get(), mode));
    if (stream) {
        file.release();
    }
    return stream;
}

bool writeAt(int file, const char* data, std::size_t length, std::int64_t offset) {
    while (length > 0) {
        const ssize_t written = pwrite(file, data, length, offset);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            errno = written == 0 ? ENOSPC : errno;
            return false;
        }
        data += written;
        length -= static_cast<std::size_t>(written);
        offset += written;
    }
    return true;
}

bool syncDirectoryOf(const char* path) {
    char directory[PATH_MAX] = ".";
    if (const char* slash = strrchr(path, '/')) {
        snprintf(directory, sizeof directory, "%.*s", static_cast<int>(slash + 1 - path), path);
    }
    const FileDescriptor names(open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return names && fsync(names.get()) == 0;
}

}  // namespace varnock
