#include "tools/ReplacedFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "runtime/files/FileDescriptor.h"

namespace varnock {
namespace {

/// The file that gets the name: that to which a link leads.
std::string targetOf(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        return path;
    }
    // The name of a device or a directory must not be taken from it.
    if (!std::filesystem::is_regular_file(status)) {
        throw std::system_error(std::filesystem::is_directory(status) ? EISDIR : EINVAL,
                                std::generic_category(), path);
    }
    const auto target = std::filesystem::canonical(path, error);
    return error ? path : target.string();
}

/// A file that is removed again unless it has taken another name.
class NewFile {
  public:
    explicit NewFile(std::string pattern)
        : name_(std::move(pattern)), descriptor_(mkostemp(name_.data(), O_CLOEXEC)) {}
    ~NewFile() {
        if (descriptor_ && !hasMoved_) {
            unlink(name_.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    [[nodiscard]] bool exists() const { return static_cast<bool>(descriptor_); }
    [[nodiscard]] bool write(std::string_view text);
    /// Its content is on the disk before the name is.
    [[nodiscard]] bool moveTo(const std::string& path, mode_t mode) {
        hasMoved_ = fchmod(descriptor_.get(), mode) == 0 && fsync(descriptor_.get()) == 0 &&
                    rename(name_.c_str(), path.c_str()) == 0;
        return hasMoved_;
    }

  private:
    std::string name_;
    FileDescriptor descriptor_;
    bool hasMoved_ = false;
};

bool NewFile::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor_.get(), text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

void replaceFile(const std::string& path, std::string_view text, mode_t mode) {
    const std::string target = targetOf(path);
    const std::size_t name = target.rfind('/') + 1;
    const std::string base = target.substr(name, target.find('.', name) - name);
    NewFile file(target.substr(0, name) + "." + base + ".XXXXXX");
    if (!file.exists() || !file.write(text) || !file.moveTo(target, mode)) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

}  // namespace varnock
