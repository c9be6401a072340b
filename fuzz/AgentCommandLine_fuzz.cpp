#include <algorithm>
#include <string>
#include <vector>

#include "agent/CommandLine.h"
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
    const bool isControl = line.task == Task::control;
    require(isControl == !line.control.empty(), "the control socket");
    require(isControl == !line.request.empty(), "the request of ctl");
    require(line.task != Task::serve || !line.directory.empty(), "no directory");
    if (line.task == Task::run) {
        checkRun(line, words);
    }
    return 0;
}
