#include "cli/registry/RegistryFile.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <optional>

#include "cli/output/Failure.h"
#include "cli/registry/LockHolder.h"
#include "runtime/ProfileFile.h"
#include "runtime/Registry.h"
#include "runtime/files/FileDescriptor.h"
#include "runtime/registry/RegistryFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::registryformat;

using Stream = std::unique_ptr<FILE, decltype(&fclose)>;

Failure failureOf(const std::string& path, int error) {
    const bool isRefused = error == EACCES || error == EPERM || error == EROFS;
    return {isRefused ? ExitStatus::permission : ExitStatus::notAvailable,
            path + ": " + strerror(error)};
}

std::string readAll(FILE* stream, const std::string& path) {
    std::string text;
    char bytes[65536];
    while (const std::size_t count = fread(bytes, 1, sizeof bytes, stream)) {
        text.append(bytes, count);
    }
    if (ferror(stream) != 0) {
        throw failureOf(path, errno);
    }
    return text;
}

/// Nothing if there is no such file. Does not block on a pipe or a device.
std::optional<std::string> readFile(const std::string& path) {
    varnock::FileDescriptor descriptor(
        open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!descriptor && errno == ENOENT) {
        return std::nullopt;
    }
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0) {
        throw failureOf(path, errno);
    }
    const Stream stream(fdopen(descriptor.get(), "r"), fclose);
    if (!stream) {
        throw failureOf(path, errno);
    }
    static_cast<void>(descriptor.release());
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitStatus::unintelligible, path + ": not a regular file");
    }
    return readAll(stream.get(), path);
}

}  // namespace

std::string systemFile(const std::string& name) {
    char directory[PATH_MAX];
    GetSystemDirectory(directory, sizeof directory);
    return std::string(directory) + '/' + name;
}

RegistryFile readRegistryFile() {
    for (const bool isBackup : {false, true}) {
        const std::string path = systemFile(isBackup ? kBackup : kFile);
        if (auto text = readFile(path)) {
            return {path, std::move(*text), isBackup};
        }
    }
    throw Failure(ExitStatus::notAvailable,
                  systemFile(kFile) + ": not found; an installation provides it");
}

RegistryFile readRegistryFile(const std::string& path) {
    if (path == "-") {
        return {"standard input", readAll(stdin, "standard input")};
    }
    auto text = readFile(path);
    if (!text) {
        throw failureOf(path, ENOENT);
    }
    return {path, std::move(*text)};
}

void changeRegistryFile(const std::function<bool(std::string& text)>& change) {
    // The library would use the backup instead of a file that it may not read.
    readRegistryFile();
    const std::string path = systemFile(kFile);
    try {
        if (!CRegistry::UpdateText(change)) {
            throw failureOf(path, ENOENT);
        }
    } catch (int) {
        if (errno == EWOULDBLOCK) {
            throw Failure(ExitStatus::timeout,
                          path + ": " + holderText(systemFile(kNewFile)) + " is saving it");
        }
        const Failure failure = failureOf(path, errno);
        throw Failure(failure.status(), std::string("cannot be saved: ") + failure.what());
    }
}

}  // namespace varnockctl
