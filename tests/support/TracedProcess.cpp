#include "tests/support/TracedProcess.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "tests/support/Sanitizers.h"
#include "tests/support/SystemFailure.h"

namespace varnock::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::chrono::minutes kLongestRun{1};
constexpr milliseconds kDelay{3};

/// A call that no kernel has: the child tells its tracer with it where the part begins and ends.
constexpr long kMarker = 0x1FFF0001;

enum class Watched { directory, program, part };

struct Scope {
    Watched watched;
    std::string directory;
};

constexpr unsigned char kChanges = 1;
constexpr unsigned char kTransfers = 2;
constexpr unsigned char kInterruptible = 4;
constexpr unsigned char kSleeps = 8;

/// What is to know about a call.
struct Row {
    long number;
    const char* name;
    int descriptor;  ///< argument that is the descriptor; -1: none
    int path;        ///< argument that points to the path; -1: none
    int otherPath;
    int error;
    unsigned char properties;
};

/// The calls used by the C library on files, and those on sockets, threads and processes. Of those
/// on memory, only mappings of files and stacks matter: the others are the allocator's.
constexpr Row kRows[] = {
    {SYS_read, "read", 0, -1, -1, EIO, kTransfers | kInterruptible},
    {SYS_pread64, "pread64", 0, -1, -1, EIO, kTransfers | kInterruptible},
    {SYS_readv, "readv", 0, -1, -1, EIO, kInterruptible},
    {SYS_write, "write", 0, -1, -1, ENOSPC, kChanges | kTransfers | kInterruptible},
    {SYS_pwrite64, "pwrite64", 0, -1, -1, ENOSPC, kChanges | kTransfers | kInterruptible},
    {SYS_writev, "writev", 0, -1, -1, ENOSPC, kChanges | kInterruptible},
    {SYS_close, "close", 0, -1, -1, EIO, kInterruptible},
    {SYS_fstat, "fstat", 0, -1, -1, EIO, 0},
    {SYS_newfstatat, "newfstatat", 0, 1, -1, EIO, 0},
    {SYS_statx, "statx", 0, 1, -1, EIO, 0},
    {SYS_fstatfs, "fstatfs", 0, -1, -1, EIO, 0},
    {SYS_lseek, "lseek", 0, -1, -1, EIO, 0},
    {SYS_fcntl, "fcntl", 0, -1, -1, ENOLCK, kInterruptible},
    {SYS_ioctl, "ioctl", 0, -1, -1, EIO, 0},
    {SYS_flock, "flock", 0, -1, -1, ENOLCK, kInterruptible},
    {SYS_ftruncate, "ftruncate", 0, -1, -1, ENOSPC, kChanges | kInterruptible},
    {SYS_fallocate, "fallocate", 0, -1, -1, ENOSPC, kChanges | kInterruptible},
    {SYS_fsync, "fsync", 0, -1, -1, ENOSPC, kChanges},
    {SYS_fdatasync, "fdatasync", 0, -1, -1, ENOSPC, kChanges},
    {SYS_fchmod, "fchmod", 0, -1, -1, EIO, kChanges},
    {SYS_fchown, "fchown", 0, -1, -1, EIO, kChanges},
    {SYS_getdents64, "getdents64", 0, -1, -1, EIO, 0},
    {SYS_open, "open", -1, 0, -1, EMFILE, kInterruptible},
    {SYS_openat, "openat", -1, 1, -1, EMFILE, kInterruptible},
    {SYS_access, "access", -1, 0, -1, EIO, 0},
    {SYS_faccessat, "faccessat", -1, 1, -1, EIO, 0},
    {SYS_faccessat2, "faccessat2", -1, 1, -1, EIO, 0},
    {SYS_readlink, "readlink", -1, 0, -1, EIO, 0},
    {SYS_readlinkat, "readlinkat", -1, 1, -1, EIO, 0},
    {SYS_chmod, "chmod", -1, 0, -1, EIO, kChanges},
    {SYS_fchmodat, "fchmodat", -1, 1, -1, EIO, kChanges},
    {SYS_mkdir, "mkdir", -1, 0, -1, ENOSPC, kChanges},
    {SYS_rmdir, "rmdir", -1, 0, -1, EIO, kChanges},
    {SYS_unlink, "unlink", -1, 0, -1, EIO, kChanges},
    {SYS_unlinkat, "unlinkat", -1, 1, -1, EIO, kChanges},
    {SYS_link, "link", -1, 0, 1, ENOSPC, kChanges},
    {SYS_linkat, "linkat", -1, 1, 3, ENOSPC, kChanges},
    {SYS_rename, "rename", -1, 0, 1, ENOSPC, kChanges},
    {SYS_renameat, "renameat", -1, 1, 3, ENOSPC, kChanges},
    {SYS_renameat2, "renameat2", -1, 1, 3, ENOSPC, kChanges},
    {SYS_mmap, "mmap", 4, -1, -1, ENOMEM, 0},
    {SYS_socket, "socket", -1, -1, -1, EMFILE, 0},
    {SYS_connect, "connect", 0, -1, -1, ECONNREFUSED, kInterruptible},
    {SYS_bind, "bind", 0, -1, -1, EADDRINUSE, 0},
    {SYS_listen, "listen", 0, -1, -1, EADDRINUSE, 0},
    {SYS_accept, "accept", 0, -1, -1, EMFILE, kInterruptible},
    {SYS_accept4, "accept4", 0, -1, -1, EMFILE, kInterruptible},
    {SYS_sendto, "sendto", 0, -1, -1, ECONNRESET, kTransfers | kInterruptible},
    {SYS_recvfrom, "recvfrom", 0, -1, -1, ECONNRESET, kTransfers | kInterruptible},
    {SYS_sendmsg, "sendmsg", 0, -1, -1, ECONNRESET, kInterruptible},
    {SYS_recvmsg, "recvmsg", 0, -1, -1, ECONNRESET, kInterruptible},
    {SYS_getsockopt, "getsockopt", 0, -1, -1, ENOBUFS, 0},
    {SYS_setsockopt, "setsockopt", 0, -1, -1, ENOBUFS, 0},
    {SYS_getsockname, "getsockname", 0, -1, -1, ENOBUFS, 0},
    {SYS_shutdown, "shutdown", 0, -1, -1, ENOTCONN, 0},
    {SYS_poll, "poll", -1, -1, -1, ENOMEM, kInterruptible},
    {SYS_ppoll, "ppoll", -1, -1, -1, ENOMEM, kInterruptible},
    {SYS_select, "select", -1, -1, -1, ENOMEM, kInterruptible},
    {SYS_pselect6, "pselect6", -1, -1, -1, ENOMEM, kInterruptible},
    {SYS_epoll_create1, "epoll_create1", -1, -1, -1, EMFILE, 0},
    {SYS_epoll_ctl, "epoll_ctl", 0, -1, -1, ENOSPC, 0},
    {SYS_epoll_wait, "epoll_wait", 0, -1, -1, ENOMEM, kInterruptible},
    {SYS_epoll_pwait, "epoll_pwait", 0, -1, -1, ENOMEM, kInterruptible},
    {SYS_eventfd2, "eventfd2", -1, -1, -1, EMFILE, 0},
    {SYS_signalfd4, "signalfd4", -1, -1, -1, EMFILE, 0},
    {SYS_timerfd_create, "timerfd_create", -1, -1, -1, EMFILE, 0},
    {SYS_timerfd_settime, "timerfd_settime", 0, -1, -1, EINVAL, 0},
    {SYS_inotify_init1, "inotify_init1", -1, -1, -1, EMFILE, 0},
    {SYS_inotify_add_watch, "inotify_add_watch", 0, 1, -1, ENOSPC, 0},
    {SYS_pipe2, "pipe2", -1, -1, -1, EMFILE, 0},
    {SYS_dup, "dup", 0, -1, -1, EMFILE, 0},
    {SYS_dup2, "dup2", 0, -1, -1, EMFILE, 0},
    {SYS_dup3, "dup3", 0, -1, -1, EMFILE, 0},
    {SYS_clone, "clone", -1, -1, -1, EAGAIN, 0},
    {SYS_clone3, "clone3", -1, -1, -1, EAGAIN, 0},
    {SYS_fork, "fork", -1, -1, -1, EAGAIN, 0},
    {SYS_vfork, "vfork", -1, -1, -1, EAGAIN, 0},
    {SYS_wait4, "wait4", -1, -1, -1, ECHILD, kInterruptible},
    {SYS_waitid, "waitid", -1, -1, -1, ECHILD, 0},  // sd-event does not wait with it
    {SYS_nanosleep, "nanosleep", -1, -1, -1, 0, kSleeps},
    {SYS_clock_nanosleep, "clock_nanosleep", -1, -1, -1, 0, kSleeps},
};

const Row* rowOf(unsigned long long number) {
    for (const Row& row : kRows) {
        if (static_cast<unsigned long long>(row.number) == number) {
            return &row;
        }
    }
    return nullptr;
}

bool is(const Row& row, unsigned char property) {
    return (row.properties & property) != 0;
}

unsigned long long argument(const user_regs_struct& registers, int index) {
    const std::array all{registers.rdi, registers.rsi, registers.rdx, registers.r10, registers.r8};
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

/// Kills a process that takes too long.
class Limit {
  public:
    explicit Limit(pid_t process) : watch_([this, process] { watch(process); }) {}
    ~Limit() { end(); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

    /// True if the process was killed.
    bool end() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        changed_.notify_all();
        if (watch_.joinable()) {
            watch_.join();
        }
        return killed_;
    }

  private:
    void watch(pid_t process) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, kLongestRun, [this] { return ended_; })) {
            killed_ = true;
            kill(process, SIGKILL);
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false;
    bool killed_ = false;
    std::thread watch_;
};

class Tracer {
  public:
    Tracer(pid_t process, Scope scope, const Decision& decide, std::vector<SystemCall>& calls)
        : process_(process), scope_(std::move(scope)), decide_(decide), calls_(calls) {}

    /// The status of the process that has ended.
    int run() {
        int status = 0;
        wait(process_, status, 0);
        if (!WIFSTOPPED(status)) {
            return statusOf(status);
        }
        ptrace(
            PTRACE_SETOPTIONS, process_, nullptr,
            PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
        threads_[process_] = {.isKnown = true,
                              .isStarted = true,
                              .isWatched = scope_.watched == Watched::directory,
                              .isInCall = false,
                              .call = std::nullopt,
                              .fate = {}};
        resume(process_);
        for (;;) {
            const pid_t thread = nextStop(status);
            if (!WIFSTOPPED(status)) {
                threads_.erase(thread);
                if (thread == process_) {
                    return statusOf(status);
                }
                continue;
            }
            take(thread, status);
        }
    }

  private:
    struct Thread {
        bool isKnown = false;    ///< the stop of its creator has told about it
        bool isStarted = false;  ///< it has made its first stop
        bool isWatched = false;
        bool isInCall = false;
        std::optional<std::size_t> call;  ///< the watched call that it makes
        Fate fate;
    };

    static int statusOf(int status) {
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    static pid_t wait(pid_t which, int& status, int options) {
        for (;;) {
            const pid_t got = waitpid(which, &status, options | __WALL);
            if (got >= 0 || errno != EINTR) {
                return got >= 0 ? got : (throwSystemError("waitpid"), got);
            }
        }
    }

    /// Waits for a thread that stops or ends. Meanwhile delayed ones go on when it is time.
    pid_t nextStop(int& status) {
        while (!delayed_.empty()) {
            if (const pid_t thread = wait(-process_, status, WNOHANG); thread > 0) {
                return thread;
            }
            const auto now = steady_clock::now();
            for (auto next = delayed_.begin(); next != delayed_.end();) {
                if (next->second <= now) {
                    resume(next->first);
                    next = delayed_.erase(next);
                } else {
                    ++next;
                }
            }
            const timespec pause{0, 100'000};
            nanosleep(&pause, nullptr);
        }
        return wait(-process_, status, 0);
    }

    static void resume(pid_t thread, int signal = 0) {
        if (ptrace(PTRACE_SYSCALL, thread, nullptr, signal) != 0 && errno != ESRCH) {
            throwSystemError("ptrace");
        }
    }

    void take(pid_t id, int status) {
        Thread& thread = threads_[id];
        const int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80)) {
            takeCall(id, thread);
            return;
        }
        const int event = status >> 16;
        if (event == PTRACE_EVENT_CLONE) {
            takeClone(id, thread.isWatched);
        } else if (event == PTRACE_EVENT_EXEC) {
            isLoading_ = true;
        }
        if (event == 0 && !thread.isStarted) {
            thread.isStarted = true;
            if (!thread.isKnown) {
                return;  // goes on when its creator has told about it
            }
            resume(id);
            return;
        }
        resume(id, event == 0 && signal != SIGTRAP ? signal : 0);
    }

    void takeClone(pid_t creator, bool isWatched) {
        unsigned long message = 0;
        ptrace(PTRACE_GETEVENTMSG, creator, nullptr, &message);
        const auto id = static_cast<pid_t>(message);
        Thread& thread = threads_[id];
        thread.isKnown = true;
        thread.isWatched = isWatched && scope_.watched != Watched::directory;
        if (thread.isStarted) {
            resume(id);
        }
    }

    /// Calls stop twice: before they are made, and after.
    void takeCall(pid_t id, Thread& thread) {
        user_regs_struct registers{};
        if (ptrace(PTRACE_GETREGS, id, nullptr, &registers) != 0) {
            resume(id);
            return;
        }
        thread.isInCall = !thread.isInCall;
        if (thread.isInCall) {
            thread.call.reset();
            enter(id, thread, registers);
            if (thread.call && thread.fate.kind == Fate::Kind::delayed) {
                delayed_.emplace_back(id, steady_clock::now() + kDelay);
                return;
            }
        } else if (thread.call) {
            leave(id, thread, registers);
        }
        resume(id);
    }

    void enter(pid_t id, Thread& thread, user_regs_struct& registers) {
        if (scope_.watched == Watched::part &&
            registers.orig_rax == static_cast<unsigned long long>(kMarker)) {
            thread.isWatched = registers.rdi != 0;
            return;
        }
        if (scope_.watched == Watched::program && isLoading_ && registers.orig_rax == SYS_munmap) {
            thread.isWatched = true;  // the loader ends with the first of these
            isLoading_ = false;
            return;
        }
        const Row* row = thread.isWatched ? rowOf(registers.orig_rax) : nullptr;
        if (row == nullptr) {
            return;
        }
        if (is(*row, kSleeps)) {
            if (scope_.watched == Watched::program) {
                skip(id, registers);
            }
            return;
        }
        SystemCall call = describe(*row, registers);
        if (!concerns(*row, registers, call)) {
            return;
        }
        thread.call = calls_.size();
        thread.fate = decide_(calls_.size(), call);
        calls_.push_back(std::move(call));
        if (thread.fate.kind == Fate::Kind::killed) {
            kill(process_, SIGKILL);
        } else if (thread.fate.kind == Fate::Kind::failing && row->number != SYS_close) {
            skip(id, registers);
        } else if (thread.fate.kind == Fate::Kind::cutShort && is(*row, kTransfers)) {
            registers.rdx = std::min<unsigned long long>(registers.rdx, thread.fate.size);
            ptrace(PTRACE_SETREGS, id, nullptr, &registers);
        }
    }

    /// Keeps the call from being made. Its result is 0, or set when it is left.
    static void skip(pid_t id, user_regs_struct& registers) {
        registers.orig_rax = ~0ULL;
        registers.rax = 0;
        ptrace(PTRACE_SETREGS, id, nullptr, &registers);
    }

    void leave(pid_t id, const Thread& thread, user_regs_struct& registers) {
        if (thread.fate.kind == Fate::Kind::failing) {
            registers.rax =
                static_cast<unsigned long long>(-static_cast<long long>(thread.fate.error));
            ptrace(PTRACE_SETREGS, id, nullptr, &registers);
        }
        calls_[*thread.call].result = static_cast<long>(registers.rax);
    }

    SystemCall describe(const Row& row, const user_regs_struct& registers) const {
        SystemCall call{
            row.name,  {}, {}, is(row, kChanges), is(row, kTransfers), is(row, kInterruptible),
            row.error, 0};
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

    bool concerns(const Row& row, const user_regs_struct& registers, const SystemCall& call) const {
        if (scope_.watched == Watched::directory) {
            return isInDirectory(call.path) || isInDirectory(call.other);
        }
        if (row.number == SYS_mmap && call.path.empty()) {
            return !kSanitized && (argument(registers, 3) & MAP_STACK) != 0;
        }
        const bool isOutput = call.path.starts_with("/memfd:");
        return !isOfTheSystem(call.path) && !(isOutput && scope_.watched == Watched::part);
    }

    bool isInDirectory(const std::string& path) const {
        return path == scope_.directory || path.starts_with(scope_.directory + "/");
    }

    /// Files that the loader and the sanitizers read.
    static bool isOfTheSystem(const std::string& path) {
        const auto begins = [&](const char* beginning) { return path.starts_with(beginning); };
        return begins("/lib") || begins("/usr/lib") || begins("/etc/ld.so.") ||
               path.ends_with(".so") || path.find(".so.") != std::string::npos ||
               (kSanitized && begins("/proc/"));
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
        // Piece by piece, so that memory after the end of the text need not be readable.
        constexpr unsigned long long kPiece = 256;
        while (address != 0 && text.size() < PATH_MAX) {
            char bytes[kPiece];
            const iovec here{bytes, kPiece - address % kPiece};
            // NOLINTNEXTLINE(performance-no-int-to-ptr): an address of the other process
            const iovec there{reinterpret_cast<void*>(address), here.iov_len};
            const ssize_t got = process_vm_readv(process_, &here, 1, &there, 1, 0);
            if (got <= 0) {
                break;
            }
            const char* const begin = bytes;
            const char* const end = std::find(begin, begin + got, '\0');
            text.append(begin, end);
            if (end != begin + got) {
                break;
            }
            address += static_cast<unsigned long long>(got);
        }
        return text;
    }

    pid_t process_;
    Scope scope_;
    const Decision& decide_;
    std::vector<SystemCall>& calls_;
    std::map<pid_t, Thread> threads_;
    bool isLoading_ = false;  ///< a program that has been executed
    std::vector<std::pair<pid_t, steady_clock::time_point>> delayed_;
};

/// Traces a forked child that runs `act`, which does not return.
TracedResult traced(const std::function<void()>& act, const Scope& scope, const Decision& decide) {
    const Captured out;
    const Captured err;
    fflush(nullptr);
    const pid_t process = fork();
    if (process < 0) {
        throwSystemError("fork");
    }
    if (process == 0) {
        // Its threads are waited for by their group, so that no other child is.
        if (setpgid(0, 0) != 0 || ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(127);
        }
        dup2(out.descriptor(), STDOUT_FILENO);
        dup2(err.descriptor(), STDERR_FILENO);
        raise(SIGSTOP);
        act();
        _exit(127);
    }
    TracedResult result;
    Limit limit(process);
    result.status = Tracer(process, scope, decide, result.calls).run();
    result.hung = limit.end();
    result.out = out.text();
    result.err = err.text();
    return result;
}

TracedResult runTraced(const std::vector<std::string>& command,
                       const Subprocess::Environment& environment, const Scope& scope,
                       const Decision& decide) {
    return traced(
        [&] {
            // The leak check of the sanitizers traces its own process, which cannot be traced
            // twice.
            setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
            for (const auto& [name, value] : environment) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            std::vector<std::string> words = command;
            std::vector<char*> arguments;
            for (std::string& word : words) {
                arguments.push_back(word.data());
            }
            arguments.push_back(nullptr);
            execvp(arguments[0], arguments.data());
        },
        scope, decide);
}

}  // namespace

bool mayTrace() {
    try {
        return runTraced({"true"}, {}, "/", [](std::size_t, const SystemCall&) {
                   return Fate{};
               }).status == 0;
    } catch (const std::system_error&) {
        return false;
    }
}

TracedResult runTraced(const std::vector<std::string>& command,
                       const Subprocess::Environment& environment, const std::string& directory,
                       const Decision& decide) {
    return runTraced(command, environment, Scope{Watched::directory, directory}, decide);
}

TracedResult runTracedWholly(const std::vector<std::string>& command,
                             const Subprocess::Environment& environment, const Decision& decide) {
    return runTraced(command, environment, Scope{Watched::program, {}}, decide);
}

void TracedPart::begin() const {
    syscall(kMarker, 1);
}

void TracedPart::end() const {
    syscall(kMarker, 0);
}

TracedResult runTracedPart(const std::function<void(const TracedPart&)>& body,
                           const Decision& decide) {
    return traced(
        [&] {
            body(TracedPart());
            fflush(nullptr);
            _exit(testing::Test::HasFailure() ? 1 : 0);
        },
        Scope{Watched::part, {}}, decide);
}

}  // namespace varnock::test
