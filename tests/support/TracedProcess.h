#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"

namespace varnock::test {

/// A system call of a traced process.
struct SystemCall {
    std::string name;    ///< as in "write"
    std::string path;    ///< of the file that it names or whose descriptor it has
    std::string other;   ///< the new name of rename and link
    bool changes;        ///< the file, its name, or their state on disk
    bool transfers;      ///< as many bytes as its result says
    bool interruptible;  ///< by a signal
    int error;           ///< one that the call may report
    long result;         ///< negative: minus the error number
};

/// The outcome of a call.
struct Fate {
    enum class Kind {
        normal,
        killed,    ///< the process dies before the call is made
        failing,   ///< the call is not made and fails with `error`; close() is made
        cutShort,  ///< a transfer is of `size` bytes at most
        delayed,   ///< the call is made a few milliseconds later
    };
    Kind kind = Kind::normal;
    int error = 0;
    std::size_t size = 0;
};

/// The argument is the number of calls so far.
using Decision = std::function<Fate(std::size_t, const SystemCall&)>;

/// The result of a traced process.
struct TracedResult : ProcessResult {
    std::vector<SystemCall> calls;
    bool hung = false;  ///< it was killed because it took longer than a minute
};

/// True if this machine lets a process trace its children.
bool mayTrace();

/// Runs a command to its end. Before each system call of its first thread on a file in `directory`,
/// asks for the outcome. Throws std::system_error if the command cannot be started or traced.
TracedResult runTraced(const std::vector<std::string>& command,
                       const Subprocess::Environment& environment, const std::string& directory,
                       const Decision& decide);

/// The same of the calls of all threads on files, sockets, mapped files, threads and processes,
/// after the program was loaded. Calls on shared libraries are not among them. Sleeps take no time.
TracedResult runTracedWholly(const std::vector<std::string>& command,
                             const Subprocess::Environment& environment, const Decision& decide);

/// The part of a forked child whose calls are traced.
class TracedPart {
  public:
    /// From now on, calls of this thread and of the threads that it starts.
    void begin() const;
    void end() const;
};

/// The same of a part of a forked child, without what it prints. The child runs `body` and ends
/// with status 1 if a check of GoogleTest has failed there, else with 0. This process must have no
/// other threads.
TracedResult runTracedPart(const std::function<void(const TracedPart&)>& body,
                           const Decision& decide);

}  // namespace varnock::test

/// For the first line of a test that traces a process.
#define SKIP_IF_NOTHING_CAN_BE_TRACED() \
    if (!varnock::test::mayTrace())     \
    GTEST_SKIP() << "ptrace is not permitted here, and it is what makes a system call fail"
