#pragma once

#include <span>

#include "catalogue/Row.h"

namespace varnock::agent {

/// The catalogue of calls.
std::span<const catalogue::Row> callRows();

}  // namespace varnock::agent
