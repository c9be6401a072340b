#pragma once

#include "tools/Json.h"

/// Every result is a JSON document; a table is one way to print it.
namespace varnockctl {

using varnock::add;
using varnock::copyValid;
using varnock::escapeInvalidUtf8;
using varnock::Json;
using varnock::JsonAllocator;
using varnock::JsonDocument;
using varnock::text;
using varnock::toString;

}  // namespace varnockctl
