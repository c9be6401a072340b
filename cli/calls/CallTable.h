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

/// The arguments of `call` as given.
struct CallArguments {
    std::optional<std::string> cabinet;
    std::optional<std::string> object;
    std::optional<std::string> ext;
    std::optional<std::string> value;
    std::optional<std::string> node;
};

/// One typed call that can be run by name.
struct Call {
    std::string_view name;
    unsigned int takes;  ///< accepted options, as flags
    unsigned int needs;  ///< required options
    /// Runs the call and returns its result as JSON; true for a call without a return value.
    /// REQUIRES: checkArguments() has passed.
    Json (*run)(provider::KOLMCalls&, const CallArguments&, JsonAllocator&);
    /// The largest valid number for --value; 0 if --value is a text or not accepted.
    unsigned int largestValue;
};

/// All calls, in the order of the interface.
std::span<const Call> callTable();

/// The call of that name, or null.
const Call* findTypedCall(std::string_view name);

/// The call of that name. Throws Failure (usage) with the nearest names.
const Call& callNamed(const std::string& name);

/// False for an option, such as "--object", that some calls accept but this one does not.
bool takesOption(const Call& call, std::string_view option);

/// Throws Failure (usage) if an option is given that the call does not accept, a required option is
/// missing, or an option is not a number but has to be one.
void checkArguments(const Call& call, const CallArguments& arguments);

}  // namespace varnockctl
