#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varnockctl {

/// What a number means that the agent, the library or a CIM server reports.
struct Code {
    std::string_view kind;  ///< "status", "transport", "client" or "CIM"
    std::string_view name;
    std::int64_t number;
    std::string_view meaning;
    std::string_view cause;
    std::string_view nextStep;
};

/// All codes, by kind and then by number.
std::span<const Code> codes();

/// The codes with a name, ignoring case, or with a number, decimal or 0x; empty if there is none.
[[nodiscard]] std::vector<const Code*> findCodes(std::string_view text);

/// Where to read more about a status.
std::string explainHint(unsigned int status);

}  // namespace varnockctl
