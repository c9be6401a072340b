#pragma once

#include <string>
#include <string_view>

#include "catalogue/Row.h"
#include "cli/output/Json.h"

/// --sanitize: replaces in all output of this process what identifies a machine. Off until begin();
/// then values of calls are learned as they arrive, and replaced wherever they are printed.
namespace varnockctl::sanitizing {

/// Also learns the name of this machine.
void begin();
[[nodiscard]] bool isOn();

/// Learns what a call has returned. Thread-safe, like the functions below.
void learn(const varnock::catalogue::Row& row, const Json& value);
/// Learns the name of a machine.
void learnHost(std::string_view name);

/// The text without what identifies a machine; unchanged if off.
std::string text(std::string_view text);
/// The same in all texts of a value.
void apply(Json& value, JsonAllocator& allocator);

}  // namespace varnockctl::sanitizing
