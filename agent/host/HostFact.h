#pragma once

#include <optional>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "agent/Machine.h"
#include "agent/host/HostSources.h"
#include "agent/model/NodeBuilder.h"

namespace varnock::agent {

using Host = HostMachine::Sources;
using Number = std::optional<unsigned>;

/// Reads a value, or the number of elements of a list whose elements have facts of their own. Gets
/// the position of the innermost element.
using ValueReader = Answer (*)(Host& host, unsigned index);
/// Reads a whole object or list; null if the host has none.
using TreeReader = Node (*)(Host& host, unsigned index, const NodeBuilder& builder);

/// A fact about the host: its place in the description of a machine, and the function that reads
/// it.
struct HostFact {
    const char* path;  ///< "cabinets[].fans[].speed"
    std::variant<ValueReader, TreeReader> read;
    /// Why there may be no value.
    const char* absence = "this machine does not have it, or does not show it to the agent";
};

/// The facts of each subject.
std::span<const HostFact> firmwareFacts();
std::span<const HostFact> logFacts();
std::span<const HostFact> networkFacts();
std::span<const HostFact> pciFacts();
std::span<const HostFact> powerFacts();
std::span<const HostFact> processorFacts();
std::span<const HostFact> sensorFacts();
std::span<const HostFact> systemFacts();

/// The nearest whole number; nothing for a value below 0, or too large for any field.
inline Number wholeNumber(const std::optional<double>& value) {
    constexpr double kHalf = 0.5;
    constexpr double kLargest = 0xFFFFFFFF;
    return value && *value > -kHalf && *value + kHalf < kLargest
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

/// A list of components; null without any.
template <typename Part>
Node listOf(const NodeBuilder& builder, const std::vector<Part>& parts,
            Node (*write)(const NodeBuilder&, const Part&)) {
    return parts.empty() ? Node() : builder.list(parts, write);
}

/// What the firmware says about a component.
Node componentNode(const NodeBuilder& builder, const Component& component);

}  // namespace varnock::agent
