#pragma once

#include <string>

#include "tools/Json.h"

namespace varnock::agent {

/// A reply of the control socket for people: a line "name: value" for each member but "ok", and a
/// table for each list of objects. Control characters are escaped.
[[nodiscard]] std::string replyText(const Json& reply);

}  // namespace varnock::agent
