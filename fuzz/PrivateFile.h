#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "fuzz/Fuzzing.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::fuzz {

/// A file in one of the program's private directories, rewritten for each input. The directories
/// are removed when the program ends.
class PrivateFile {
  public:
    /// `variable` names the environment variable with the directory.
    explicit PrivateFile(const std::string& name, const char* variable = "TMPDIR")
        : path_(std::string(secure_getenv(variable)) + '/' + name) {}

    const std::string& path() const { return path_; }
    void remove() const { unlink(path_.c_str()); }

    void write(std::string_view bytes) const {
        const FileDescriptor file(
            open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
        require(count == static_cast<ssize_t>(bytes.size()), "cannot write a private file");
    }
    std::string read() const {
        const FileDescriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
        std::string bytes;
        char buffer[16384];
        ssize_t count = 0;
        while ((count = ::read(file.get(), buffer, sizeof buffer)) > 0) {
            bytes.append(buffer, static_cast<std::size_t>(count));
        }
        require(count == 0, "cannot read a private file");
        return bytes;
    }

  private:
    std::string path_;
};

}  // namespace varnock::fuzz
