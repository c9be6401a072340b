#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <new>
#include <optional>
#include <system_error>

#include "CIM/Provider/Include/Exceptions.h"
#include "cli/CommandLine.h"
#include "cli/Interrupts.h"
#include "cli/Watchdog.h"
#include "cli/output/Failure.h"
#include "cli/output/Sanitizing.h"
#include "runtime/StartMode.h"
#include "tools/Console.h"
#include "tools/LibraryTrace.h"

/// The program reads and changes the files of other processes, so its own library must not use
/// them.
constinit const varnock::StartMode varnock::startMode = varnock::StartMode::withoutFiles;

namespace varnockctl {
namespace {

/// The format of failures before the arguments are parsed.
constinit Format requestedFormat = Format::table;

constexpr double kDefaultTimeout = 10;
/// Extra seconds before a command that keeps to its time is ended by the watchdog.
constexpr double kGrace = 0.5;
/// The time limit for destroying what the command has left, after the answer has been printed.
constexpr std::chrono::milliseconds kAfterwards{200};

/// Runs the command; a failure becomes its answer.
[[nodiscard]] Answer runCommand(const CommandLine& line) {
    try {
        return line.command();
    } catch (const Failure& failure) {
        return failed(failure);
    } catch (const provider::BaseException&) {
        return failed({ExitStatus::refused, "the agent refused or failed the command"});
    }
}

/// Ends the process while the command is still running. Returns if the command has printed its
/// answer. Allocates no memory.
void endWith(const Ending& ending, Format format) {
    if (const auto status = printFailureFirst(ending, format)) {
        varnock::console::say("varnockctl", ending.message);
        _exit(static_cast<int>(*status));
    }
}

/// Help and version go to standard output; everything else is a usage error.
[[nodiscard]] int print(const varnock::Explanation& explanation, Format format) {
    if (!explanation.isMistake) {
        return varnock::console::finishOutput("varnockctl", explanation.text)
                   ? 0
                   : varnock::console::kOutputLost;
    }
    say(explanation.text);
    varnock::console::say("Run with --help for more information.");
    Answer failure = failureAnswer(ExitStatus::usage, explanation.text);
    return static_cast<int>(print(failure, format));
}

/// Runs the command and prints its answer, or the failure that ended it.
[[nodiscard]] ExitStatus runInTime(const CommandLine& line) {
    const Format format = line.options.format;
    const InterruptHandler interrupts(
        [format](const Ending& interruption) { endWith(interruption, format); });
    std::optional<Watchdog> watchdog;
    if (!line.isEndless || line.timeout) {
        const double limit =
            line.timeout.value_or(kDefaultTimeout) + (line.keepsToTime ? kGrace : 0);
        watchdog.emplace(milliseconds(limit), [&line, format] {
            endWith({ExitStatus::timeout, line.late}, format);
        });
    }
    Answer answer = runCommand(line);
    answer.wide = line.options.wide;
    const ExitStatus status = print(answer, format);
    watchdog.reset();  // it has nothing left to end, and exitNow() must leave no ended thread
    const auto exitNow = [status] { _exit(static_cast<int>(status)); };
    try {
        const Watchdog last(kAfterwards, exitNow);
        answer.held.reset();
    } catch (const std::exception&) {
        exitNow();
    }
    return status;
}

[[nodiscard]] int run(int argc, char** argv) {
    CommandLine line;
    if (const auto explanation = parseCommandLine(argc, argv, line)) {
        return print(*explanation, requestedFormat);
    }
    if (line.options.sanitize) {
        sanitizing::begin();
    }
    if (line.options.verbose) {
        varnock::showLibraryTrace();
    }
    return static_cast<int>(runInTime(line));
}

/// The ending for the exception that is being handled. Allocates no memory.
[[nodiscard]] Ending endingOfException() {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return {ExitStatus::failed, "out of memory"};
    } catch (const std::system_error& error) {
        const int number = error.code().value();
        return {ExitStatus::failed,
                number == EAGAIN ? "no further thread can be created" : strerror(number)};
    } catch (const std::exception& exception) {
        say(exception.what());
        return {ExitStatus::failed, "internal error"};
    }
}

/// The terminate handler. It ends the process for exceptions that do not reach main(): those of
/// other threads, and of the library's start and end.
[[noreturn]] void endNow() {
    Ending ending{ExitStatus::failed, "internal error"};
    if (std::current_exception() != nullptr) {
        ending = endingOfException();
    }
    varnock::console::say("varnockctl", ending.message);
    _exit(static_cast<int>(printFailureNow(ending, requestedFormat).value_or(ending.status)));
}

void prepare(int argc, char** argv, char**) {
    requestedFormat = formatIn(argc, argv);
    std::set_terminate(endNow);
}

/// Runs before the initialisers of every shared library.
__attribute__((section(".preinit_array"), used)) void (*const kBeforeLibraries)(int, char**,
                                                                                char**) = prepare;

}  // namespace
}  // namespace varnockctl

int main(int argc, char** argv) {
    using namespace varnockctl;
    try {
        return run(argc, argv);
    } catch (const std::exception&) {
        const Ending ending = endingOfException();
        varnock::console::say("varnockctl", ending.message);
        const auto status = printFailureFirst(ending, requestedFormat);
        return static_cast<int>(status.value_or(ending.status));
    }
}
