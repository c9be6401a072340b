#pragma once

#include <regex.h>

#include <string>
#include <string_view>

namespace varnockctl {

/// An extended regular expression.
class Pattern {
  public:
    /// Throws Failure (usage) with the name of the option.
    Pattern(const std::string& text, const char* option);
    ~Pattern() { regfree(&expression_); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    bool matches(std::string_view text) const;

  private:
    regex_t expression_{};
};

}  // namespace varnockctl
