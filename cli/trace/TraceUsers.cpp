#include "cli/trace/TraceUsers.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "cli/ProcessName.h"

namespace varnockctl {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// A line of "/proc/PID/maps" for a shared, writable mapping of a file.
struct Mapping {
    dev_t device;
    ino_t inode;
    std::string path;
};

std::optional<Mapping> parseMapping(const std::string& line) {
    // This test is first because nearly all lines fail it, and there may be millions.
    const std::size_t rights = line.find(' ') + 1;
    if (rights == 0 || line.size() < rights + 4 || line[rights + 1] != 'w' ||
        line[rights + 3] != 's') {
        return std::nullopt;
    }
    unsigned int major = 0;
    unsigned int minor = 0;
    unsigned long inode = 0;
    int end = 0;
    if (sscanf(line.c_str() + rights, "%*s %*x %x:%x %lu %n", &major, &minor, &inode, &end) != 3) {
        return std::nullopt;
    }
    return Mapping{makedev(major, minor), inode, line.substr(rights + static_cast<size_t>(end))};
}

/// A file as it appears in mappings.
class MappedFile {
  public:
    explicit MappedFile(const std::string& path) {
        const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), free);
        exists_ = real != nullptr && stat(real.get(), &status_) == 0;
        path_ = real != nullptr ? real.get() : "";
    }

    bool exists() const { return exists_; }
    /// Compares the path and the inode: the path differs if a directory is mounted twice, the
    /// device of the inode on file systems with several devices.
    bool is(const Mapping& mapping) const {
        return exists_ && ((mapping.inode == status_.st_ino && mapping.device == status_.st_dev) ||
                           mapping.path == path_);
    }

  private:
    struct stat status_ {};
    bool exists_ = false;
    std::string path_;
};

std::optional<pid_t> processOf(const fs::path& directory) {
    const std::string name = directory.filename();
    pid_t process = 0;
    const auto parsed = std::from_chars(name.data(), name.data() + name.size(), process);
    return parsed.ec == std::errc{} && parsed.ptr == name.data() + name.size()
               ? std::optional(process)
               : std::nullopt;
}

/// Nothing if the time ends before the list.
std::optional<std::vector<Mapping>> mappingsOf(const fs::path& process, Clock::time_point end) {
    std::vector<Mapping> mappings;
    std::ifstream maps(process / "maps");
    for (std::string line; std::getline(maps, line);) {
        if (Clock::now() >= end) {
            return std::nullopt;
        }
        if (auto mapping = parseMapping(line)) {
            mappings.push_back(std::move(*mapping));
        }
    }
    return mappings;
}

}  // namespace

TraceUsers usersOfTraceFiles(const std::vector<std::string>& paths, Clock::time_point end,
                             const std::string& processes) {
    const std::vector<MappedFile> files(paths.begin(), paths.end());
    TraceUsers users{.ofFiles = std::vector<std::vector<TraceUser>>(files.size())};
    if (std::none_of(files.begin(), files.end(), std::mem_fn(&MappedFile::exists))) {
        return users;
    }
    std::error_code error;
    fs::directory_iterator entry(processes, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const auto process = processOf(entry->path());
        if (!process) {
            continue;
        }
        const auto mappings = mappingsOf(entry->path(), end);
        if (!mappings) {
            users.isComplete = false;
            break;
        }
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (std::any_of(mappings->begin(), mappings->end(),
                            [&](const Mapping& mapping) { return files[i].is(mapping); })) {
                users.ofFiles[i].push_back({*process, processName(entry->path())});
            }
        }
    }
    for (auto& each : users.ofFiles) {
        std::sort(each.begin(), each.end(),
                  [](const TraceUser& a, const TraceUser& b) { return a.process < b.process; });
    }
    return users;
}

}  // namespace varnockctl
