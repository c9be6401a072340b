#pragma once

#include <memory>
#include <string>

#include "cli/trace/TraceLog.h"

namespace varnockctl {

/// Reads a trace file, also while a process writes to it. The file is opened only for reading, and
/// nothing is locked.
class TraceReader {
  public:
    explicit TraceReader(std::string path) : path_(std::move(path)) {}

    /// The current contents. Throws Failure if the file cannot be read or is not a trace file. A
    /// large file is read again if its writer overtakes the reading, but only once if the selection
    /// takes each entry at once: then what was overwritten is lost.
    std::unique_ptr<TraceLog> read(const TraceSelection& selection = {});
    /// The contents if the file has changed since the last read() or readChanged(); null if it has
    /// not changed or does not exist. It is read once: what its writer overwrites meanwhile is
    /// lost.
    std::unique_ptr<TraceLog> readChanged(const TraceSelection& selection = {});

    /// True once a file has been read.
    bool hasRead() const { return inode_ != 0; }
    /// True if the last call read another file than the call before it.
    bool isReplaced() const { return isReplaced_; }
    const std::string& path() const { return path_; }

  private:
    class File;

    std::unique_ptr<TraceLog> readStable(const File& file, const TraceSelection& selection);
    static std::unique_ptr<TraceLog> readCopied(const File& file, std::int64_t used,
                                                const TraceSelection& selection, bool isLast);
    static std::unique_ptr<TraceLog> readOnce(const File& file, std::int64_t used,
                                              const TraceSelection& selection, bool isLast);
    static std::unique_ptr<TraceLog> readAgain(const File& file, std::int64_t used,
                                               const TraceSelection& selection,
                                               std::int64_t& margin, bool isLast);

    std::string path_;
    TraceHeader last_;
    unsigned long device_ = 0;
    unsigned long inode_ = 0;
    bool isReplaced_ = false;
};

}  // namespace varnockctl
