#pragma once

#include <stdexcept>
#include <string>

#include "agent/model/Node.h"

namespace varnock::agent::test {

/// The document of a text.
inline Document json(const std::string& text) {
    Document document;
    document.Parse(text.c_str());
    if (document.HasParseError()) {
        throw std::invalid_argument("no JSON: " + text);
    }
    return document;
}

}  // namespace varnock::agent::test
