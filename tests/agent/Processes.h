#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <sstream>
#include <string>

#include "runtime/files/FileDescriptor.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent::test {

/// Standard error without the library's trace lines, which go there if a machine has no registry.
inline std::string untraced(const std::string& errors) {
    std::istringstream lines(errors);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        if (line.find(" CIM_Provider[") == std::string::npos) {
            result += line + '\n';
        }
    }
    return result;
}

/// Receives the messages of a service to its manager.
class Manager {
  public:
    explicit Manager(const varnock::test::TemporaryDirectory& directory)
        : path_(directory.file("notify")), fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    const std::string& path() const { return path_; }
    /// Waits for the next message.
    std::string message() const {
        char buffer[4096];
        const ssize_t count = recv(fd_.get(), buffer, sizeof buffer, 0);
        return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
    }

  private:
    std::string path_;
    FileDescriptor fd_;
};

/// A pipe whose write end all children inherit: detects the end of the last of them.
class Inherited {
  public:
    Inherited() {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        readEnd_ = FileDescriptor(ends[0]);
        writeEnd_ = FileDescriptor(ends[1]);
        fcntl(readEnd_.get(), F_SETFD, FD_CLOEXEC);
    }
    /// Waits until no process holds the write end.
    void waitForAll() {
        writeEnd_.reset();
        char byte = 0;
        EXPECT_EQ(read(readEnd_.get(), &byte, 1), 0);
    }

  private:
    FileDescriptor readEnd_;
    FileDescriptor writeEnd_;
};

}  // namespace varnock::agent::test
