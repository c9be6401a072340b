#include "bench/support/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include "tests/support/ProcessTexts.h"

namespace varnock::bench {
namespace {

/// Standard output and error go nowhere.
class Silence {
  public:
    Silence() {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO);
    }
    ~Silence() { posix_spawn_file_actions_destroy(&actions_); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

}  // namespace

Program::Program(std::vector<std::string> command,
                 const std::map<std::string, std::string>& variables)
    : command_(std::move(command)), environment_(test::environmentWith(variables)) {}

pid_t Program::start() const {
    const Silence silence;
    pid_t process = 0;
    const int error =
        posix_spawn(&process, command_[0].c_str(), silence.get(), nullptr,
                    test::pointersTo(command_).data(), test::pointersTo(environment_).data());
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), command_[0]);
    }
    return process;
}

bool Program::run() const {
    const pid_t process = start();
    int status = 0;
    return waitpid(process, &status, 0) == process && status == 0;
}

}  // namespace varnock::bench
