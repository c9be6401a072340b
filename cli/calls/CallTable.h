#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "catalogue/Options.h"
#include "cli/output/Json.h"

namespace varnockctl {

using enum varnock::catalogue::Option;

/// What the options of `call` say.
struct CallArguments {
    std::optional<std::string> cabinet;
    std::optional<std::string> object;
    std::optional<std::string> ext;
    std::optional<std::string> value;
    std::optional<std::string> node;
};

/// One typed call, ready to run by its name.
struct Call {
    std::string_view name;
    unsigned int takes;  ///< options, as flags
    unsigned int needs;  ///< those of them that the call cannot do without
    /// Runs the call and turns its result into JSON; true for a call without a result.
    /// REQUIRES: checkArguments() has passed.
    Json (*run)(provider::KOLMCalls&, const CallArguments&, JsonAllocator&);
    /// The largest number that --value may be; 0 where it is a text or not taken.
    unsigned int largestValue;
};

/// All calls, in the order of the interface.
std::span<const Call> callTable();

/// The call of that name, or null.
const Call* findTypedCall(std::string_view name);

/// Throws Failure (usage) when an option was given that the call does not take, or one is missing
/// that it needs, or is no number where one is wanted.
void checkArguments(const Call& call, const CallArguments& arguments);

}  // namespace varnockctl
