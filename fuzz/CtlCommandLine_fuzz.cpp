#include <optional>
#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "cli/Options.h"
#include "fuzz/Fuzzing.h"

// Parses any lines as the arguments of varnockctl, without running a command. The arguments name a
// command or get an explanation.

namespace {

using varnock::fuzz::Input;
using varnock::fuzz::require;
using varnockctl::CommandLine;

struct Arguments {
    explicit Arguments(Input input) : words{"varnockctl"} {
        while (!input.isEmpty()) {
            words.emplace_back(input.line().c_str());
        }
        for (const std::string& word : words) {
            pointers.push_back(word.c_str());
        }
        pointers.push_back(nullptr);
    }
    int count() const { return static_cast<int>(words.size()); }

    std::vector<std::string> words;
    std::vector<const char*> pointers;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Arguments arguments{Input(data, size)};
    static_cast<void>(varnockctl::formatIn(arguments.count(), arguments.pointers.data()));
    CommandLine line;
    const auto explanation =
        varnockctl::parseCommandLine(arguments.count(), arguments.pointers.data(), line);
    if (explanation) {
        require(!explanation->text.empty(), "an empty explanation");
    } else {
        require(static_cast<bool>(line.command), "neither a command nor an explanation");
        require(!line.timeout || *line.timeout > 0, "a time limit that is none");
    }
    return 0;
}
