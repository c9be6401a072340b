#pragma once

#include <memory>
#include <string>

#include "cli/trace/TraceLog.h"

namespace varnockctl {

/// Reads a trace file, also while a process writes to it, which is not disturbed: the file is
/// opened for reading alone, and nothing is locked.
class TraceReader {
  public:
    explicit TraceReader(std::string path) : path_(std::move(path)) {}

    /// The file as it is now. Throws Failure when it cannot be read, or is no trace file.
    std::unique_ptr<TraceLog> read();
    /// The file when it has changed since the last read() or readChanged(), else null; null as well
    /// while there is no file.
    std::unique_ptr<TraceLog> readChanged();

    /// True once a file has been read.
    bool hasRead() const { return inode_ != 0; }
    /// True when the file of the last call is another one than the call before read.
    bool isReplaced() const { return isReplaced_; }
    const std::string& path() const { return path_; }

  private:
    class File;

    std::unique_ptr<TraceLog> copy(const File& file);

    std::string path_;
    TraceHeader last_;
    unsigned long device_ = 0;
    unsigned long inode_ = 0;
    bool isReplaced_ = false;
};

}  // namespace varnockctl
