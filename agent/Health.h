#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// How machines and their components are, with the numbers and names of the catalogue's codes.
namespace varnock::agent {

/// The health of a component.
enum class Health : unsigned { unknown, ok, warning, failed, absent };
inline constexpr std::size_t kHealths = 5;

/// The severity of a message.
enum class Severity : unsigned { information = 1, warning, error };

/// The name in a machine file.
[[nodiscard]] std::string_view nameOf(Health health);
[[nodiscard]] std::string_view nameOf(Severity severity);

/// Nothing for another name.
[[nodiscard]] std::optional<Health> healthNamed(std::string_view name);
[[nodiscard]] std::optional<Severity> severityNamed(std::string_view name);

/// How bad it is: 0 is unknown, 1 is fine, 3 is a loss. An absent component is as bad as a failed
/// one.
[[nodiscard]] unsigned rankOf(Health health);

/// The worse of two states; the first one if they are equally bad.
[[nodiscard]] Health worse(Health a, Health b);
/// The same, but a missing one does not count.
[[nodiscard]] std::optional<Health> worse(const std::optional<Health>& a,
                                          const std::optional<Health>& b);

}  // namespace varnock::agent
