#include "cli/registry/LockHolder.h"

#include <stdio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <fstream>

#include "cli/ProcessName.h"

namespace varnockctl {
namespace {

/// The process of a line of /proc/locks such as "1: FLOCK  ADVISORY  WRITE 17 fd:01:9 0 EOF", if it
/// holds an flock on the file; else 0. A line of one who waits has an arrow instead of the type.
int holderIn(const std::string& line, const struct stat& file) {
    int process = 0;
    unsigned int major = 0;
    unsigned int minor = 0;
    unsigned long inode = 0;
    const int parsed =
        sscanf(line.c_str(), "%*d: FLOCK %*s %*s %d %x:%x:%lu", &process, &major, &minor, &inode);
    const bool isFile = parsed == 4 && inode == file.st_ino && makedev(major, minor) == file.st_dev;
    return isFile && process > 0 ? process : 0;
}

}  // namespace

std::string holderText(const std::string& path, const std::string& processes) {
    struct stat file {};
    if (stat(path.c_str(), &file) == 0) {
        std::ifstream locks(std::filesystem::path(processes) / "locks");
        for (std::string line; std::getline(locks, line);) {
            if (const int process = holderIn(line, file)) {
                const std::string number = std::to_string(process);
                const std::string name = processName(std::filesystem::path(processes) / number);
                return "process " + number + (name.empty() ? "" : " (" + name + ")");
            }
        }
    }
    return "another process";
}

}  // namespace varnockctl
