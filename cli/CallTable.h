#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "cli/Json.h"

namespace varnockctl {

/// What the options of `call` say.
struct CallArguments {
    std::optional<std::string> cabinet;
    std::optional<std::string> object;
    std::optional<std::string> ext;
    std::optional<std::string> value;
    std::optional<std::string> node;
};

/// The options that a call takes, and those of them that it cannot do without, as flags.
enum CallOption : unsigned int {
    optionCabinet = 1,
    optionObject = 2,
    optionExt = 4,
    optionValue = 8,
    optionNode = 16,
};

/// One typed call, ready to run by its name.
struct Call {
    std::string_view name;
    unsigned int takes;
    unsigned int needs;
    /// Runs the call and turns its result into JSON; true for a call without a result.
    /// REQUIRES: checkArguments() has passed.
    std::function<Json(provider::KOLMCalls&, const CallArguments&, JsonAllocator&)> run;
    /// The largest number that --value may be; 0 where it is a text or not taken.
    unsigned int largestValue = 0;
};

/// All calls, in the order of the interface.
const std::vector<Call>& callTable();

/// The call of that name, or null.
const Call* findTypedCall(std::string_view name);

/// Which calls answer from what openControllerCardSession() has read. The calls object of one
/// command has read nothing, so such a call reads the cabinet's controllers first.
enum class ScanUse {
    none,
    forControllers,  ///< where --ext is a class of controllers: 12, 13 or 14
    always,
};
ScanUse scanUse(std::string_view name);

/// Throws Failure (usage) when an option was given that the call does not take, or one is missing
/// that it needs, or is no number where one is wanted.
void checkArguments(const Call& call, const CallArguments& arguments);

}  // namespace varnockctl
