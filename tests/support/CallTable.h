#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"

namespace varnock::test {

/// Values for every argument of a typed call; a call uses those it needs.
struct CallArguments {
    provider::KOLMKey key{0, 0, 0};
    cimple::uint32 number = 0;  ///< of a call that takes one number and no key
    cimple::uint32 value = 0;   ///< of a setter, cut to its width
    cimple::String text;        ///< of a setter, or the name of a status tree node
    provider::PciDeviceInfo info;
    SipJson* record = nullptr;
};

/// One typed call: its name, its position in the virtual table, and a function that calls it and
/// returns the result as text (see CallTable.cpp): "null", "'text'", "7", "[1 2]", "void".
struct CallEntry {
    std::string_view name;
    std::size_t slot;
    std::function<std::string(provider::KOLMCalls&, CallArguments&)> invoke;
    std::function<void(provider::KOLMCalls&, CallArguments&)> run;  ///< drops the result
};

/// All typed calls, under the names of the catalogue and in its order.
const std::vector<CallEntry>& callTable();

/// Null if there is no call with this name.
const CallEntry* findCall(std::string_view name);

}  // namespace varnock::test
