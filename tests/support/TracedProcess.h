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
    bool changes;       ///< the file, its name, or their state on disk
    long result;        ///< negative: minus the error number
};

/// The outcome of a call.
struct Fate {
    enum class Kind {
        normal,
        killed,    ///< the process dies before the call is made
        failing,   ///< the call is not made and fails with `error`
        halfDone,  ///< a write transfers half of its bytes
    };
    Kind kind = Kind::normal;
    int error = 0;
};

/// The result of a traced process.
struct TracedResult : ProcessResult {
    std::vector<FileCall> calls;  ///< calls on the files in the directory
};

/// True if this machine lets a process trace its children.
bool mayTrace();

/// Runs a command to its end. Before each of its system calls on a file in `directory`, asks for
/// the outcome; the argument is the number of such calls so far. Calls of further threads are not
/// seen. Throws std::system_error if the command cannot be started or traced.
TracedResult runTraced(const std::vector<std::string>& command,
                       const Subprocess::Environment& environment, const std::string& directory,
                       const std::function<Fate(std::size_t, const FileCall&)>& decide);

}  // namespace varnock::test
