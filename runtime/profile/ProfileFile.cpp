#include "runtime/ProfileFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>

#include "runtime/files/FileDescriptor.h"
#include "runtime/files/FileSizeSignal.h"
#include "runtime/files/FileStream.h"
#include "runtime/files/LineReader.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/process/Clock.h"
#include "runtime/trace/TraceAt.h"
#include "util/Ascii.h"

namespace {

using varnock::FileStream;
using varnock::LineReader;
using varnock::traceAt;

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

char* skipBlanks(char* text) {
    while (isBlank(*text)) {
        ++text;
    }
    return text;
}

/// Removes the blanks before `end`, and terminates the text there.
void trimEnd(const char* text, char* end) {
    while (end > text && isBlank(end[-1])) {
        --end;
    }
    *end = '\0';
}

/// True for the header of this section: "[", the name, "]".
bool opensSection(const char* line, const char* section) {
    const std::size_t length = strlen(section);
    return line[0] == '[' && strncmp(line + 1, section, length) == 0 && line[1 + length] == ']';
}

/// Puts a value or a list into the caller's buffer.
class Result {
  public:
    Result(char* out, unsigned int size) : out_(out), size_(size) { out_[0] = '\0'; }

    bool hasRoom() const { return used_ + 2 < size_; }
    void placeValue(const char* value) { used_ = append(value, strlen(value), size_ - 1); }
    void addName(const char* name) { used_ = append(name, strlen(name) + 1, size_ - 2); }

    unsigned int finishValue() {
        out_[used_] = '\0';
        return used_;
    }
    unsigned int finishList() {
        out_[used_] = '\0';
        out_[used_ + 1] = '\0';
        return used_;
    }

  private:
    unsigned int append(const char* text, std::size_t length, unsigned int limit) {
        const std::size_t count = std::min<std::size_t>(length, limit - used_);
        memcpy(out_ + used_, text, count);
        return used_ + static_cast<unsigned int>(count);
    }

    char* out_;
    unsigned int size_;
    unsigned int used_ = 0;
};

/// Searches a file, line by line.
class Search {
  public:
    Search(const char* section, const char* key, Result& result)
        : section_(section), key_(key), result_(result) {}

    bool foundValue() const { return foundValue_; }

    /// False when the search is over.
    bool take(char* line) {
        char* text = skipBlanks(line);
        const bool isHeader = *text == '[';
        if (*text == '\0' || *text == ';' || (!isHeader && !inSection_)) {
            return true;
        }
        // A semicolon starts a comment, also inside a value.
        trimEnd(text, text + strcspn(text, ";"));
        return isHeader ? takeHeader(text) : takeKeyLine(text);
    }

  private:
    bool takeHeader(char* text) {
        if (inSection_) {
            return false;
        }
        if (section_ != nullptr) {
            inSection_ = opensSection(text, section_);
        } else if (char* end = strchr(text, ']')) {
            *end = '\0';
            result_.addName(text + 1);
        }
        return true;
    }

    bool takeKeyLine(char* text) {
        char* equals = strchr(text, '=');
        if (equals == nullptr) {
            return true;
        }
        trimEnd(text, equals);
        if (key_ == nullptr) {
            result_.addName(text);
            return true;
        }
        if (strcmp(text, key_) != 0) {
            return true;
        }
        result_.placeValue(skipBlanks(equals + 1));
        foundValue_ = true;
        return false;
    }

    const char* section_;
    const char* key_;
    Result& result_;
    bool inSection_ = false;
    bool foundValue_ = false;
};

unsigned int copyDefault(const char* section, const char* key, const char* defaultValue, char* out,
                         unsigned int size) {
    if (section == nullptr || key == nullptr || defaultValue == nullptr) {
        return 0;
    }
    strncpy(out, defaultValue, size);
    out[size - 1] = '\0';
    return static_cast<unsigned int>(strlen(out));
}

bool holdsNewline(const char* text) {
    return text != nullptr && strchr(text, '\n') != nullptr;
}

[[nodiscard]] bool writeText(FILE* file, const char* text) {
    return fputs(text, file) >= 0;
}

[[nodiscard]] bool writeKeyLine(FILE* file, const char* key, const char* value) {
    return writeText(file, key) && writeText(file, "=") && writeText(file, value) &&
           writeText(file, "\n");
}

std::optional<std::size_t> fileSize(FILE* file) {
    struct stat status {};
    if (fstat(fileno(file), &status) != 0 || status.st_size < 0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(status.st_size);
}

/// A change, as the range of bytes to replace.
struct Edit {
    enum class Kind { none, replace, append, appendSection };
    Kind kind = Kind::none;
    unsigned int from = 0;
    unsigned int to = 0;
    bool leadingNewline = false;
};

/// Searches a file for the place of a change.
class EditSearch {
  public:
    EditSearch(const char* section, const char* key, const char* value)
        : section_(section), key_(key), value_(value) {}

    /// False if the file is too large for the offsets or cannot be read.
    [[nodiscard]] bool run(FILE* file, Edit& edit) {
        LineReader line(file);
        bool keepOffset = false;
        for (;;) {
            // Empty lines and comments belong to the line that follows them.
            if (!keepOffset) {
                offset_ = line.offset();
            }
            if (!line.next()) {
                break;
            }
            // The last character of a line is cut, whether it is a newline or not. So a last line
            // without a newline loses a character and is not found. Lines that the library has
            // written end with a newline.
            if (!line.hasNewline() && line.length() > 0) {
                line.text()[line.length() - 1] = '\0';
            }
            keepOffset = line.text()[0] == '\0' || line.text()[0] == ';';
            end_ = line.offset();
            if (end_ > std::numeric_limits<unsigned int>::max()) {
                return false;
            }
            if (!keepOffset && take(line.text(), edit)) {
                return true;
            }
        }
        atEnd(end_, edit);
        return ferror(file) == 0;
    }

  private:
    static void replace(Edit& edit, std::size_t from, std::size_t to, bool leadingNewline) {
        edit = {Edit::Kind::replace, static_cast<unsigned int>(from), static_cast<unsigned int>(to),
                leadingNewline};
    }

    /// True if the place is found or nothing is to be done.
    bool take(char* line, Edit& edit) {
        if (!inSection_) {
            inSection_ = opensSection(line, section_);
            sectionStart_ = offset_;
            return false;
        }
        return line[0] == '[' ? takeNextHeader(edit) : takeKeyLine(line, edit);
    }

    bool takeNextHeader(Edit& edit) const {
        if (key_ == nullptr) {
            replace(edit, sectionStart_, offset_, false);
        } else if (value_ != nullptr) {
            replace(edit, offset_, offset_, false);
        }
        return true;
    }

    bool takeKeyLine(char* line, Edit& edit) {
        char* equals = strchr(line, '=');
        if (equals == nullptr) {
            return false;
        }
        ++keyCount_;
        trimEnd(line, equals);
        if (key_ == nullptr || strcmp(line, key_) != 0) {
            return false;
        }
        // The blank line behind the header stays if the first key of the section is replaced.
        replace(edit, offset_, end_, keyCount_ < 2);
        return true;
    }

    void atEnd(std::size_t end, Edit& edit) const {
        if (key_ == nullptr) {
            if (inSection_) {
                replace(edit, sectionStart_, end, false);
            }
        } else if (value_ != nullptr) {
            edit.kind = inSection_ ? Edit::Kind::append : Edit::Kind::appendSection;
        }
    }

    const char* section_;
    const char* key_;
    const char* value_;
    bool inSection_ = false;
    unsigned int keyCount_ = 0;
    std::size_t sectionStart_ = 0;
    std::size_t offset_ = 0;
    std::size_t end_ = 0;
};

/// A new file beside the target, which takes the name of the target when it is complete: neither a
/// full disk nor a kill leaves half a file. The destructor removes the file if it has not taken the
/// name.
class NewFile {
  public:
    explicit NewFile(const std::string& target) : target_(target), name_(target + ".XXXXXX") {
        const int made = mkostemp(name_.data(), O_CLOEXEC);
        isThere_ = made >= 0;
        varnock::FileDescriptor file = varnock::awayFromStandardStreams(made);
        if (file) {
            stream_.reset(fdopen(file.get(), "r+e"));
        }
        if (stream_) {
            file.release();
        }
    }
    ~NewFile() {
        if (isThere_) {
            unlink(name_.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Null if no file can be made.
    FILE* stream() const { return stream_.get(); }
    /// Flushes, syncs and closes the file.
    [[nodiscard]] bool finish() {
        return fflush(stream_.get()) == 0 && fsync(fileno(stream_.get())) == 0 &&
               varnock::closeWritten(std::move(stream_));
    }
    /// Replaces the target. REQUIRES: finish().
    [[nodiscard]] bool replaceTarget() { return took(rename(name_.c_str(), target_.c_str())); }
    /// Takes the name of the target if no file has it. REQUIRES: finish().
    [[nodiscard]] bool becomeTarget() {
        return took(
            renameat2(AT_FDCWD, name_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE));
    }

  private:
    [[nodiscard]] bool took(int result) {
        if (result != 0) {
            return false;
        }
        isThere_ = false;
        // The file is in place: a failed sync matters only if the power fails.
        static_cast<void>(varnock::syncDirectoryOf(target_.c_str()));
        return true;
    }

    std::string target_;
    std::string name_;
    FileStream stream_;
    bool isThere_ = false;
};

/// The file that is changed: a copy, which then replaces the original, or the original if no copy
/// can be made.
class EditedFile {
  public:
    explicit EditedFile(const char* fileName)
        : original_(varnock::openRegularFile(fileName, "r+e")) {
        if (!original_) {
            return;
        }
        const std::unique_ptr<char, decltype(&free)> resolved(realpath(fileName, nullptr), free);
        if (resolved) {
            makeCopy(resolved.get());
        }
    }

    bool isOpen() const { return original_ != nullptr; }
    /// False if the disk has no room for a copy. Then it has none for the change either.
    bool isReady() const { return !isFull_; }
    FILE* stream() const { return copy_ ? copy_->stream() : original_.get(); }

    /// Makes the change take effect.
    [[nodiscard]] bool commit() {
        if (!copy_) {
            return varnock::closeWritten(std::move(original_));
        }
        return copy_->finish() && copy_->replaceTarget();
    }

  private:
    void makeCopy(const char* target) {
        copy_.emplace(target);
        const int descriptor = copy_->stream() != nullptr ? fileno(copy_->stream()) : -1;
        struct stat status {};
        const bool alike = descriptor >= 0 && fstat(fileno(original_.get()), &status) == 0 &&
                           fchown(descriptor, status.st_uid, status.st_gid) == 0 &&
                           fchmod(descriptor, status.st_mode & 07777U) == 0;
        isFull_ = alike && !copyContents(descriptor);
        if (!alike || isFull_) {
            copy_.reset();
        }
    }

    [[nodiscard]] bool copyContents(int target) const {
        const int source = fileno(original_.get());
        char buffer[16384];
        off_t offset = 0;
        for (;;) {
            const ssize_t got = pread(source, buffer, sizeof buffer, offset);
            if (got <= 0) {
                return got == 0;
            }
            if (!varnock::writeAt(target, buffer, static_cast<std::size_t>(got), offset)) {
                return false;
            }
            offset += got;
        }
    }

    FileStream original_;
    std::optional<NewFile> copy_;
    bool isFull_ = false;
};

/// Restores the size after a failure. Drops the buffer first, or closing the file would write it.
void cutBack(FILE* file, std::size_t size) {
    __fpurge(file);
    if (ftruncate(fileno(file), static_cast<off_t>(size)) != 0) {
        traceAt(1, "WritePrivateProfileString: ## WARNING: cannot cut the file: %s\n",
                strerror(errno));
    }
}

[[nodiscard]] bool endsInNewline(FILE* file) {
    return fseek(file, -1, SEEK_END) != 0 || fgetc(file) == '\n';
}

[[nodiscard]] bool writeAtEnd(FILE* file, const Edit& edit, const char* section, const char* key,
                              const char* value) {
    const bool existing = edit.kind == Edit::Kind::append;
    const bool missingNewline = existing && !endsInNewline(file);
    const std::optional<std::size_t> size = fileSize(file);
    if (!size || ferror(file) != 0 || fseek(file, 0, SEEK_END) != 0) {
        return false;
    }
    const bool opened =
        existing ? !missingNewline || writeText(file, "\n")
                 : writeText(file, "\n[") && writeText(file, section) && writeText(file, "]\n\n");
    const bool written = opened && writeKeyLine(file, key, value) && fflush(file) == 0;
    if (!written) {
        cutBack(file, *size);
    }
    return written;
}

[[nodiscard]] bool apply(FILE* file, const Edit& edit, const char* section, const char* key,
                         const char* value) {
    if (edit.kind == Edit::Kind::replace) {
        return CSysBase::WriteLines(file, edit.from, edit.to, value != nullptr ? key : nullptr,
                                    value, edit.leadingNewline ? 1 : 0) != 0;
    }
    return writeAtEnd(file, edit, section, key, value);
}

int traceAppendError() {
    traceAt(1, "WritePrivateProfileString: ## WARNING: append open error: %s\n", strerror(errno));
    return 0;
}

[[nodiscard]] int appendToFile(const char* section, const char* key, const char* value,
                               const char* fileName) {
    FileStream file(fopen(fileName, "ae"));
    if (!file) {
        return traceAppendError();
    }
    const Edit edit{Edit::Kind::appendSection, 0, 0, false};
    const bool written =
        fchmod(fileno(file.get()), 0644) == 0 && writeAtEnd(file.get(), edit, section, key, value);
    return varnock::closeWritten(std::move(file)) && written ? 1 : 0;
}

[[nodiscard]] int createFile(const char* section, const char* key, const char* value,
                             const char* fileName) {
    NewFile file(fileName);
    // The append reports the error if the directory is not writable, and succeeds if only the name
    // of the new file is too long.
    if (file.stream() == nullptr) {
        return appendToFile(section, key, value, fileName);
    }
    const Edit edit{Edit::Kind::appendSection, 0, 0, false};
    if (fchmod(fileno(file.stream()), 0644) != 0 ||
        !writeAtEnd(file.stream(), edit, section, key, value) || !file.finish()) {
        return 0;
    }
    // Another process has made the file, or the name is a dangling link.
    return file.becomeTarget() ? 1 : appendToFile(section, key, value, fileName);
}

[[nodiscard]] int changeFile(const char* section, const char* key, const char* value,
                             const char* fileName) try {
    const varnock::FileSizeSignal limited;
    EditedFile file(fileName);
    if (!file.isOpen()) {
        if (key == nullptr || value == nullptr) {
            return 1;
        }
        return access(fileName, F_OK) == 0 ? traceAppendError()
                                           : createFile(section, key, value, fileName);
    }
    if (!file.isReady()) {
        return 0;
    }
    Edit edit;
    if (!EditSearch(section, key, value).run(file.stream(), edit)) {
        return 0;
    }
    if (edit.kind == Edit::Kind::none) {
        return 1;
    }
    return apply(file.stream(), edit, section, key, value) && file.commit() ? 1 : 0;
} catch (const std::bad_alloc&) {
    return 0;
}

}  // namespace

unsigned int CSysBase::GetPrivateProfileString(const char* section, const char* key,
                                               const char* defaultValue, char* out,
                                               unsigned int size, const char* fileName) {
    if (out == nullptr || fileName == nullptr || size == 0) {
        return 0;
    }
    out[0] = '\0';
    if (size == 1) {
        return 0;
    }
    Result result(out, size);
    const FileStream file = varnock::openRegularFile(fileName, "re");
    if (!file) {
        traceAt(4, "GetPrivateProfileString: Cannot open %s\n", fileName);
        out[1] = '\0';
        return copyDefault(section, key, defaultValue, out, size);
    }
    Search search(section, key, result);
    LineReader line(file.get());
    while (result.hasRoom() && line.next() && search.take(line.text())) {
    }
    if (section == nullptr || key == nullptr) {
        return result.finishList();
    }
    return search.foundValue() ? result.finishValue()
                               : copyDefault(section, key, defaultValue, out, size);
}

int CSysBase::WritePrivateProfileString(const char* section, const char* key, const char* value,
                                        const char* fileName) {
    if (section == nullptr) {
        traceAt(4, "WritePrivateProfileString: ## WARNING: invalid pointer to AppName\n");
        return 0;
    }
    if (fileName == nullptr) {
        traceAt(4, "WritePrivateProfileString: ## WARNING: invalid pointer to FileName\n");
        return 0;
    }
    traceAt(4, "WritePrivateProfileString(%s, %s, %s, %s)\n", section,
            key != nullptr ? key : "<nil>", value != nullptr ? value : "<nil>", fileName);
    int result = 0;
    if (holdsNewline(section) || holdsNewline(key) || holdsNewline(value)) {
        traceAt(4, "WritePrivateProfileString: ## WARNING: a name or value holds a newline\n");
    } else {
        result = changeFile(section, key, value, fileName);
    }
    traceAt(4, "WritePrivateProfileString rc=0x%04x\n", static_cast<unsigned int>(result));
    return result;
}

int CSysBase::WriteLines(FILE* file, unsigned int from, unsigned int to, const char* key,
                         const char* value, int leadingNewline) {
    const varnock::FileSizeSignal limited;
    const std::optional<std::size_t> size = file != nullptr ? fileSize(file) : std::nullopt;
    if (!size || *size > std::numeric_limits<unsigned int>::max() || from > to || to > *size) {
        return 0;
    }
    const bool withLine = key != nullptr && value != nullptr;
    const std::size_t added =
        (leadingNewline != 0 ? 1 : 0) + (withLine ? strlen(key) + 1 + strlen(value) + 1 : 0);
    const std::size_t tailSize = *size - to;
    const std::size_t newSize = from + added + tailSize;
    const std::unique_ptr<char, decltype(&free)> tail(static_cast<char*>(malloc(tailSize + 1)),
                                                      free);
    if (!tail || fseek(file, static_cast<long>(to), SEEK_SET) != 0 ||
        fread(tail.get(), 1, tailSize, file) != tailSize) {
        return 0;
    }
    // The space is allocated before the first byte is overwritten: a full disk would lose the tail.
    if (newSize > *size && posix_fallocate(fileno(file), 0, static_cast<off_t>(newSize)) != 0) {
        cutBack(file, *size);
        return 0;
    }
    const bool written = fseek(file, static_cast<long>(from), SEEK_SET) == 0 &&
                         (leadingNewline == 0 || writeText(file, "\n")) &&
                         (!withLine || writeKeyLine(file, key, value)) &&
                         fwrite(tail.get(), 1, tailSize, file) == tailSize && fflush(file) == 0;
    // The caller closes the stream, which must not write the rest.
    if (!written) {
        __fpurge(file);
    }
    return written && ftruncate(fileno(file), static_cast<off_t>(newSize)) == 0 ? 1 : 0;
}

int CSysBase::GetSystemDirectory(char* buffer, unsigned int size) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    strncpy(buffer, varnock::systemDirectory().c_str(), size);
    buffer[size - 1] = '\0';
    return 1;
}

char* CSysBase::StringToUpper(char* text) {
    for (char* c = text; c != nullptr && *c != '\0'; ++c) {
        *c = varnock::upperCase(*c);
    }
    return text;
}

void CSysBase::Sleep(unsigned int milliseconds) {
    varnock::Clock::instance().sleepFor(std::chrono::milliseconds(milliseconds));
}

unsigned int CSysBase::GetLastError() {
    return static_cast<unsigned int>(errno);
}

int CSysBase::CloseHandle(int descriptor) {
    return close(descriptor) == 0 ? 1 : 0;
}

unsigned int GetPrivateProfileString(const char* section, const char* key, const char* defaultValue,
                                     char* out, unsigned int size, const char* fileName) {
    return CSysBase::GetPrivateProfileString(section, key, defaultValue, out, size, fileName);
}

int WritePrivateProfileString(const char* section, const char* key, const char* value,
                              const char* fileName) {
    return CSysBase::WritePrivateProfileString(section, key, value, fileName);
}

int GetSystemDirectory(char* buffer, unsigned int size) {
    return CSysBase::GetSystemDirectory(buffer, size);
}

char* _strupr(char* text) {
    return CSysBase::StringToUpper(text);
}

void Sleep(unsigned int milliseconds) {
    CSysBase::Sleep(milliseconds);
}

unsigned int GetLastError() {
    return CSysBase::GetLastError();
}

int CloseHandle(int descriptor) {
    return CSysBase::CloseHandle(descriptor);
}
