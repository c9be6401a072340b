#include "agent/PrivateDirectory.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace varnock::agent {
namespace {

namespace fs = std::filesystem;

/// The 107 characters of a socket address must also hold the template and the socket's name.
constexpr std::size_t kLongestParent = 80;

fs::path parentDirectory() {
    std::error_code failure;
    const fs::path parent = fs::absolute(fs::temp_directory_path(failure), failure);
    return failure || parent.native().size() > kLongestParent ? fs::path("/tmp") : parent;
}

/// The guardian keeps no descriptor of its parent: no terminal, no pipe with a waiting reader.
void detach() {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    setsid();
    const int nowhere = open("/dev/null", O_RDWR);
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        dup2(nowhere, fd);
    }
}

[[noreturn]] void guard(const fs::path& path, int leash) {
    // The descriptor may be that of a standard stream, which detach() replaces.
    leash = fcntl(leash, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    detach();
    char told = 0;
    ssize_t count = -1;
    do {
        count = read(leash, &told, 1);
    } while (count < 0 && errno == EINTR);
    if (count == 0) {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    _exit(0);
}

}  // namespace

PrivateDirectory::PrivateDirectory() : owner_(getpid()) {
    std::string name = parentDirectory() / "varnock-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
    try {
        startGuardian();
    } catch (...) {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
        throw;
    }
}

void PrivateDirectory::startGuardian() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    FileDescriptor readEnd(ends[0]);
    leash_ = FileDescriptor(ends[1]);
    guardian_ = fork();
    if (guardian_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (guardian_ == 0) {
        leash_.reset();
        guard(path_, readEnd.get());
    }
}

PrivateDirectory::~PrivateDirectory() {
    if (getpid() != owner_) {
        return;
    }
    if (!kept_) {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    leash_.reset();
    while (waitpid(guardian_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void PrivateDirectory::keep() {
    kept_ = true;
    while (write(leash_.get(), "k", 1) < 0 && errno == EINTR) {
    }
}

}  // namespace varnock::agent
