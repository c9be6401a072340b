#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/CommandLine.h"
#include "agent/Ctl.h"
#include "fuzz/Fuzzing.h"

// Parses any lines as the arguments of varnock-agent, without running a command.

namespace {

using varnock::agent::CommandLine;
using varnock::fuzz::Input;
using varnock::fuzz::require;
using Task = CommandLine::Task;
using Words = std::vector<std::string>;

void checkRun(const CommandLine& line, const Words& words) {
    const auto mark = std::find(words.begin(), words.end(), "--");
    require(mark != words.end() && Words(mark + 1, words.end()) == line.words,
            "the command of run is another");
}

/// The record of an event, or the message about a mistake in it.
void checkEvent(const CommandLine& line) {
    try {
        require(!varnock::agent::eventRecord(line.event).empty(), "an empty record");
    } catch (const std::invalid_argument& mistake) {
        require(*mistake.what() != '\0', "a mistake without a message");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Words words;
    while (!input.isEmpty()) {
        words.emplace_back(input.line().c_str());
    }
    CommandLine line;
    if (const auto explanation = varnock::agent::parseCommandLine(words, line)) {
        require(!explanation->text.empty(), "an empty explanation");
        return 0;
    }
    require(line.mode <= 0777, "more than permissions");
    require((line.task == Task::run) == !line.words.empty(), "a command without run");
    const bool isControl = line.task == Task::status || line.task == Task::event;
    require(isControl == !line.control.empty(), "the control socket");
    require(line.task != Task::serve || !line.directory.empty(), "no directory");
    if (line.task == Task::run) {
        checkRun(line, words);
    } else if (line.task == Task::event) {
        checkEvent(line);
    }
    return 0;
}
