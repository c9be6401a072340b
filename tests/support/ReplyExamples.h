#pragma once

#include <optional>
#include <string>

#include "catalogue/Row.h"

namespace varnock::test {

/// A reply that fits a call.
struct ReplyExample {
    std::string data;    ///< JSON text
    std::string result;  ///< what the call makes of it, as callTable() shows it
};

/// An example for the form of reply that the row names. Nothing for the forms that only one call
/// has, whose tests know them, and for calls that read no reply.
std::optional<ReplyExample> replyExample(const catalogue::Row& row);

}  // namespace varnock::test
