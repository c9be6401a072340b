#pragma once

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "agent/LittleEndian.h"
#include "agent/Machine.h"
#include "agent/host/HostSources.h"

namespace varnock::agent {

using Host = HostMachine::Sources;
using Bytes = Answer::Bytes;
using Number = std::optional<unsigned>;

/// A row for every extension; the function checks it.
inline constexpr unsigned kAnyExtension = 0xFFFFFFFF;
inline constexpr unsigned kComponentText = 0x0C00;
inline constexpr unsigned kConfigurationRead = 0xE001;

/// The object ids that a command may address.
enum class Objects { none, first, processors, any };

/// A command, its valid objects, and the function that answers it.
struct HostRow {
    unsigned opcode;
    unsigned extension;
    Objects objects;
    Answer (*answer)(Host& host, const Command& command);
    /// Why there may be no answer.
    const char* absence = "this machine does not have it, or does not show it to the agent";
};

/// The commands of each subject.
std::span<const HostRow> sensorRows();
std::span<const HostRow> powerRows();
std::span<const HostRow> logRows();
std::span<const HostRow> scanRows();

/// The nearest whole number; nothing for a value that a field up to `most` cannot hold.
inline Number wholeNumber(const std::optional<double>& value, unsigned most) {
    constexpr double kHalf = 0.5;
    return value && *value > -kHalf && *value + kHalf < most + 1.0
               ? Number(static_cast<unsigned>(*value + kHalf))
               : std::nullopt;
}

/// A number of components. Nothing in place of 0: the machine may have components that it does not
/// show.
inline Number countOf(std::size_t count) {
    return count > 0 ? Number(static_cast<unsigned>(count)) : std::nullopt;
}

template <typename Part>
std::optional<Part> numbered(std::vector<Part> parts, unsigned number) {
    return number < parts.size() ? std::optional(std::move(parts[number])) : std::nullopt;
}

}  // namespace varnock::agent
