#include "agent/CallNames.h"

#include <map>
#include <utility>

#include "agent/Refusal.h"
#include "catalogue/Row.h"
#include "tools/NearestName.h"
#include "tools/Number.h"

namespace varnock::agent {
namespace {

constexpr catalogue::Row kRows[] = {
#include "catalogue/CallRows.inc"
};

/// The first call of each command. A call whose arguments decide on the extension stands without
/// one, and is left out if other calls share its operation code.
using FirstCalls = std::map<std::pair<unsigned, std::optional<unsigned>>, std::string>;

FirstCalls firstCalls() {
    FirstCalls calls;
    for (const catalogue::Row& row : kRows) {
        if (const auto opcode = parseNumber(row.opcode)) {
            calls.emplace(std::pair(*opcode, parseNumber(row.ext)), row.name);
        }
    }
    std::erase_if(calls, [&](const auto& entry) {
        const auto& [opcode, ext] = entry.first;
        return !ext && calls.lower_bound({opcode, 0}) != calls.lower_bound({opcode + 1, {}});
    });
    return calls;
}

}  // namespace

std::optional<CallCommand> commandOf(std::string_view call) {
    for (const catalogue::Row& row : kRows) {
        const auto opcode = row.name == call ? parseNumber(row.opcode) : std::nullopt;
        if (opcode) {
            return CallCommand{*opcode, parseNumber(row.ext)};
        }
    }
    return std::nullopt;
}

CallCommand requireCommand(const std::string& call) {
    const auto command = commandOf(call);
    if (!command) {
        const std::string nearest = nearestName(call, callNames());
        throw Refusal("there is no call \"" + call + "\" with a command" +
                      (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?"));
    }
    return *command;
}

std::string callOf(unsigned opcode, unsigned ext) {
    static const FirstCalls calls = firstCalls();
    for (const std::optional<unsigned>& decided : {std::optional(ext), std::optional<unsigned>()}) {
        const auto found = calls.find({opcode, decided});
        if (found != calls.end()) {
            return found->second;
        }
    }
    return {};
}

std::vector<std::string> callNames() {
    std::vector<std::string> names;
    for (const catalogue::Row& row : kRows) {
        if (parseNumber(row.opcode)) {
            names.emplace_back(row.name);
        }
    }
    return names;
}

}  // namespace varnock::agent
