#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnock::agent {

/// The command of a typed call.
struct CallCommand {
    unsigned opcode;
    std::optional<unsigned> ext;  ///< nothing if the call's arguments decide

    bool operator==(const CallCommand&) const = default;
};

/// The command of the call with this name in the catalogue; nothing if there is no such call or if
/// it sends no command of its own.
[[nodiscard]] std::optional<CallCommand> commandOf(std::string_view call);

/// The same for a user's word. Throws Refusal with the nearest name if there is no such command.
[[nodiscard]] CallCommand requireCommand(const std::string& call);

/// The first call in the catalogue that sends this command; empty if none does.
[[nodiscard]] std::string callOf(unsigned opcode, unsigned ext);

/// The names of the calls that send a command of their own.
[[nodiscard]] std::vector<std::string> callNames();

}  // namespace varnock::agent
