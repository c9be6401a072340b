#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// A pipe in place of /dev/kmsg: like the device it gives one record to each read.
class KernelLogPipe {
  public:
    explicit KernelLogPipe(const std::filesystem::path& root) {
        int ends[2] = {-1, -1};
        // What one call writes is what one call reads.
        EXPECT_EQ(pipe2(ends, O_DIRECT | O_NONBLOCK | O_CLOEXEC), 0);
        reading_ = FileDescriptor(ends[0]);
        writing_ = FileDescriptor(ends[1]);
        std::filesystem::create_directory(root / "dev");
        std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(ends[0]),
                                        root / "dev/kmsg");
    }

    void write(const std::string& record) const {
        EXPECT_EQ(::write(writing_.get(), record.data(), record.size()),
                  static_cast<ssize_t>(record.size()));
    }

  private:
    FileDescriptor reading_;
    FileDescriptor writing_;
};

}  // namespace varnock::agent
