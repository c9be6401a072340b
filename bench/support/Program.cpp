#include "bench/support/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>

namespace varnock::bench {
namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

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
    : command_(std::move(command)) {
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!variables.contains(text.substr(0, text.find('=')))) {
            environment_.push_back(text);
        }
    }
    for (const auto& [name, value] : variables) {
        environment_.push_back(name + '=' + value);
    }
}

pid_t Program::start() const {
    const Silence silence;
    pid_t process = 0;
    const int error = posix_spawn(&process, command_[0].c_str(), silence.get(), nullptr,
                                  pointersTo(command_).data(), pointersTo(environment_).data());
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
