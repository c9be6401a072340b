#pragma once

#include <optional>
#include <string>

#include "catalogue/Row.h"

namespace varnock::test {

/// A matching reply for a call.
struct ReplyExample {
    std::string data;    ///< JSON text
    std::string result;  ///< the result of the call, as text of callTable()
};

/// An example for the row's form of reply. Nothing for forms of a single call, which have their own
/// tests, and for calls that read no reply.
std::optional<ReplyExample> replyExample(const catalogue::Row& row);

}  // namespace varnock::test
