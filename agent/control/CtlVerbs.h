#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/Json.h"

namespace CLI {
class App;
}

namespace varnock::agent {

/// Adds the verbs of `ctl` to its parser. The one that is parsed puts its request for the control
/// socket into `request`, which must outlive the parser.
void addCtlVerbs(CLI::App& ctl, std::string& request);

/// Builds the text of a request, member after member.
class RequestText {
  public:
    explicit RequestText(std::string_view verb);
    RequestText& add(const char* name, std::string_view text);
    RequestText& add(const char* name, std::uint64_t number);
    /// Adds the number only if it is one. Throws CLI::ValidationError with the text otherwise.
    RequestText& addNumber(const char* name, const std::string& text);
    RequestText& addFlag(const char* name);
    std::string text() const;

  private:
    JsonDocument document_;
};

}  // namespace varnock::agent
