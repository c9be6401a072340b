#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"

namespace varnock::test {

/// A system call of a traced process that works on a file.
struct FileCall {
    std::string name;   ///< as in "write"
    std::string path;   ///< of the file that it names or whose descriptor it has
    std::string other;  ///< the new name of rename and link
    bool changes;       ///< the file, its name, or what of them is on the disk
    long result;        ///< negative: minus the error number
};

/// What becomes of a call.
struct Fate {
    enum class Kind {
        normal,
        killed,    ///< the process dies before the call is made
        failing,   ///< the call is not made and fails with `error`
        halfDone,  ///< a write gets half of its bytes
    };
    Kind kind = Kind::normal;
    int error = 0;
};

/// What a traced process left behind.
struct TracedResult : ProcessResult {
    std::vector<FileCall> calls;  ///< those on the files in the directory
};

/// True when this machine lets a process trace its children.
bool mayTrace();

/// Runs a command to its end and asks before each of its system calls on a file in `directory` what
/// is to become of it; the argument is the number of such calls so far. Calls of further threads
/// are not seen. Throws std::system_error when it cannot be started or traced.
TracedResult runTraced(const std::vector<std::string>& command,
                       const Subprocess::Environment& environment, const std::string& directory,
                       const std::function<Fate(std::size_t, const FileCall&)>& decide);

}  // namespace varnock::test
