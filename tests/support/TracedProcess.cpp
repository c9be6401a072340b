#include "tests/support/TracedProcess.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <optional>

#include "tests/support/SystemFailure.h"

namespace varnock::test {
namespace {

/// The arguments of a call that identify its file.
struct Row {
    long number;
    const char* name;
    int descriptor;  ///< argument that is the descriptor; -1: none
    int path;        ///< argument that points to the path; -1: none
    int otherPath;
    bool changes;
};

/// The file calls used by the C library; calls on memory and sockets do not matter.
constexpr Row kRows[] = {
    {SYS_read, "read", 0, -1, -1, false},
    {SYS_pread64, "pread64", 0, -1, -1, false},
    {SYS_write, "write", 0, -1, -1, true},
    {SYS_pwrite64, "pwrite64", 0, -1, -1, true},
    {SYS_close, "close", 0, -1, -1, false},
    {SYS_fstat, "fstat", 0, -1, -1, false},
    {SYS_newfstatat, "newfstatat", 0, 1, -1, false},
    {SYS_lseek, "lseek", 0, -1, -1, false},
    {SYS_fcntl, "fcntl", 0, -1, -1, false},
    {SYS_flock, "flock", 0, -1, -1, false},
    {SYS_ftruncate, "ftruncate", 0, -1, -1, true},
    {SYS_fallocate, "fallocate", 0, -1, -1, true},
    {SYS_fsync, "fsync", 0, -1, -1, true},
    {SYS_fdatasync, "fdatasync", 0, -1, -1, true},
    {SYS_fchmod, "fchmod", 0, -1, -1, true},
    {SYS_fchown, "fchown", 0, -1, -1, true},
    {SYS_open, "open", -1, 0, -1, true},
    {SYS_openat, "openat", -1, 1, -1, true},
    {SYS_access, "access", -1, 0, -1, false},
    {SYS_faccessat, "faccessat", -1, 1, -1, false},
    {SYS_readlink, "readlink", -1, 0, -1, false},
    {SYS_unlink, "unlink", -1, 0, -1, true},
    {SYS_unlinkat, "unlinkat", -1, 1, -1, true},
    {SYS_link, "link", -1, 0, 1, true},
    {SYS_linkat, "linkat", -1, 1, 3, true},
    {SYS_rename, "rename", -1, 0, 1, true},
    {SYS_renameat, "renameat", -1, 1, 3, true},
    {SYS_renameat2, "renameat2", -1, 1, 3, true},
};

const Row* rowOf(unsigned long long number) {
    for (const Row& row : kRows) {
        if (static_cast<unsigned long long>(row.number) == number) {
            return &row;
        }
    }
    return nullptr;
}

unsigned long long argument(const user_regs_struct& registers, int index) {
    const std::array all{registers.rdi, registers.rsi, registers.rdx, registers.r10};
    return all.at(static_cast<std::size_t>(index));
}

/// A file in memory for the output of the process.
class Captured {
  public:
    Captured() : file_(memfd_create("output", MFD_CLOEXEC)) {
        if (file_ < 0) {
            throwSystemError("memfd_create");
        }
    }
    ~Captured() { close(file_); }
    Captured(const Captured&) = delete;
    Captured& operator=(const Captured&) = delete;

    int descriptor() const { return file_; }
    std::string text() const {
        std::string all(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
        const ssize_t got = pread(file_, all.data(), all.size(), 0);
        all.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return all;
    }

  private:
    int file_;
};

class Tracer {
  public:
    Tracer(pid_t process, std::string directory,
           const std::function<Fate(std::size_t, const FileCall&)>& decide)
        : process_(process), directory_(std::move(directory)), decide_(decide) {}

    /// The status of the process that has ended.
    int run(std::vector<FileCall>& calls) {
        int status = 0;
        wait(status);
        if (!WIFSTOPPED(status)) {
            return statusOf(status);
        }
        ptrace(PTRACE_SETOPTIONS, process_, nullptr,
               PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL);
        int signal = 0;
        for (;;) {
            if (ptrace(PTRACE_SYSCALL, process_, nullptr, signal) != 0 && errno != ESRCH) {
                throwSystemError("ptrace");
            }
            wait(status);
            if (!WIFSTOPPED(status)) {
                break;
            }
            signal = 0;
            if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
                takeStop(calls);
            } else if (WSTOPSIG(status) != SIGTRAP) {
                signal = WSTOPSIG(status);
            }
        }
        return statusOf(status);
    }

  private:
    static int statusOf(int status) {
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    void wait(int& status) const {
        while (waitpid(process_, &status, 0) < 0) {
            if (errno != EINTR) {
                throwSystemError("waitpid");
            }
        }
    }

    /// Calls stop twice: before they are made, and after.
    void takeStop(std::vector<FileCall>& calls) {
        user_regs_struct registers{};
        if (ptrace(PTRACE_GETREGS, process_, nullptr, &registers) != 0) {
            return;
        }
        entering_ = !entering_;
        if (entering_) {
            fate_.reset();
            enter(registers, calls);
        } else if (fate_) {
            leave(registers, calls);
        }
    }

    void enter(user_regs_struct& registers, std::vector<FileCall>& calls) {
        const Row* row = rowOf(registers.orig_rax);
        if (row == nullptr) {
            return;
        }
        FileCall call = describe(*row, registers);
        if (!isInDirectory(call.path) && !isInDirectory(call.other)) {
            return;
        }
        fate_ = decide_(calls.size(), call);
        calls.push_back(call);
        if (fate_->kind == Fate::Kind::killed) {
            kill(process_, SIGKILL);
        } else if (fate_->kind == Fate::Kind::failing) {
            registers.orig_rax = ~0ULL;
            ptrace(PTRACE_SETREGS, process_, nullptr, &registers);
        } else if (fate_->kind == Fate::Kind::halfDone &&
                   call.name.find("write") != std::string::npos) {
            registers.rdx = (registers.rdx + 1) / 2;
            ptrace(PTRACE_SETREGS, process_, nullptr, &registers);
        }
    }

    void leave(user_regs_struct& registers, std::vector<FileCall>& calls) {
        if (fate_->kind == Fate::Kind::failing) {
            registers.rax = static_cast<unsigned long long>(-static_cast<long long>(fate_->error));
            ptrace(PTRACE_SETREGS, process_, nullptr, &registers);
        }
        calls.back().result = static_cast<long>(registers.rax);
    }

    FileCall describe(const Row& row, const user_regs_struct& registers) const {
        FileCall call{row.name, {}, {}, row.changes, 0};
        if (row.path >= 0) {
            call.path = textAt(argument(registers, row.path));
        }
        if (row.otherPath >= 0) {
            call.other = textAt(argument(registers, row.otherPath));
        }
        if (call.path.empty() && row.descriptor >= 0) {
            call.path = pathOf(static_cast<int>(argument(registers, row.descriptor)));
        }
        const bool opens = row.number == SYS_open || row.number == SYS_openat;
        if (opens) {
            call.changes = (argument(registers, row.path + 1) & (O_CREAT | O_TRUNC)) != 0;
        }
        return call;
    }

    bool isInDirectory(const std::string& path) const {
        return path == directory_ || path.starts_with(directory_ + "/");
    }

    std::string pathOf(int descriptor) const {
        char path[PATH_MAX];
        const std::string link =
            "/proc/" + std::to_string(process_) + "/fd/" + std::to_string(descriptor);
        const ssize_t length = readlink(link.c_str(), path, sizeof path);
        return {path, length > 0 ? static_cast<std::size_t>(length) : 0};
    }

    std::string textAt(unsigned long long address) const {
        std::string text;
        // Word by word, so that memory after the end of the text need not be readable.
        for (; text.size() < PATH_MAX; address += sizeof(long)) {
            errno = 0;
            const long word = ptrace(PTRACE_PEEKDATA, process_, address, nullptr);
            if (errno != 0) {
                return text;
            }
            for (std::size_t i = 0; i < sizeof word; ++i) {
                const char c = static_cast<char>(static_cast<unsigned long>(word) >> (8 * i));
                if (c == '\0') {
                    return text;
                }
                text += c;
            }
        }
        return text;
    }

    pid_t process_;
    std::string directory_;
    const std::function<Fate(std::size_t, const FileCall&)>& decide_;
    bool entering_ = false;
    std::optional<Fate> fate_;  ///< of the current call
};

}  // namespace

bool mayTrace() {
    try {
        return runTraced({"true"}, {}, "/", [](std::size_t, const FileCall&) {
                   return Fate{};
               }).status == 0;
    } catch (const std::system_error&) {
        return false;
    }
}

TracedResult runTraced(const std::vector<std::string>& command,
                       const Subprocess::Environment& environment, const std::string& directory,
                       const std::function<Fate(std::size_t, const FileCall&)>& decide) {
    // The leak check of the sanitizers traces its own process, which cannot be traced twice.
    std::vector<std::string> variables{"ASAN_OPTIONS=detect_leaks=0"};
    std::vector<std::string> words{"env"};
    for (const auto& [name, value] : environment) {
        variables.push_back(name + '=' + value);
    }
    words.insert(words.end(), variables.begin(), variables.end());
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const Captured out;
    const Captured err;
    const pid_t process = fork();
    if (process < 0) {
        throwSystemError("fork");
    }
    if (process == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(127);
        }
        dup2(out.descriptor(), STDOUT_FILENO);
        dup2(err.descriptor(), STDERR_FILENO);
        raise(SIGSTOP);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    TracedResult result;
    result.status = Tracer(process, directory, decide).run(result.calls);
    result.out = out.text();
    result.err = err.text();
    return result;
}

}  // namespace varnock::test
