#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace varnock::test {

/// The result of a finished process.
struct ProcessResult {
    int status = 0;  ///< exit status, 128 + n for signal n
    std::string out;
    std::string err;
};

/// A child process with its standard output and error captured. It gets SIGKILL when the test
/// process ends. Not thread-safe.
class Subprocess {
  public:
    using Environment = std::map<std::string, std::string>;

    /// Starts `command` (looked up in PATH) with the variables added to this process's environment.
    /// Throws std::system_error if it cannot be started.
    explicit Subprocess(const std::vector<std::string>& command,
                        const Environment& environment = {});
    /// Kills the process if it still runs.
    ~Subprocess();
    Subprocess(const Subprocess&) = delete;
    Subprocess& operator=(const Subprocess&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const;
    /// Reads standard output until it contains `text`; false if it ends before.
    bool waitForOutput(std::string_view text) { return waitFor(text, out_, result_.out); }
    /// The same of standard error.
    bool waitForError(std::string_view text) { return waitFor(text, err_, result_.err); }
    /// Waits for the end and returns all output, including output read before.
    const ProcessResult& wait();

  private:
    bool waitFor(std::string_view text, const int& descriptor, const std::string& got);
    bool readSome();

    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
    bool ended_ = false;
    ProcessResult result_;
};

/// Runs a command to its end.
ProcessResult runProcess(const std::vector<std::string>& command,
                         const Subprocess::Environment& environment = {});

}  // namespace varnock::test
